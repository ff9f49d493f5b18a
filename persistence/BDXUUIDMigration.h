#pragma once

#include <memory>
#include <string>

// A persisted request to the service to move a user's data from an old identifier to a new one.
class BDXUUIDMigration {
  public:
    BDXUUIDMigration(std::string oldUUID, std::string newUUID, std::string newEmail, std::string newName);
    static std::shared_ptr<BDXUUIDMigration> initWithOldUUID(std::string oldUUID, std::string newUUID,
                                                             std::string newEmail, std::string newName);

    const std::string& oldUUID() const { return oldUUID_; }
    const std::string& theNewUUID() const { return theNewUUID_; }
    const std::string& theNewIdentifiedEmail() const { return theNewIdentifiedEmail_; }
    const std::string& theNewName() const { return theNewName_; }

    void persistAndSend();

  private:
    std::string oldUUID_;
    std::string theNewUUID_;
    std::string theNewIdentifiedEmail_;
    std::string theNewName_;
};
