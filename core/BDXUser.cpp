#include "core/BDXUser.h"

#include <algorithm>
#include <cctype>
#include <random>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXDefaults.h"
#include "core/BDXValidationHelper.h"
#include "persistence/BDXUUIDMigration.h"
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
    thread_local std::mt19937 generator{std::random_device{}()};
    std::uniform_int_distribution<std::size_t> pick(0, sizeof kAlphabet - 2);
    std::string uuid;
    for (int i = 0; i < 20; ++i) {
        uuid += kAlphabet[pick(generator)];
    }
    BDXDefaults::getInstance()->setSavedUUID(uuid);
}
