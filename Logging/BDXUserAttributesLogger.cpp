#include "Logging/BDXUserAttributesLogger.h"

#include <nlohmann/json.hpp>

#include "foundation/DispatchQueue.h"
#include "foundation/NotificationCenter.h"
#include "foundation/Singleton.h"
#include "persistence/BDXDiskPersistenceManager.h"

namespace {

void persist(const bdx::Value& attributes) {
    BDXDiskPersistenceManager::getInstance()->persistUserAttributes(attributes);
}

}  // namespace

BDXUserAttributesLogger::BDXUserAttributesLogger()
    : userAttributes_(std::make_shared<bdx::Value>(bdx::Value::object())) {
    // The file is read on the queue, so that making the logger never waits for the disk; every reader
    // queues behind the read.
    queue()->async([attributes = userAttributes_] {
        std::optional<bdx::Value> persisted = BDXDiskPersistenceManager::getInstance()->userAttributes();
        if (persisted && persisted->is_object()) {
            *attributes = std::move(*persisted);
        }
    });
}

std::shared_ptr<BDXUserAttributesLogger> BDXUserAttributesLogger::sharedInstance() {
    return bdx::Singleton<BDXUserAttributesLogger>::holder().get();
}

void BDXUserAttributesLogger::destroy() {
    bdx::Singleton<BDXUserAttributesLogger>::holder().destroy();
}

const std::shared_ptr<bdx::DispatchQueue>& BDXUserAttributesLogger::queue() {
    // Never destroyed: a worker may still use it while the process exits.
    static const auto* const queue = new std::shared_ptr<bdx::DispatchQueue>(
        bdx::DispatchQueue::create("com.bdx.userAttributesLogsQueue", bdx::DispatchQueue::Attribute::Serial));
    return *queue;
}

void BDXUserAttributesLogger::setUserAttribute(const std::string& value, const std::string& withKey) {
    queue()->async([attributes = userAttributes_, value, withKey] {
        bdx::Value updated = *attributes;
        updated[withKey] = value;
        *attributes = std::move(updated);
        persist(*attributes);
        bdx::DispatchQueue::main()->async(
            [] { bdx::NotificationCenter::defaultCenter()->post(BDXUserAttributesUpdatedNotification); });
    });
}

std::optional<std::string> BDXUserAttributesLogger::userAttributeForKey(const std::string& key) const {
    std::optional<std::string> value;
    queue()->sync([&] {
        auto entry = userAttributes_->find(key);
        if (entry != userAttributes_->end() && entry->is_string()) {
            value = entry->get<std::string>();
        }
    });
    return value;
}

void BDXUserAttributesLogger::removeUserAttributeForKey(const std::string& key) {
    queue()->async([attributes = userAttributes_, key] {
        bdx::Value updated = *attributes;
        updated.erase(key);
        *attributes = std::move(updated);
        persist(*attributes);
    });
}

bdx::Value BDXUserAttributesLogger::getUserAttributes() const {
    bdx::Value copy;
    queue()->sync([&] { copy = *userAttributes_; });
    return copy;
}

std::optional<std::string> BDXUserAttributesLogger::getUserAttributesString() const {
    std::optional<std::string> text;
    queue()->sync([&] {
        try {
            text = userAttributes_->dump();
        } catch (const nlohmann::json::exception&) {
            // Text that is not UTF-8 cannot be JSON: the report goes without attributes.
        }
    });
    return text;
}

void BDXUserAttributesLogger::clearUserAttributes() {
    queue()->async([attributes = userAttributes_] {
        *attributes = bdx::Value::object();
        persist(*attributes);
    });
}

void BDXUserAttributesLogger::syncUserAttributes() {
    queue()->async([attributes = userAttributes_] { persist(*attributes); });
}
