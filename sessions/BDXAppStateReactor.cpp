#include "sessions/BDXAppStateReactor.h"

#include "foundation/NotificationCenter.h"
#include "platform/ui/Notifications.h"

BDXAppStateReactor::BDXAppStateReactor() {
    addingNotificationsObserver();
}

BDXAppStateReactor::~BDXAppStateReactor() {
    removeNotificationObserver();
}

std::shared_ptr<BDXAppStateReactorDelegate> BDXAppStateReactor::delegate() const {
    std::lock_guard guard(mutex_);
    return delegate_.lock();
}

void BDXAppStateReactor::setDelegate(std::weak_ptr<BDXAppStateReactorDelegate> delegate) {
    std::lock_guard guard(mutex_);
    delegate_ = std::move(delegate);
}

void BDXAppStateReactor::addingNotificationsObserver() {
    auto center = bdx::NotificationCenter::defaultCenter();
    for (const char* name : {bdx::ui::UIApplicationDidEnterBackgroundNotification,
                             bdx::ui::UIApplicationWillResignActiveNotification,
                             bdx::ui::UIApplicationWillTerminateNotification}) {
        center->addObserver(this, name, nullptr, [this](const bdx::Notification&) { forwardStatusChange(); });
    }
}

void BDXAppStateReactor::removeNotificationObserver() {
    bdx::NotificationCenter::defaultCenter()->removeObserver(this);
}

void BDXAppStateReactor::forwardStatusChange() {
    if (auto target = delegate()) {
        target->didReceiveStateChange();
    }
}
