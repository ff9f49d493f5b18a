#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "foundation/Once.h"
#include "foundation/SingletonReset.h"

namespace bdx {

// Process-wide objects and their lifetime.
//
// The library runs inside a host's process, on worker threads the host does not know of. When the host's
// main() returns or it calls exit(), the C++ run-time destroys statics while those workers may still post a
// notification, look up a window or write a preference. A static destroyed under them is a use after free.
// So every process-wide object of the library follows one policy:
//
// - it is made on first use, once, whichever thread asks first (concurrent callers wait for the first);
// - its holder lives in memory that is deliberately never freed, and the exit of the process never destroys
//   the instance either: a worker that runs past main() still finds a live object (the operating system
//   takes the memory back; leak checkers see it as reachable from a static pointer);
// - `destroy()` drops the shared reference and arms the guard again, so that the next access makes a fresh
//   object. It stops nothing: holders of the old object keep it alive until they let go. The test main drops
//   every singleton between tests through resetAllSingletons(), after the dispatch state has drained.
//
// Every class with a shared instance calls its reset `destroy()`.

// State that is not a shared instance (a lock and its table, a registry): made on first use and never
// destroyed. One value per type and tag.
template <typename T, typename Tag = T>
T& neverDestroyed() {
    static T* const value = new T();
    return *value;
}

// The holder of a shared instance. One holder per type and tag, reached through holder().
template <typename T, typename Tag = T>
class Singleton {
  public:
    Singleton() = default;
    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

    static Singleton& holder() { return neverDestroyed<Singleton, Singleton>(); }

    // The instance, made by `make` (a callable returning std::shared_ptr<T>) on first use. A make that
    // returns nothing leaves the singleton empty, and the next call tries again.
    template <typename Make>
    std::shared_ptr<T> get(Make&& make) {
        for (;;) {
            bool madeHere = false;
            once_.call([&] {
                madeHere = true;
                std::shared_ptr<T> made = make();
                {
                    std::lock_guard<std::mutex> guard(mutex_);
                    instance_ = std::move(made);
                }
                registerSingletonReset([this] { destroy(); });
            });
            std::shared_ptr<T> current = existing();
            if (current) {
                return current;
            }
            if (madeHere) {
                // The make gave nothing: let the next call try again.
                once_.reset();
                return current;
            }
            // Destroyed between the initialisation and this read: make the next one.
        }
    }

    std::shared_ptr<T> get() {
        return get([] { return std::make_shared<T>(); });
    }

    // The instance if one exists, without making it.
    std::shared_ptr<T> existing() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return instance_;
    }

    // Puts `instance` in place of the current one; nullptr is destroy(). Used where the host or a test
    // installs its own implementation of a service.
    void replace(std::shared_ptr<T> instance) {
        if (!instance) {
            destroy();
            return;
        }
        std::shared_ptr<T> dropped;
        once_.call([] {});
        {
            std::lock_guard<std::mutex> guard(mutex_);
            dropped = std::exchange(instance_, std::move(instance));
        }
        registerSingletonReset([this] { destroy(); });
    }

    void destroy() {
        std::shared_ptr<T> dropped;
        {
            std::lock_guard<std::mutex> guard(mutex_);
            dropped = std::move(instance_);
            instance_.reset();
        }
        once_.reset();
        // `dropped` goes here, outside the lock: its teardown may reach other singletons.
    }

  private:
    Once once_;
    mutable std::mutex mutex_;
    std::shared_ptr<T> instance_;
};

}  // namespace bdx
