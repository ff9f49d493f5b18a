#include "sessions/BDXSessionLogger.h"

#include <cmath>

#include "core/BDXSingleton.h"
#include "foundation/NotificationCenter.h"
#include "platform/ui/Notifications.h"

std::shared_ptr<BDXSessionLogger> BDXSessionLogger::sharedInstance() {
    return BDXSingleton<BDXSessionLogger>::holder().get();
}

BDXSessionLogger::BDXSessionLogger() : appStart_(bdx::Date::now()) {
    auto center = bdx::NotificationCenter::defaultCenter();
    center->addObserver(this, bdx::ui::UIApplicationDidBecomeActiveNotification, nullptr,
                        [this](const bdx::Notification&) { applicationDidBecomeActive(); });
    center->addObserver(this, bdx::ui::UIApplicationWillResignActiveNotification, nullptr,
                        [this](const bdx::Notification&) { applicationWillResignActive(); });
}

BDXSessionLogger::~BDXSessionLogger() {
    bdx::NotificationCenter::defaultCenter()->removeObserver(this);
}

void BDXSessionLogger::applicationDidBecomeActive() {
    std::lock_guard guard(mutex_);
    appStart_ = bdx::Date::now();
}

void BDXSessionLogger::applicationWillResignActive() {
    std::lock_guard guard(mutex_);
    const bdx::Date now = bdx::Date::now();
    oldDuration_ += now.timeIntervalSinceDate(appStart_.value_or(now));
    appStart_.reset();
}

std::int64_t BDXSessionLogger::getDuration() const {
    std::lock_guard guard(mutex_);
    const double running = appStart_ ? bdx::Date::now().timeIntervalSinceDate(*appStart_) : 0.0;
    return static_cast<std::int64_t>(std::llround(running + oldDuration_));
}
