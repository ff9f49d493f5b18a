// Public header: installed with the library for hosts to include.
#pragma once

#include <cstdint>
#include <functional>

namespace bdx::net {

// The reachability flag word, with the bit values the platform gives them, so that code written
// against those values reads the same on every implementation of the seam.
using ReachabilityFlags = std::uint32_t;

namespace ReachabilityFlag {
inline constexpr ReachabilityFlags transientConnection = 1;
inline constexpr ReachabilityFlags reachable = 2;
inline constexpr ReachabilityFlags connectionRequired = 4;
inline constexpr ReachabilityFlags connectionOnTraffic = 8;
inline constexpr ReachabilityFlags interventionRequired = 16;
inline constexpr ReachabilityFlags connectionOnDemand = 32;
inline constexpr ReachabilityFlags isLocalAddress = 65536;
inline constexpr ReachabilityFlags isDirect = 131072;
inline constexpr ReachabilityFlags isWWAN = 262144;
}  // namespace ReachabilityFlag

// One watched target (a host name or an address): what a network reachability reference is on the
// platform. Made by the installed ReachabilityService. All members are safe to call from any thread.
class Reachability {
  public:
    using Callback = std::function<void(ReachabilityFlags)>;
    // Runs a block on the thread of the run loop the target is scheduled on.
    using Scheduler = std::function<void(std::function<void()>)>;

    virtual ~Reachability() = default;

    // The current flags; false when they cannot be read (the flags are then meaningless). A target
    // that is not scheduled may look the answer up on the calling thread, which can wait on the
    // name resolver: call it away from the host's main thread until the target is scheduled.
    virtual bool getFlags(ReachabilityFlags& flags) = 0;

    // The callback runs through the scheduler each time the flags change while the target is
    // scheduled. An empty callback clears it.
    virtual bool setCallback(Callback callback) = 0;
    // Starts watching; false when already scheduled or when watching cannot start.
    virtual bool scheduleWithRunLoop(Scheduler scheduler) = 0;
    // Stops watching. No callback runs after this returns, including one already handed to the
    // scheduler. False when not scheduled.
    virtual bool unscheduleFromRunLoop() = 0;
};

}  // namespace bdx::net
