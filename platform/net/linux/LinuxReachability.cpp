#include "platform/net/linux/LinuxReachability.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>

#include "platform/net/linux/NetworkChangeWatcher.h"
#include "platform/net/linux/RouteLookup.h"

namespace bdx::net {
namespace {

// The longest name DNS can carry, in its dotted text form.
constexpr std::size_t kMaximumHostNameLength = 253;
// A name with more addresses than this is judged on its first ones; more would only slow the answer.
constexpr int kMaximumAddressesTried = 8;

ReachabilityFlags flagsForRoute(const Route& route) {
    switch (route.type) {
        case Route::Type::local:
            return ReachabilityFlag::reachable | ReachabilityFlag::isLocalAddress |
                   ReachabilityFlag::isDirect;
        case Route::Type::unicast: {
            if (!route.interfaceRunning) {
                return 0;
            }
            ReachabilityFlags flags = ReachabilityFlag::reachable;
            if (!route.viaGateway) {
                flags |= ReachabilityFlag::isDirect;
            }
            if (route.interfaceIsWWAN) {
                flags |= ReachabilityFlag::isWWAN;
            }
            return flags;
        }
        case Route::Type::unreachable:
            break;
    }
    return 0;
}

bool isUnspecified(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        return reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr == htonl(INADDR_ANY);
    }
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
    return IN6_IS_ADDR_UNSPECIFIED(&v6->sin6_addr);
}

}  // namespace

struct LinuxReachability::Target {
    enum class Kind { hostName, address, anyRoute };
    Kind kind = Kind::address;
    std::string hostName;
    sockaddr_storage address{};

    std::optional<ReachabilityFlags> evaluate() const {
        switch (kind) {
            case Kind::address: {
                auto route = RouteLookup::routeTo(reinterpret_cast<const sockaddr*>(&address));
                return route ? std::optional(flagsForRoute(*route)) : std::nullopt;
            }
            case Kind::anyRoute: {
                auto route = RouteLookup::defaultRoute(address.ss_family);
                return route ? std::optional(flagsForRoute(*route)) : std::nullopt;
            }
            case Kind::hostName:
                return evaluateHostName();
        }
        return std::nullopt;
    }

    std::optional<ReachabilityFlags> evaluateHostName() const {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (::getaddrinfo(hostName.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
            // A name that does not resolve, now, cannot be reached: the flags are known and empty.
            return ReachabilityFlags{0};
        }
        std::optional<ReachabilityFlags> answer;
        int tried = 0;
        for (addrinfo* entry = found; entry != nullptr && tried < kMaximumAddressesTried;
             entry = entry->ai_next) {
            if (entry->ai_family != AF_INET && entry->ai_family != AF_INET6) {
                continue;
            }
            ++tried;
            auto route = RouteLookup::routeTo(entry->ai_addr);
            if (!route) {
                continue;
            }
            ReachabilityFlags flags = flagsForRoute(*route);
            if (!answer || (flags & ReachabilityFlag::reachable) != 0) {
                answer = flags;
            }
            if ((flags & ReachabilityFlag::reachable) != 0) {
                break;
            }
        }
        ::freeaddrinfo(found);
        return answer;
    }
};

struct LinuxReachability::State {
    std::mutex mutex;
    Callback callback;
    Scheduler scheduler;
    bool scheduled = false;
    // Tells a late listener call or a late delivery of an earlier scheduling from the current one.
    std::uint64_t generation = 0;
    std::optional<NetworkChangeWatcher::Token> token;
    // The last flags any evaluation gave; a change is judged against them.
    std::optional<ReachabilityFlags> latest;
    // latest was made by the watcher during the current scheduling, so it follows every change.
    bool fresh = false;
};

std::shared_ptr<LinuxReachability> LinuxReachability::withHostName(
    const std::string& hostName, std::shared_ptr<NetworkChangeWatcher> watcher) {
    if (hostName.empty() || hostName.size() > kMaximumHostNameLength ||
        hostName.find('\0') != std::string::npos) {
        return nullptr;
    }
    auto target = std::make_shared<Target>();
    target->kind = Target::Kind::hostName;
    target->hostName = hostName;
    return std::shared_ptr<LinuxReachability>(new LinuxReachability(target, std::move(watcher)));
}

std::shared_ptr<LinuxReachability> LinuxReachability::withAddress(
    const sockaddr* address, std::shared_ptr<NetworkChangeWatcher> watcher) {
    if (address == nullptr || (address->sa_family != AF_INET && address->sa_family != AF_INET6)) {
        return nullptr;
    }
    auto target = std::make_shared<Target>();
    std::memcpy(&target->address, address,
                address->sa_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6));
    target->kind = isUnspecified(address) ? Target::Kind::anyRoute : Target::Kind::address;
    return std::shared_ptr<LinuxReachability>(new LinuxReachability(target, std::move(watcher)));
}

