#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/Object.h"
#include "platform/net/Reachability.h"

struct sockaddr;

// Posted on the run loop the notifier was started from when the way to the watched target may have
// changed; its object is the BDXReachability.
inline constexpr const char* kBDXReachabilityChangedNotification = "kBDXReachabilityChangedNotification";

// The three statuses a flag word comes down to.
enum BDXNetworkStatus : std::int64_t {
    BDXNotReachable = 0,
    BDXReachableViaWiFi = 1,
    BDXReachableViaWWAN = 2,
};

// Watches the way to one host or address through the platform's reachability service and reads its
// flag word as a status.
class BDXReachability : public bdx::Object, public std::enable_shared_from_this<BDXReachability> {
    BDX_DECLARE_CLASS(BDXReachability, bdx::Object)

  public:
    // Nothing when the platform cannot make a target for the name.
    static std::shared_ptr<BDXReachability> reachabilityWithHostName(const std::string& hostName);
    // An IPv4 or IPv6 socket address; nothing when the platform cannot make a target for it.
    static std::shared_ptr<BDXReachability> reachabilityWithAddress(const sockaddr* hostAddress);
    // The zero IPv4 address: whether there is any way out at all.
    static std::shared_ptr<BDXReachability> reachabilityForInternetConnection();
    // The link-local network 169.254.0.0, answered only as direct or not.
    static std::shared_ptr<BDXReachability> reachabilityForLocalWiFi();

    explicit BDXReachability(std::shared_ptr<bdx::net::Reachability> reachabilityRef);
    // Stops the notifier; the platform target goes with the object.
    ~BDXReachability() override;

    // Reports changes as kBDXReachabilityChangedNotification on the run loop of the calling thread.
    // True when both the callback and the scheduling were accepted.
    bool startNotifier();
    void stopNotifier();

    std::int64_t currentReachabilityStatus();
    bool connectionRequired();

    static std::int64_t networkStatusForFlags(bdx::net::ReachabilityFlags flags);
    static std::int64_t localWiFiStatusForFlags(bdx::net::ReachabilityFlags flags);

    const std::shared_ptr<bdx::net::Reachability>& reachabilityRef() const { return reachabilityRef_; }
    bool alwaysReturnLocalWiFiStatus() const;
    void setAlwaysReturnLocalWiFiStatus(bool value);

  private:
    const std::shared_ptr<bdx::net::Reachability> reachabilityRef_;
    mutable std::mutex mutex_;
    bool alwaysReturnLocalWiFiStatus_ = false;
};
