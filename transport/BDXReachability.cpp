#include "transport/BDXReachability.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "foundation/NotificationCenter.h"
#include "foundation/RunLoop.h"
#include "platform/net/ReachabilityService.h"

namespace {

namespace Flag = bdx::net::ReachabilityFlag;

}  // namespace

std::shared_ptr<BDXReachability> BDXReachability::reachabilityWithHostName(const std::string& hostName) {
    auto ref = bdx::net::ReachabilityService::current()->createWithName(hostName);
    if (!ref) {
        return nullptr;
    }
    return std::make_shared<BDXReachability>(std::move(ref));
}

std::shared_ptr<BDXReachability> BDXReachability::reachabilityWithAddress(const sockaddr* hostAddress) {
    if (hostAddress == nullptr) {
        return nullptr;
    }
    auto ref = bdx::net::ReachabilityService::current()->createWithAddress(hostAddress);
    if (!ref) {
        return nullptr;
    }
    return std::make_shared<BDXReachability>(std::move(ref));
}

std::shared_ptr<BDXReachability> BDXReachability::reachabilityForInternetConnection() {
    sockaddr_in zeroAddress{};
    zeroAddress.sin_family = AF_INET;
    return reachabilityWithAddress(reinterpret_cast<const sockaddr*>(&zeroAddress));
}

std::shared_ptr<BDXReachability> BDXReachability::reachabilityForLocalWiFi() {
    sockaddr_in linkLocal{};
    linkLocal.sin_family = AF_INET;
    linkLocal.sin_addr.s_addr = htonl(0xA9FE0000);  // 169.254.0.0
    auto reachability = reachabilityWithAddress(reinterpret_cast<const sockaddr*>(&linkLocal));
    if (reachability) {
        reachability->setAlwaysReturnLocalWiFiStatus(true);
    }
    return reachability;
}

BDXReachability::BDXReachability(std::shared_ptr<bdx::net::Reachability> reachabilityRef)
    : reachabilityRef_(std::move(reachabilityRef)) {}

BDXReachability::~BDXReachability() {
    stopNotifier();
}

bool BDXReachability::startNotifier() {
    if (!reachabilityRef_) {
        return false;
    }
    // The target holds its context weakly, so a notifier left running never keeps the object alive.
    std::weak_ptr<BDXReachability> context = weak_from_this();
    bool callbackSet = reachabilityRef_->setCallback([context](bdx::net::ReachabilityFlags) {
        auto reachability = context.lock();
        if (!reachability) {
            return;
        }
        bdx::NotificationCenter::defaultCenter()->post(kBDXReachabilityChangedNotification,
                                                       bdx::NotificationObject(reachability));
    });
    if (!callbackSet) {
        return false;
    }
    std::shared_ptr<bdx::RunLoop> runLoop = bdx::RunLoop::current();
    return reachabilityRef_->scheduleWithRunLoop(
        [runLoop](std::function<void()> block) { runLoop->perform(std::move(block)); });
}

void BDXReachability::stopNotifier() {
    if (reachabilityRef_) {
        reachabilityRef_->unscheduleFromRunLoop();
    }
}

std::int64_t BDXReachability::currentReachabilityStatus() {
    bdx::net::ReachabilityFlags flags = 0;
    if (!reachabilityRef_ || !reachabilityRef_->getFlags(flags)) {
        return BDXNotReachable;
    }
    return alwaysReturnLocalWiFiStatus() ? localWiFiStatusForFlags(flags) : networkStatusForFlags(flags);
}

bool BDXReachability::connectionRequired() {
    bdx::net::ReachabilityFlags flags = 0;
    if (!reachabilityRef_ || !reachabilityRef_->getFlags(flags)) {
        return false;
    }
    return (flags & Flag::connectionRequired) != 0;
}

std::int64_t BDXReachability::networkStatusForFlags(bdx::net::ReachabilityFlags flags) {
    if ((flags & Flag::reachable) == 0) {
        return BDXNotReachable;
    }
    if ((flags & Flag::isWWAN) != 0) {
        return BDXReachableViaWWAN;
    }
    bool onDemandOrOnTraffic = (flags & (Flag::connectionOnDemand | Flag::connectionOnTraffic)) != 0;
    if (!onDemandOrOnTraffic || (flags & Flag::interventionRequired) != 0) {
        return (flags & Flag::connectionRequired) == 0 ? BDXReachableViaWiFi : BDXNotReachable;
    }
    return BDXReachableViaWiFi;
}

std::int64_t BDXReachability::localWiFiStatusForFlags(bdx::net::ReachabilityFlags flags) {
    constexpr bdx::net::ReachabilityFlags reachableAndDirect = Flag::reachable | Flag::isDirect;
    return (flags & reachableAndDirect) == reachableAndDirect ? BDXReachableViaWiFi : BDXNotReachable;
}

bool BDXReachability::alwaysReturnLocalWiFiStatus() const {
    std::lock_guard lock(mutex_);
    return alwaysReturnLocalWiFiStatus_;
}

void BDXReachability::setAlwaysReturnLocalWiFiStatus(bool value) {
    std::lock_guard lock(mutex_);
    alwaysReturnLocalWiFiStatus_ = value;
}