LinuxReachability::LinuxReachability(std::shared_ptr<const Target> target,
                                     std::shared_ptr<NetworkChangeWatcher> watcher)
    : target_(std::move(target)), watcher_(std::move(watcher)), state_(std::make_shared<State>()) {}

LinuxReachability::~LinuxReachability() {
    unscheduleFromRunLoop();
}

bool LinuxReachability::getFlags(ReachabilityFlags& flags) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->scheduled && state_->fresh && state_->latest) {
            flags = *state_->latest;
            return true;
        }
    }
    std::optional<ReachabilityFlags> answer = target_->evaluate();
    {
        std::lock_guard lock(state_->mutex);
        // The watcher may have answered for a later moment meanwhile; keep its answer.
        if (!(state_->scheduled && state_->fresh)) {
            state_->latest = answer;
        }
    }
    if (!answer) {
        return false;
    }
    flags = *answer;
    return true;
}

bool LinuxReachability::setCallback(Callback callback) {
    std::lock_guard lock(state_->mutex);
    state_->callback = std::move(callback);
    return true;
}

bool LinuxReachability::scheduleWithRunLoop(Scheduler scheduler) {
    if (!scheduler || !watcher_) {
        return false;
    }
    std::uint64_t generation;
    {
        std::lock_guard lock(state_->mutex);
        if (state_->scheduled) {
            return false;
        }
        state_->scheduled = true;
        state_->fresh = false;
        state_->scheduler = std::move(scheduler);
        generation = ++state_->generation;
    }

    std::weak_ptr<State> weakState = state_;
    auto listener = [weakState, target = target_, generation] {
        auto state = weakState.lock();
        if (!state) {
            return;
        }
        {
            std::lock_guard lock(state->mutex);
            if (!state->scheduled || state->generation != generation) {
                return;
            }
        }
        std::optional<ReachabilityFlags> flags = target->evaluate();
        Scheduler deliverOn;
        {
            std::lock_guard lock(state->mutex);
            if (!state->scheduled || state->generation != generation) {
                return;
            }
            std::optional<ReachabilityFlags> previous = state->latest;
            state->latest = flags;
            state->fresh = flags.has_value();
            if (flags && previous && *previous != *flags) {
                deliverOn = state->scheduler;
            }
        }
        if (!deliverOn) {
            return;
        }
        deliverOn([weakState, generation, changed = *flags] {
            auto state = weakState.lock();
            if (!state) {
                return;
            }
            Callback callback;
            {
                std::lock_guard lock(state->mutex);
                if (!state->scheduled || state->generation != generation) {
                    return;
                }
                callback = state->callback;
            }
            if (callback) {
                callback(changed);
            }
        });
    };

    std::optional<NetworkChangeWatcher::Token> token = watcher_->subscribe(std::move(listener));
    std::lock_guard lock(state_->mutex);
    if (!token) {
        state_->scheduled = false;
        state_->scheduler = nullptr;
        return false;
    }
    state_->token = token;
    return true;
}

bool LinuxReachability::unscheduleFromRunLoop() {
    std::optional<NetworkChangeWatcher::Token> token;
    {
        std::lock_guard lock(state_->mutex);
        if (!state_->scheduled) {
            return false;
        }
        state_->scheduled = false;
        state_->fresh = false;
        ++state_->generation;
        state_->scheduler = nullptr;
        token = state_->token;
        state_->token.reset();
    }
    if (token && watcher_) {
        watcher_->unsubscribe(*token);
    }
    return true;
}

}  // namespace bdx::net
