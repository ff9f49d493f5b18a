// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <optional>
#include <string>

class BDXUUIDMigration;

// The rules for identifying a user and logging out, over the identity kept by BDXDefaults. Which
// identifier the service knows the device by follows from them.
class BDXUser {
  public:
    // Identifies the user by email (compared without case) and name. An invalid email changes nothing.
    // The same email again changes only the name; another email starts a new identity with fresh user
    // data; a first identification after recent activity moves that activity to the new identity.
    void identifyUserWithEmail(const std::optional<std::string>& email,
                               const std::optional<std::string>& name);
    // Forgets the identified user and their data; the device gets a fresh identifier.
    void logOut();
    // Forgets the identifier in use, so that the next read derives one from the identity of that moment.
    void generateNewUUIDFromCurrentState();
    void resetUserData();
    bool hasRecentActivity() const;
    // Identifies the user under a new identifier and asks the service to move the anonymous data there.
    void migrateUUIDForName(const std::optional<std::string>& name, const std::string& email);
    std::shared_ptr<BDXUUIDMigration> migrationWithOldUUID(const std::string& oldUUID,
                                                           const std::string& newUUID,
                                                           const std::string& newEmail,
                                                           const std::string& newName);

    // Saves a random identifier of twenty letters and digits, for test runs of the host.
    static void generateNewUUIDForTest();
};
