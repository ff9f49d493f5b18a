#include "persistence/BDXUUIDMigration.h"

BDXUUIDMigration::BDXUUIDMigration(std::string oldUUID, std::string newUUID, std::string newEmail,
                                   std::string newName)
    : oldUUID_(std::move(oldUUID)),
      theNewUUID_(std::move(newUUID)),
      theNewIdentifiedEmail_(std::move(newEmail)),
      theNewName_(std::move(newName)) {}

std::shared_ptr<BDXUUIDMigration> BDXUUIDMigration::initWithOldUUID(std::string oldUUID, std::string newUUID,
                                                                    std::string newEmail,
                                                                    std::string newName) {
    return std::make_shared<BDXUUIDMigration>(std::move(oldUUID), std::move(newUUID), std::move(newEmail),
                                              std::move(newName));
}

void BDXUUIDMigration::persistAndSend() {}
