#include "platform/net/linux/NetworkChangeWatcher.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/ConcurrencyLog.h"
#include "foundation/Console.h"

namespace bdx::net {
namespace {

void logFailure(const char* what) {
    bdx::Console::logFault(std::string("[bdx::net] network change watcher: ") + what + ": " +
                           std::strerror(errno));
}

// One life of the watching thread: its sockets close when both the thread and the watcher have let
// go of it, so a thread that is told to stop never reads a closed descriptor.
struct Run {
    int netlink = -1;
    int wake = -1;
    std::atomic<bool> stopping{false};

    ~Run() {
        if (netlink >= 0) {
            ::close(netlink);
        }
        if (wake >= 0) {
            ::close(wake);
        }
    }

    void signal() const {
        std::uint64_t one = 1;
        ssize_t ignored = ::write(wake, &one, sizeof one);
        (void)ignored;
    }
};

std::shared_ptr<Run> openRun() {
    auto run = std::make_shared<Run>();
    run->netlink = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    if (run->netlink < 0) {
        logFailure("cannot open a netlink socket");
        return nullptr;
    }
    sockaddr_nl groups{};
    groups.nl_family = AF_NETLINK;
    groups.nl_groups =
        RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(run->netlink, reinterpret_cast<sockaddr*>(&groups), sizeof groups) != 0) {
        logFailure("cannot join the link, address and route groups");
        return nullptr;
    }
    run->wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (run->wake < 0) {
        logFailure("cannot make a wake-up descriptor");
        return nullptr;
    }
    return run;
}

// Reads every message waiting on the socket; true when at least one came (or some were lost, which
// means changes came too fast to read: as good as a change).
bool drain(int fd) {
    bool changed = false;
    char buffer[16384];
    for (;;) {
        ssize_t got = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got > 0) {
            changed = true;
            continue;
        }
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 && errno == ENOBUFS) {
            changed = true;
            continue;
        }
        return changed;
    }
}

}  // namespace

struct NetworkChangeWatcher::State {
    std::mutex mutex;
    std::map<Token, std::shared_ptr<Listener>> listeners;
    std::set<Token> waitingForFirstCall;
    std::shared_ptr<Run> run;
    Token nextToken = 1;
    std::atomic<std::uint64_t> changes{0};

    static void watch(const std::shared_ptr<State>& state, const std::shared_ptr<Run>& run) {
        pollfd fds[2] = {{run->netlink, POLLIN, 0}, {run->wake, POLLIN, 0}};
        while (!run->stopping.load()) {
            int ready = ::poll(fds, 2, -1);
            if (ready < 0) {
                if (errno == EINTR) {
                    continue;
                }
                logFailure("poll failed, no more changes will be reported");
                return;
            }
            if (fds[1].revents != 0) {
                std::uint64_t count;
                ssize_t ignored = ::read(run->wake, &count, sizeof count);
                (void)ignored;
            }
            bool changed = fds[0].revents != 0 && drain(run->netlink);
            if (run->stopping.load()) {
                return;
            }
            if (changed) {
                state->changes.fetch_add(1);
            }
            std::vector<std::shared_ptr<Listener>> toCall;
            {
                std::lock_guard lock(state->mutex);
                for (auto& [token, listener] : state->listeners) {
                    if (changed || state->waitingForFirstCall.count(token) != 0) {
                        toCall.push_back(listener);
                    }
                }
                state->waitingForFirstCall.clear();
            }
            for (auto& listener : toCall) {
                try {
                    (*listener)();
                } catch (const std::exception& e) {
                    bdx::Console::logFault(std::string("[bdx::net] network change listener threw: ") +
                                           e.what());
                } catch (...) {
                    bdx::Console::logFault("[bdx::net] network change listener threw");
                }
            }
        }
    }
};

std::shared_ptr<NetworkChangeWatcher> NetworkChangeWatcher::shared() {
    static auto watcher = std::make_shared<NetworkChangeWatcher>();
    return watcher;
}

NetworkChangeWatcher::NetworkChangeWatcher() : state_(std::make_shared<State>()) {}

NetworkChangeWatcher::~NetworkChangeWatcher() {
    std::lock_guard lock(state_->mutex);
    state_->listeners.clear();
    if (state_->run) {
        state_->run->stopping = true;
        state_->run->signal();
        state_->run.reset();
    }
}

std::optional<NetworkChangeWatcher::Token> NetworkChangeWatcher::subscribe(Listener listener) {
    if (!listener) {
        return std::nullopt;
    }
    std::lock_guard lock(state_->mutex);
    if (!state_->run) {
        auto run = openRun();
        if (!run) {
            return std::nullopt;
        }
        try {
            // Detached: stopping must never wait for a listener that is still looking a name up.
            std::thread([state = state_, run] {
                bdx::ConcurrencyLog::runGuarded("the network change watcher",
                                                [&] { State::watch(state, run); });
            }).detach();
        } catch (const std::system_error& e) {
            bdx::Console::logFault(
                std::string("[bdx::net] network change watcher: cannot start its thread: ") + e.what());
            return std::nullopt;
        }
        state_->run = run;
    }
    Token token = state_->nextToken++;
    state_->listeners.emplace(token, std::make_shared<Listener>(std::move(listener)));
    state_->waitingForFirstCall.insert(token);
    state_->run->signal();
    return token;
}

void NetworkChangeWatcher::unsubscribe(Token token) {
    std::lock_guard lock(state_->mutex);
    state_->listeners.erase(token);
    state_->waitingForFirstCall.erase(token);
    if (state_->listeners.empty() && state_->run) {
        state_->run->stopping = true;
        state_->run->signal();
        state_->run.reset();
    }
}

std::uint64_t NetworkChangeWatcher::changeCount() const {
    return state_->changes.load();
}

}  // namespace bdx::net
