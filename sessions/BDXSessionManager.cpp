#include "sessions/BDXSessionManager.h"

#include <algorithm>
#include <atomic>

#include "core/BDXDefaults.h"
#include "core/BDXDefaultsKeys.h"
#include "core/BDXFeatures.h"
#include "core/BDXOperation.h"
#include "core/BDXSingleton.h"
#include "foundation/DispatchQueue.h"
#include "foundation/NotificationCenter.h"
#include "foundation/SingletonReset.h"
#include "foundation/UserDefaults.h"
#include "platform/ui/Notifications.h"
#include "sessions/BDXSession.h"

namespace {

BDXSingleton<BDXSessionManager>& singleton() {
    return BDXSingleton<BDXSessionManager>::holder();
}

// Process-wide, and never set back within a process; a test harness drops it with the singletons.
std::atomic<bool>& shouldDisableSendingSession() {
    static std::atomic<bool> flag{false};
    return flag;
}

}  // namespace

std::shared_ptr<BDXSessionManager> BDXSessionManager::getInstance() {
    return singleton().get([] { return std::make_shared<BDXSessionManager>(); });
}

void BDXSessionManager::destroy() {
    singleton().destroy();
}

void BDXSessionManager::disableSendingSession() {
    if (BDXDefaults::getInstance()->features()->disclaimer()) {
        shouldDisableSendingSession().store(true);
        bdx::registerSingletonReset([] { shouldDisableSendingSession().store(false); });
    }
}

bool BDXSessionManager::isSendingSessionDisabled() {
    return shouldDisableSendingSession().load();
}

BDXSessionManager::BDXSessionManager() = default;

BDXSessionManager::~BDXSessionManager() {
    bdx::NotificationCenter::defaultCenter()->removeObserver(this);
}

std::shared_ptr<BDXOperation> BDXSessionManager::initializationOperation() {
    std::lock_guard guard(operationMutex_);
    if (!initializationOperation_) {
        auto operation = std::make_shared<BDXOperation>();
        std::weak_ptr<BDXOperation> weakOperation = operation;
        std::weak_ptr<BDXSessionManager> weakSelf = weak_from_this();
        operation->setBlock([weakOperation, weakSelf] {
            bdx::DispatchQueue::main()->async([weakSelf] {
                if (auto self = weakSelf.lock()) {
                    self->initializeSession();
                    self->registerNotifications();
                }
            });
            if (auto strong = weakOperation.lock()) {
                strong->finish();
            }
        });
        initializationOperation_ = operation;
    }
    return initializationOperation_;
}

void BDXSessionManager::initializeSession() {
    auto session = BDXSession::initWithSessionNumber(static_cast<double>(sessionIndex()));
    {
        std::lock_guard guard(sessionMutex_);
        currentSession_ = session;
    }
    bdx::NotificationCenter::defaultCenter()->post(kBDXSessionStartNotification, nullptr,
                                                   {{kBDXSessionNotificationParam, session}});
    auto defaults = BDXDefaults::getInstance();
    defaults->setSessionCount(defaults->sessionCount() + 1);
    notifyAllListenersForSessionInitialization(session);
    logAnalyticsEvent("session_start");
}

void BDXSessionManager::registerNotifications() {
    if (notificationsRegistered_) {
        return;
    }
    notificationsRegistered_ = true;
    auto center = bdx::NotificationCenter::defaultCenter();
    std::weak_ptr<BDXSessionManager> weakSelf = weak_from_this();
    center->addObserver(this, bdx::ui::UIApplicationWillEnterForegroundNotification, nullptr,
                        [weakSelf](const bdx::Notification&) {
                            if (auto self = weakSelf.lock()) {
                                self->sendPreviousSessionIfExistThenInitializeNewOne();
                            }
                        });
    center->addObserver(this, bdx::ui::UIApplicationDidEnterBackgroundNotification, nullptr,
                        [weakSelf](const bdx::Notification&) {
                            if (auto self = weakSelf.lock()) {
                                self->saveSession();
                            }
                        });
}

void BDXSessionManager::saveSession() {
    if (!currentSession()) {
        initializeSession();
    }
    logAnalyticsEvent("session_end");
    auto session = currentSession();
    bdx::NotificationCenter::defaultCenter()->post(kBDXSessionEndNotification, nullptr,
                                                   {{kBDXSessionNotificationParam, session}});
    notifyAllListenersForSessionEnd();
    setSessionIndex(sessionIndex() + 1);
    if (!isSendingSessionDisabled()) {
        session->save();
    }
}

void BDXSessionManager::sendPreviousSessionIfExistThenInitializeNewOne() {
    // Against what the name says: the session just begun is the one sent; the one saved at the last
    // background waits in the cache for the next launch.
    initializeSession();
    auto session = currentSession();
    if (session && !isSendingSessionDisabled()) {
        session->send();
    }
}

std::optional<bdx::Date> BDXSessionManager::addListener(const std::shared_ptr<BDXSessionListener>& listener) {
    if (!listener) {
        return std::nullopt;
    }
    auto updated = listeners();
    updated.push_back(listener);
    {
        std::lock_guard guard(lock_);
        listeners_ = std::move(updated);
    }
    auto session = currentSession();
    return session ? std::optional<bdx::Date>(session->date()) : std::nullopt;
}

void BDXSessionManager::removeListener(const std::shared_ptr<BDXSessionListener>& listener) {
    if (!listener) {
        return;
    }
    auto updated = listeners();
    updated.erase(std::remove(updated.begin(), updated.end(), listener), updated.end());
    std::lock_guard guard(lock_);
    listeners_ = std::move(updated);
}

std::vector<std::shared_ptr<BDXSessionListener>> BDXSessionManager::listeners() const {
    std::lock_guard guard(lock_);
    return listeners_;
}

void BDXSessionManager::notifyAllListenersForSessionInitialization(
    const std::shared_ptr<BDXSession>& session) {
    if (!session) {
        return;
    }
    const bdx::Date date = session->date();
    std::lock_guard guard(lock_);
    const auto current = listeners_;
    for (const auto& listener : current) {
        if (listener->didInitializeSessionAtDate) {
            listener->didInitializeSessionAtDate(date);
        }
    }
}

void BDXSessionManager::notifyAllListenersForSessionEnd() {
    const bdx::Date now = bdx::Date::now();
    std::lock_guard guard(lock_);
    const auto current = listeners_;
    for (const auto& listener : current) {
        if (listener->didEndSessionAtDate) {
            listener->didEndSessionAtDate(now);
        }
    }
}

std::int64_t BDXSessionManager::sessionIndex() const {
    const std::int64_t index =
        bdx::UserDefaults::standardUserDefaults()->integerForKey(kBDXDefaultsKeySessionNumber);
    return index == 0 ? 1 : index;
}

void BDXSessionManager::setSessionIndex(std::int64_t index) {
    auto store = bdx::UserDefaults::standardUserDefaults();
    store->setInteger(index, kBDXDefaultsKeySessionNumber);
    store->synchronize();
}

std::shared_ptr<BDXSession> BDXSessionManager::currentSession() const {
    std::lock_guard guard(sessionMutex_);
    return currentSession_;
}

void BDXSessionManager::logAnalyticsEvent(const char*) {}
