#pragma once

#include <map>
#include <mutex>
#include <optional>

// A map that may be read and written from any thread. Each call takes the lock for its one access only,
// so a read followed by a write is not one step; callers that need that hold their own lock. The lock
// is recursive so that a value's destructor that reaches back into the map cannot deadlock.
template <typename Key, typename Object>
class BDXSafeMutableDictionary {
  public:
    std::optional<Object> objectForKey(const Key& key) const {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        auto found = underlyingDictionary_.find(key);
        if (found == underlyingDictionary_.end()) {
            return std::nullopt;
        }
        return found->second;
    }

    void setObject(Object object, const Key& forKey) {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        underlyingDictionary_.insert_or_assign(forKey, std::move(object));
    }

    void removeObjectForKey(const Key& key) {
        // The removed value is destroyed outside the lock: it may be a callback holding objects whose
        // teardown takes other locks.
        std::optional<Object> removed;
        {
            std::lock_guard<std::recursive_mutex> guard(lock_);
            auto found = underlyingDictionary_.find(key);
            if (found == underlyingDictionary_.end()) {
                return;
            }
            removed.emplace(std::move(found->second));
            underlyingDictionary_.erase(found);
        }
    }

  private:
    std::map<Key, Object> underlyingDictionary_;
    mutable std::recursive_mutex lock_;
};
