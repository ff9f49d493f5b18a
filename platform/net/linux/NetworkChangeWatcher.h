#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace bdx::net {

// Watches the kernel's link, address and route changes (rtnetlink multicast groups) on a thread of
// its own and tells its listeners that the way out may have changed. The thread runs while there is
// at least one listener; it never blocks the thread that subscribes or unsubscribes.
class NetworkChangeWatcher {
  public:
    using Token = std::uint64_t;
    using Listener = std::function<void()>;

    // The watcher the Linux reachability service uses.
    static std::shared_ptr<NetworkChangeWatcher> shared();

    NetworkChangeWatcher();
    ~NetworkChangeWatcher();
    NetworkChangeWatcher(const NetworkChangeWatcher&) = delete;
    NetworkChangeWatcher& operator=(const NetworkChangeWatcher&) = delete;

    // The listener runs on the watcher's thread once soon after subscribing, and then once after
    // each burst of changes. Nothing when the kernel cannot be watched. The watching thread starts
    // in the network namespace of the thread that starts it.
    std::optional<Token> subscribe(Listener listener);
    // Takes the listener off. A call the watcher had already picked up may still run once, so a
    // listener must hold only weak references to what it reports to.
    void unsubscribe(Token token);

    // How many bursts of kernel changes the watcher has seen; for diagnostics.
    std::uint64_t changeCount() const;

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace bdx::net
