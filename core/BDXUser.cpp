#include "core/BDXUser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDefaults.h"
#include "core/BDXValidationHelper.h"
#include "persistence/BDXUUIDMigration.h"
#include "platform/host/RandomBytes.h"
#include "reports/BDXSnapshotManager.h"

namespace {

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

void BDXUser::identifyUserWithEmail(const std::optional<std::string>& email,
                                    const std::optional<std::string>& name) {
    if (!email || !BDXValidationHelper::isValidEmail(*email)) {
        BDXSDKLogError("Attempting to identify user with an invalid email. User will not be identified.");
        return;
    }
    auto defaults = BDXDefaults::getInstance();
    defaults->setIdentifiedName(name);
    const std::string lowercaseEmail = lowercased(*email);

    if (const auto identified = defaults->identifiedEmail()) {
        if (lowercased(*identified) == lowercaseEmail) {
            return;
        }
        defaults->setIdentifiedEmail(lowercaseEmail);
        generateNewUUIDFromCurrentState();
        resetUserData();
        return;
    }
    if (!defaults->hasRecentActivity()) {
        defaults->setIdentifiedEmail(lowercaseEmail);
        generateNewUUIDFromCurrentState();
        return;
    }
    migrateUUIDForName(name, *email);
}

void BDXUser::migrateUUIDForName(const std::optional<std::string>& name, const std::string& email) {
    const std::string lowercaseEmail = lowercased(email);
    const std::string newUUID = BDXInspector::getUUIDFromEmail(lowercaseEmail);
    // Still the anonymous identifier: the identity has not changed yet.
    const std::string oldUUID = BDXInspector::getUUID();
    migrationWithOldUUID(oldUUID, newUUID, lowercaseEmail, name.value_or(""))->persistAndSend();
    BDXDefaults::getInstance()->setIdentifiedEmail(lowercaseEmail);
    generateNewUUIDFromCurrentState();
}

std::shared_ptr<BDXUUIDMigration> BDXUser::migrationWithOldUUID(const std::string& oldUUID,
                                                                const std::string& newUUID,
                                                                const std::string& newEmail,
                                                                const std::string& newName) {
    return BDXUUIDMigration::initWithOldUUID(oldUUID, newUUID, newEmail, newName);
}

void BDXUser::logOut() {
    auto defaults = BDXDefaults::getInstance();
    defaults->setIdentifiedEmail(std::nullopt);
    defaults->setIdentifiedName(std::nullopt);
    defaults->setHasRecentActivity(false);
    generateNewUUIDFromCurrentState();
    resetUserData();
}

void BDXUser::generateNewUUIDFromCurrentState() {
    BDXDefaults::getInstance()->setSavedUUID(std::nullopt);
}

void BDXUser::resetUserData() {
    BDXSnapshotManager::sharedInstance()->resetUserData();
}

bool BDXUser::hasRecentActivity() const {
    return BDXDefaults::getInstance()->hasRecentActivity();
}

void BDXUser::generateNewUUIDForTest() {
    static constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    constexpr std::size_t kLetters = sizeof kAlphabet - 1;
    // Bytes at or above the last whole multiple of the alphabet are drawn again, so that every
    // letter is as likely as any other.
    constexpr std::size_t kUsable = 256 / kLetters * kLetters;
    std::string uuid;
    while (uuid.size() < 20) {
        std::array<std::uint8_t, 32> bytes{};
        if (!bdx::host::randomBytes(bytes.data(), bytes.size())) {
            break;
        }
        for (std::uint8_t byte : bytes) {
            if (byte < kUsable && uuid.size() < 20) {
                uuid += kAlphabet[byte % kLetters];
            }
        }
    }
    BDXDefaults::getInstance()->setSavedUUID(uuid);
}
