#include "Logging/BDXUserDataLogger.h"

#include <nlohmann/json.hpp>

#include "foundation/Singleton.h"
#include "foundation/StringWithFormat.h"

namespace {

// Characters, not bytes: a cut inside a multi-byte character would leave text that is not UTF-8.
std::string firstCharacters(const std::string& text, std::size_t count) {
    std::size_t characters = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        if ((byte & 0xC0) != 0x80) {
            if (characters == count) {
                return text.substr(0, index);
            }
            ++characters;
        }
    }
    return text;
}

}  // namespace

std::shared_ptr<BDXUserDataLogger> BDXUserDataLogger::sharedInstance() {
    return bdx::Singleton<BDXUserDataLogger>::holder().get();
}

void BDXUserDataLogger::destroy() {
    bdx::Singleton<BDXUserDataLogger>::holder().destroy();
}

void BDXUserDataLogger::setUserData(const std::optional<std::string>& data) {
    if (!data) {
        return;
    }
    data_ = firstCharacters(*data, kMaximumUserDataLength);
}

void BDXUserDataLogger::loadSnapshotSynchronously(bool /*synchronously*/,
                                                  SnapshotHandler withCompletionHandler) {
    const std::string extra = std::exchange(extraUserData_, std::string());
    const bdx::Value logs = bdx::Value::array({bdx::stringWithFormat("%@%@", getUserData(), extra)});
    if (withCompletionHandler) {
        withCompletionHandler(logs);
    }
}

void BDXUserDataLogger::purgeOldLogs() {
    setUserData(std::string());
}

void BDXUserDataLogger::clearAllLogs() {
    data_.clear();
    extraUserData_.clear();
}
