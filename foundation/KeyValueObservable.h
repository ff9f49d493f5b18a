// Public header: installed with the library for hosts to include.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bdx {

// What an observer of a key learns: the key and its value before and after the change, as the object
// reports them through valueForKey (empty when it reports none).
struct KeyValueChange {
    std::string key;
    std::any oldValue;
    std::any newValue;
};

// Observation of named keys of an object ("isFinished", "operationCount", a setting...). The object
// announces a change with willChangeValueForKey before it and didChangeValueForKey after it; observers
// of that key are then called on the thread that made the change, outside the object's locks, in
// the order they registered. An observer may remove itself or others from its callback; once
// removeObserver has returned, a delivery not yet begun is not made.
class KeyValueObservable {
  public:
    using Observer = std::function<void(const KeyValueChange&)>;
    using ObservationToken = std::uint64_t;

    KeyValueObservable();
    virtual ~KeyValueObservable();
    KeyValueObservable(const KeyValueObservable&) = delete;
    KeyValueObservable& operator=(const KeyValueObservable&) = delete;

    // Registers `observer` for `key`; the token removes it. An empty observer is ignored (token 0).
    ObservationToken addObserver(std::string key, Observer observer);
    void removeObserver(ObservationToken token);
    std::size_t observerCount(const std::string& key) const;

    // The current value of a key, for the changes reported to observers; empty by default.
    virtual std::any valueForKey(const std::string& key) const;

    // Notes the value of `key` before a change (on the calling thread; pairs nest).
    void willChangeValueForKey(const std::string& key);
    // Reports the change noted by the matching willChangeValueForKey to the key's observers.
    void didChangeValueForKey(const std::string& key);

  protected:
    // Reports a change whose old and new values the caller took itself.
    void notifyObservers(const std::string& key, std::any oldValue, std::any newValue);

  private:
    struct Registration {
        ObservationToken token;
        std::string key;
        std::shared_ptr<const Observer> observer;
        std::shared_ptr<std::atomic<bool>> active;
    };
    mutable std::mutex mutex_;
    std::vector<Registration> registrations_;
};

}  // namespace bdx
