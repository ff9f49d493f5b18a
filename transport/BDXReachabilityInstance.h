#pragma once

#include <memory>
#include <mutex>

#include "foundation/Object.h"

class BDXOperation;
class BDXReachability;

// Holds the one reachability object that watches the service's host. The request pipeline asks it
// whether to start a transfer; until its start-up operation has run there is no object, and the
// answer is no.
class BDXReachabilityInstance : public bdx::Object,
                                public std::enable_shared_from_this<BDXReachabilityInstance> {
    BDX_DECLARE_CLASS(BDXReachabilityInstance, bdx::Object)

  public:
    static std::shared_ptr<BDXReachabilityInstance> getInstance();
    // Drops the shared object; its reachability object goes with it and stops notifying.
    static void destroy();

    // The start-up operation, made once: on the operation's thread it makes the reachability object
    // for the host of the service's base URL and keeps it, queues its notifier's start on the main
    // queue (so changes are posted on the main run loop) and finishes at once.
    std::shared_ptr<BDXOperation> initializationOperation();

    // The service's host can be reached now: false while there is no reachability object.
    static bool isReachable();

    std::shared_ptr<BDXReachability> reachability() const;
    void setReachability(std::shared_ptr<BDXReachability> reachability);

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<BDXOperation> initializationOperation_;
    std::shared_ptr<BDXReachability> reachability_;
};
