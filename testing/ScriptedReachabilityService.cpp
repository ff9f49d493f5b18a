#include "testing/ScriptedReachabilityService.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <optional>

#include "foundation/SingletonReset.h"

namespace bdx::testing {

class ScriptedReachability;

struct ScriptedReachabilityService::Shared {
    mutable std::mutex mutex;
    net::ReachabilityFlags defaultFlags = 0;
    std::map<std::string, net::ReachabilityFlags> flags;
    bool readable = true;
    bool refusesTargets = false;
    bool refusesScheduling = false;
    std::vector<std::string> requested;
    std::vector<std::weak_ptr<ScriptedReachability>> scheduled;

    net::ReachabilityFlags flagsFor(const std::string& name) const {
        auto found = flags.find(name);
        return found == flags.end() ? defaultFlags : found->second;
    }
};

class ScriptedReachability final : public net::Reachability,
                                   public std::enable_shared_from_this<ScriptedReachability> {
  public:
    ScriptedReachability(std::shared_ptr<ScriptedReachabilityService::Shared> shared, std::string name)
        : shared_(std::move(shared)), name_(std::move(name)) {}
    ~ScriptedReachability() override { unscheduleFromRunLoop(); }

    const std::string& name() const { return name_; }

    bool getFlags(net::ReachabilityFlags& flags) override {
        std::lock_guard lock(shared_->mutex);
        if (!shared_->readable) {
            return false;
        }
        flags = shared_->flagsFor(name_);
        return true;
    }

    bool setCallback(Callback callback) override {
        std::lock_guard lock(mutex_);
        callback_ = std::move(callback);
        return true;
    }

    bool scheduleWithRunLoop(Scheduler scheduler) override {
        if (!scheduler) {
            return false;
        }
        {
            std::lock_guard lock(shared_->mutex);
            if (shared_->refusesScheduling) {
                return false;
            }
        }
        {
            std::lock_guard lock(mutex_);
            if (scheduler_) {
                return false;
            }
            scheduler_ = std::move(scheduler);
            ++generation_;
        }
        std::lock_guard lock(shared_->mutex);
        shared_->scheduled.push_back(weak_from_this());
        return true;
    }

    bool unscheduleFromRunLoop() override {
        {
            std::lock_guard lock(mutex_);
            if (!scheduler_) {
                return false;
            }
            scheduler_ = nullptr;
            ++generation_;
        }
        std::lock_guard lock(shared_->mutex);
        auto& list = shared_->scheduled;
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [this](const std::weak_ptr<ScriptedReachability>& entry) {
                                      auto target = entry.lock();
                                      return !target || target.get() == this;
                                  }),
                   list.end());
        return true;
    }

    // Hands the new flags to the scheduler, as the platform does from its run loop source.
    void deliver(net::ReachabilityFlags flags) {
        Scheduler scheduler;
        std::uint64_t generation;
        {
            std::lock_guard lock(mutex_);
            scheduler = scheduler_;
            generation = generation_;
        }
        if (!scheduler) {
            return;
        }
        std::weak_ptr<ScriptedReachability> weak = weak_from_this();
        scheduler([weak, generation, flags] {
            auto target = weak.lock();
            if (!target) {
                return;
            }
            Callback callback;
            {
                std::lock_guard lock(target->mutex_);
                if (!target->scheduler_ || target->generation_ != generation) {
                    return;
                }
                callback = target->callback_;
            }
            if (callback) {
                callback(flags);
            }
        });
    }

  private:
    std::shared_ptr<ScriptedReachabilityService::Shared> shared_;
    std::string name_;
    std::mutex mutex_;
    Callback callback_;
    Scheduler scheduler_;
    std::uint64_t generation_ = 0;
};

std::shared_ptr<ScriptedReachabilityService> ScriptedReachabilityService::install() {
    auto service = std::make_shared<ScriptedReachabilityService>();
    net::ReachabilityService::install(service);
    // The next test finds the Linux service again, whether or not this one uninstalls.
    registerSingletonReset([] { net::ReachabilityService::install(nullptr); });
    return service;
}

void ScriptedReachabilityService::uninstall() {
    net::ReachabilityService::install(nullptr);
}

ScriptedReachabilityService::ScriptedReachabilityService() : shared_(std::make_shared<Shared>()) {}

std::shared_ptr<net::Reachability> ScriptedReachabilityService::createWithName(const std::string& hostName) {
    std::lock_guard lock(shared_->mutex);
    shared_->requested.push_back(hostName);
    if (shared_->refusesTargets || hostName.empty()) {
        return nullptr;
    }
    return std::make_shared<ScriptedReachability>(shared_, hostName);
}

std::shared_ptr<net::Reachability> ScriptedReachabilityService::createWithAddress(const sockaddr* address) {
    if (address == nullptr) {
        return nullptr;
    }
    char text[INET6_ADDRSTRLEN] = {};
    if (address->sa_family == AF_INET) {
        ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    } else if (address->sa_family == AF_INET6) {
        ::inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
    } else {
        return nullptr;
    }
    return createWithName(text);
}

void ScriptedReachabilityService::setDefaultFlags(net::ReachabilityFlags flags) {
    std::lock_guard lock(shared_->mutex);
    shared_->defaultFlags = flags;
}

void ScriptedReachabilityService::setFlags(const std::string& name, net::ReachabilityFlags flags) {
    std::vector<std::shared_ptr<ScriptedReachability>> toTell;
    {
        std::lock_guard lock(shared_->mutex);
        net::ReachabilityFlags before = shared_->flagsFor(name);
        shared_->flags[name] = flags;
        if (before == flags) {
            return;
        }
        for (auto& entry : shared_->scheduled) {
            auto target = entry.lock();
            if (target && target->name() == name) {
                toTell.push_back(target);
            }
        }
    }
    for (auto& target : toTell) {
        target->deliver(flags);
    }
}

void ScriptedReachabilityService::setFlagsReadable(bool readable) {
    std::lock_guard lock(shared_->mutex);
    shared_->readable = readable;
}

void ScriptedReachabilityService::setRefusesTargets(bool refuses) {
    std::lock_guard lock(shared_->mutex);
    shared_->refusesTargets = refuses;
}

void ScriptedReachabilityService::setRefusesScheduling(bool refuses) {
    std::lock_guard lock(shared_->mutex);
    shared_->refusesScheduling = refuses;
}

std::vector<std::string> ScriptedReachabilityService::requestedNames() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->requested;
}

std::size_t ScriptedReachabilityService::scheduledCount() const {
    std::lock_guard lock(shared_->mutex);
    return static_cast<std::size_t>(std::count_if(shared_->scheduled.begin(), shared_->scheduled.end(),
                                                  [](const auto& entry) { return !entry.expired(); }));
}

}  // namespace bdx::testing
