#include "persistence/BDXUUIDMigration.h"

#include <nlohmann/json.hpp>

#include "core/BDXDefaults.h"
#include "core/BDXNullableMutableDictionary.h"
#include "core/BDXUser.h"
#include "foundation/StringWithFormat.h"
#include "persistence/BDXCacheManager.h"
#include "transport/BDXServerManager.h"

namespace {

// A stored field that is not text is left empty, as an absent one.
std::string textAt(const bdx::Value& dictionary, const std::string& key) {
    auto found = dictionary.find(key);
    return found != dictionary.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

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

std::string BDXUUIDMigration::oldUUID() const {
    std::lock_guard guard(mutex_);
    return oldUUID_;
}

std::string BDXUUIDMigration::theNewUUID() const {
    std::lock_guard guard(mutex_);
    return theNewUUID_;
}

std::string BDXUUIDMigration::theNewIdentifiedEmail() const {
    std::lock_guard guard(mutex_);
    return theNewIdentifiedEmail_;
}

std::string BDXUUIDMigration::theNewName() const {
    std::lock_guard guard(mutex_);
    return theNewName_;
}

void BDXUUIDMigration::persistAndSend() {
    save();
    send();
}

bdx::Value BDXUUIDMigration::dictionaryValue() const {
    std::lock_guard guard(mutex_);
    BDXNullableMutableDictionary record;
    record.setObject(oldUUID_, coderNameForSelector("oldUUID"));
    record.setObject(theNewUUID_, coderNameForSelector("theNewUUID"));
    record.setObject(theNewIdentifiedEmail_, coderNameForSelector("theNewIdentifiedEmail"));
    record.setObject(theNewName_, coderNameForSelector("theNewName"));
    record.setObject(isSent_.load(), coderNameForSelector("isSent"));
    return record.getDictionary();
}

bool BDXUUIDMigration::initWithDictionary(const bdx::Value& dictionary) {
    if (!dictionary.is_object()) {
        return false;
    }
    std::lock_guard guard(mutex_);
    oldUUID_ = textAt(dictionary, coderNameForSelector("oldUUID"));
    theNewUUID_ = textAt(dictionary, coderNameForSelector("theNewUUID"));
    theNewIdentifiedEmail_ = textAt(dictionary, coderNameForSelector("theNewIdentifiedEmail"));
    theNewName_ = textAt(dictionary, coderNameForSelector("theNewName"));
    auto sent = dictionary.find(coderNameForSelector("isSent"));
    isSent_.store(sent != dictionary.end() && sent->is_boolean() && sent->get<bool>());
    return true;
}

void BDXUUIDMigration::send() {
    auto self = std::static_pointer_cast<BDXUUIDMigration>(shared_from_this());
    auto request = std::make_shared<BDXUUIDMigrationRequest>(self, self);
    BDXServerManager::getInstance()->pushRequest(request);
}

void BDXUUIDMigration::save() {
    BDXCacheManager::getInstance()->saveCacheModel(shared_from_this());
}

void BDXUUIDMigration::remove() {
    BDXCacheManager::getInstance()->removeCacheModel(shared_from_this());
}

std::string BDXUUIDMigration::description() const {
    std::lock_guard guard(mutex_);
    return bdx::stringWithFormat("<BDXUUIDMigration: %@ -> %@>", oldUUID_, theNewUUID_);
}

void BDXUUIDMigration::UUIDMigraionRequestDone(const std::shared_ptr<BDXUUIDMigrationRequest>& request,
                                               bool isSuccess) {
    if (isSuccess) {
        isSent_.store(true);
        remove();
        auto defaults = BDXDefaults::getInstance();
        defaults->setIdentifiedEmail(theNewIdentifiedEmail());
        defaults->setName(theNewName());
        BDXUser().generateNewUUIDFromCurrentState();
    }
    BDXServerManager::getInstance()->handleRequest(request);
}
