#include "foundation/KeyValueObservable.h"

#include <algorithm>
#include <atomic>
#include <exception>

#include "foundation/ConcurrencyLog.h"

namespace bdx {
namespace {

std::atomic<KeyValueObservable::ObservationToken> nextToken{1};

// Values noted by willChangeValueForKey, per thread, until the matching didChangeValueForKey.
struct PendingChange {
    const KeyValueObservable* object;
    std::string key;
    std::any oldValue;
};
thread_local std::vector<PendingChange> pendingChanges;

}  // namespace

KeyValueObservable::KeyValueObservable() = default;
KeyValueObservable::~KeyValueObservable() = default;

KeyValueObservable::ObservationToken KeyValueObservable::addObserver(std::string key, Observer observer) {
    if (!observer) {
        ConcurrencyLog::error("An empty observer of \"%s\" was ignored", key.c_str());
        return 0;
    }
    ObservationToken token = nextToken.fetch_add(1, std::memory_order_relaxed);
    std::lock_guard<std::mutex> lock(mutex_);
    registrations_.push_back(Registration{token, std::move(key),
                                          std::make_shared<const Observer>(std::move(observer)),
                                          std::make_shared<std::atomic<bool>>(true)});
    return token;
}

void KeyValueObservable::removeObserver(ObservationToken token) {
    std::shared_ptr<const Observer> removed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = std::find_if(registrations_.begin(), registrations_.end(),
                                  [token](const Registration& r) { return r.token == token; });
        if (found == registrations_.end()) {
            return;
        }
        found->active->store(false, std::memory_order_release);
        removed = std::move(found->observer);
        registrations_.erase(found);
    }
}

std::size_t KeyValueObservable::observerCount(const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<std::size_t>(std::count_if(registrations_.begin(), registrations_.end(),
                                                  [&key](const Registration& r) { return r.key == key; }));
}

std::any KeyValueObservable::valueForKey(const std::string&) const {
    return {};
}

void KeyValueObservable::willChangeValueForKey(const std::string& key) {
    pendingChanges.push_back(PendingChange{this, key, valueForKey(key)});
}

void KeyValueObservable::didChangeValueForKey(const std::string& key) {
    std::any oldValue;
    for (auto it = pendingChanges.rbegin(); it != pendingChanges.rend(); ++it) {
        if (it->object == this && it->key == key) {
            oldValue = std::move(it->oldValue);
            pendingChanges.erase(std::next(it).base());
            break;
        }
    }
    notifyObservers(key, std::move(oldValue), valueForKey(key));
}

void KeyValueObservable::notifyObservers(const std::string& key, std::any oldValue, std::any newValue) {
    std::vector<Registration> matching;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& registration : registrations_) {
            if (registration.key == key) {
                matching.push_back(registration);
            }
        }
    }
    if (matching.empty()) {
        return;
    }
    KeyValueChange change{key, std::move(oldValue), std::move(newValue)};
    for (const auto& registration : matching) {
        if (!registration.active->load(std::memory_order_acquire)) {
            continue;
        }
        try {
            (*registration.observer)(change);
        } catch (const std::exception& e) {
            ConcurrencyLog::error("An observer of \"%s\" threw, ignored: %s", key.c_str(), e.what());
        } catch (...) {
            ConcurrencyLog::error("An observer of \"%s\" threw, ignored", key.c_str());
        }
    }
}

}  // namespace bdx
