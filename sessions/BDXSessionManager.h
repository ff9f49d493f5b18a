// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "foundation/Date.h"

class BDXOperation;
class BDXSession;

// Posted on the thread of the session's start or end (the main queue), with the session under
// kBDXSessionNotificationParam (a std::shared_ptr<BDXSession>).
inline constexpr const char* kBDXSessionStartNotification = "kBDXSessionStartNotification";
inline constexpr const char* kBDXSessionEndNotification = "kBDXSessionEndNotification";
inline constexpr const char* kBDXSessionNotificationParam = "kBDXSessionNotificationParam";

// Who wants to know when sessions begin and end. Each callback is optional: one left empty is not
// called. Callbacks run with the manager's listener lock held; a listener may add or remove listeners,
// itself included, from inside its callback, and the walk in progress goes on over the list it began with.
struct BDXSessionListener {
    std::function<void(const bdx::Date&)> didInitializeSessionAtDate;
    std::function<void(const bdx::Date&)> didEndSessionAtDate;
};

// Decides when sessions begin and end. A session begins at launch (the start-up operation) and each time
// the application comes back to the foreground, and ends when the application enters the background, where
// its record is saved. The record of a session begun in the foreground is sent at once; the record saved at
// the end of a session waits in the cache until the next launch sends it. All of it runs on the main queue.
class BDXSessionManager : public std::enable_shared_from_this<BDXSessionManager> {
  public:
    static std::shared_ptr<BDXSessionManager> getInstance();
    // Drops the shared instance, whose teardown removes its observers.
    static void destroy();

    // Stops the saving and sending of sessions for the rest of the process, when the disclaimer feature is
    // on; sessions still begin and end, with their notifications and counters.
    static void disableSendingSession();
    static bool isSendingSessionDisabled();

    BDXSessionManager();
    ~BDXSessionManager();

    // The start-up step: queues initializeSession and registerNotifications on the main queue and finishes at
    // once, before the session exists.
    std::shared_ptr<BDXOperation> initializationOperation();

    void initializeSession();
    void registerNotifications();
    // At the entry into the background.
    void saveSession();
    // At the return to the foreground: begins a new session and sends its record at once.
    void sendPreviousSessionIfExistThenInitializeNewOne();

    // Returns when the current session began, for a listener that joins late; nothing without a listener
    // or a session.
    std::optional<bdx::Date> addListener(const std::shared_ptr<BDXSessionListener>& listener);
    void removeListener(const std::shared_ptr<BDXSessionListener>& listener);
    void notifyAllListenersForSessionInitialization(const std::shared_ptr<BDXSession>& session);
    void notifyAllListenersForSessionEnd();

    // The number the next session takes; 1 when none is stored.
    std::int64_t sessionIndex() const;
    void setSessionIndex(std::int64_t index);

    std::shared_ptr<BDXSession> currentSession() const;

  private:
    std::vector<std::shared_ptr<BDXSessionListener>> listeners() const;
    // The events logger of the analytics manager has nothing to log into yet; the call sites stay in place.
    static void logAnalyticsEvent(const char* name);

    mutable std::mutex sessionMutex_;
    std::shared_ptr<BDXSession> currentSession_;
    mutable std::recursive_mutex lock_;
    std::vector<std::shared_ptr<BDXSessionListener>> listeners_;
    std::mutex operationMutex_;
    std::shared_ptr<BDXOperation> initializationOperation_;
    bool notificationsRegistered_ = false;
};
