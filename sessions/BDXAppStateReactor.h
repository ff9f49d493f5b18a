#pragma once

#include <memory>
#include <mutex>

class BDXAppStateReactorDelegate {
  public:
    virtual ~BDXAppStateReactorDelegate() = default;
    // The application is leaving the user's hands: it resigns active, enters the background or is about
    // to terminate. Called on the thread that posted the notification (the main thread).
    virtual void didReceiveStateChange() = 0;
};

// Turns the three notifications after which the application may not run much longer (resign active,
// enter background, will terminate) into one call on its delegate, so that a store can save in time.
// Observes from construction to destruction.
class BDXAppStateReactor {
  public:
    BDXAppStateReactor();
    ~BDXAppStateReactor();
    BDXAppStateReactor(const BDXAppStateReactor&) = delete;
    BDXAppStateReactor& operator=(const BDXAppStateReactor&) = delete;

    // Held weakly.
    std::shared_ptr<BDXAppStateReactorDelegate> delegate() const;
    void setDelegate(std::weak_ptr<BDXAppStateReactorDelegate> delegate);

    void addingNotificationsObserver();
    void removeNotificationObserver();
    void forwardStatusChange();

  private:
    mutable std::mutex mutex_;
    std::weak_ptr<BDXAppStateReactorDelegate> delegate_;
};
