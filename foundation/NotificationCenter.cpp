#include "foundation/NotificationCenter.h"

#include <atomic>
#include <exception>

#include "foundation/Console.h"
#include "foundation/Singleton.h"

namespace bdx {

struct NotificationCenter::Registration {
    NotificationCenter::Token token;
    const void* observer;
    std::string name;
    const void* object;
    NotificationCenter::Callback callback;
    std::atomic<bool> removed{false};
};

std::shared_ptr<NotificationCenter> NotificationCenter::defaultCenter() {
    return Singleton<NotificationCenter>::holder().get();
}

void NotificationCenter::destroy() {
    Singleton<NotificationCenter>::holder().destroy();
}

NotificationCenter::Token NotificationCenter::addObserver(std::string_view name, NotificationObject object,
                                                          Callback callback) {
    return addObserver(nullptr, name, std::move(object), std::move(callback));
}

NotificationCenter::Token NotificationCenter::addObserver(const void* observer, std::string_view name,
                                                          NotificationObject object, Callback callback) {
    if (!callback) {
        Console::logFault("an observer of \"" + std::string(name) + "\" without a callback was not added");
        return 0;
    }
    auto registration = std::make_shared<Registration>();
    registration->observer = observer;
    registration->name = name;
    registration->object = object.identity();
    registration->callback = std::move(callback);
    std::lock_guard<std::mutex> lock(mutex_);
    registration->token = nextToken_++;
    registrations_.push_back(registration);
    return registration->token;
}

void NotificationCenter::removeObserver(Token token) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(registrations_, [token](const std::shared_ptr<Registration>& r) {
        if (r->token == token) {
            r->removed = true;
            return true;
        }
        return false;
    });
}

void NotificationCenter::removeObserver(const void* observer) {
    if (!observer) {
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(registrations_, [observer](const std::shared_ptr<Registration>& r) {
        if (r->observer == observer) {
            r->removed = true;
            return true;
        }
        return false;
    });
}

void NotificationCenter::removeObserver(const void* observer, std::string_view name,
                                        NotificationObject object) {
    if (!observer) {
        return;
    }
    const void* identity = object.identity();
    std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(registrations_, [&](const std::shared_ptr<Registration>& r) {
        const bool matches = r->observer == observer && (name.empty() || r->name == name) &&
                             (!identity || r->object == identity);
        if (matches) {
            r->removed = true;
        }
        return matches;
    });
}

void NotificationCenter::post(std::string_view name, NotificationObject object,
                              NotificationUserInfo userInfo) {
    post(Notification{std::string(name), std::move(object), std::move(userInfo)});
}

void NotificationCenter::post(const Notification& notification) {
    std::vector<std::shared_ptr<Registration>> receivers;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& r : registrations_) {
            if ((r->name.empty() || r->name == notification.name) &&
                (!r->object || r->object == notification.object.identity())) {
                receivers.push_back(r);
            }
        }
    }
    for (const auto& r : receivers) {
        // Removed since the list was taken, maybe by an earlier observer of this very post.
        if (r->removed) {
            continue;
        }
        try {
            r->callback(notification);
        } catch (const std::exception& e) {
            Console::logFault("an observer of \"" + notification.name + "\" threw: " + e.what());
        } catch (...) {
            Console::logFault("an observer of \"" + notification.name + "\" threw");
        }
    }
}

}  // namespace bdx
