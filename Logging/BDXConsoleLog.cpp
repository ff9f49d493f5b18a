#include "Logging/BDXConsoleLog.h"

#include <utility>

#include <nlohmann/json.hpp>
#include "core/BDXObjectDescription.h"

#include "foundation/StringWithFormat.h"

BDXConsoleLog::BDXConsoleLog(std::string message, double timeEpoch)
    : message_(std::move(message)), timeEpoch_(timeEpoch) {}

bdx::Value BDXConsoleLog::toDictionary() const {
    return bdx::Value{{"message", message_}, {"timestamp", timeEpoch_}};
}

std::string BDXConsoleLog::description() const {
    return bdx_description("BDXConsoleLog",
                           {{"message", message_}, {"timeEpoch", bdx::stringWithFormat("%f", timeEpoch_)}});
}
