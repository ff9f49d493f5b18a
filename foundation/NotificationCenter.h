// Public header: installed with the library for hosts to include.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace bdx {

// The object a notification is about, compared by identity. Made from a raw pointer (identity only) or a
// shared pointer (which the notification then keeps alive while it is delivered); nullptr means none.
class NotificationObject {
  public:
    NotificationObject() = default;
    NotificationObject(std::nullptr_t) {}
    NotificationObject(const void* identity) : identity_(identity) {}
    template <class T>
    NotificationObject(const std::shared_ptr<T>& object)
        : identity_(static_cast<const void*>(object.get())), retained_(object) {}

    const void* identity() const { return identity_; }
    // The object itself when it was given as a shared pointer of T (no type check: ask for the type posted).
    template <class T>
    std::shared_ptr<T> as() const {
        return std::static_pointer_cast<T>(std::const_pointer_cast<void>(retained_));
    }
    explicit operator bool() const { return identity_ != nullptr; }

  private:
    const void* identity_ = nullptr;
    std::shared_ptr<const void> retained_;
};

using NotificationUserInfo = std::map<std::string, std::any>;

struct Notification {
    std::string name;
    NotificationObject object;
    NotificationUserInfo userInfo;

    // The user-info entry under `key` if it holds a T, else nullptr.
    template <class T>
    const T* userInfoValue(const std::string& key) const {
        auto it = userInfo.find(key);
        return it == userInfo.end() ? nullptr : std::any_cast<T>(&it->second);
    }
};

// Named notifications, delivered synchronously on the posting thread to the observers of that name (an
// observer with no name hears every name) and of that object (an observer with no object hears every object),
// in the order they were added. Observers are called outside the center's lock, so they may post, add and
// remove observers; an observer removed, even during a post, is not called again. Thread-safe.
class NotificationCenter {
  public:
    using Callback = std::function<void(const Notification&)>;
    using Token = std::uint64_t;

    // The process's center; destroy() (and resetAllSingletons()) drops it with every observer.
    static std::shared_ptr<NotificationCenter> defaultCenter();
    static void destroy();

    // Observes `name` ("" for every name) about `object` (nullptr for any object). Returns the token that
    // removes it.
    Token addObserver(std::string_view name, NotificationObject object, Callback callback);
    // The same for an observer that removes all its registrations at once by its identity (usually `this`).
    Token addObserver(const void* observer, std::string_view name, NotificationObject object,
                      Callback callback);

    void removeObserver(Token token);
    // Every registration of `observer`.
    void removeObserver(const void* observer);
    // The registrations of `observer` for that name ("" for all) and object (nullptr for any).
    void removeObserver(const void* observer, std::string_view name, NotificationObject object = nullptr);

    void post(const Notification& notification);
    void post(std::string_view name, NotificationObject object = nullptr, NotificationUserInfo userInfo = {});

  private:
    struct Registration;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Registration>> registrations_;
    Token nextToken_ = 1;
};

}  // namespace bdx
