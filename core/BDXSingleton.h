#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "foundation/Once.h"
#include "foundation/SingletonReset.h"

// The shared instance of a class, made on first use under one-time initialisation. destroy() drops the
// shared reference and arms the guard again, so that the next access builds a fresh object; it stops
// nothing, and holders of the old object keep it alive until they let go. Every instance registers its
// destruction with the singleton-reset registry, so that tests start from nothing.
template <typename T>
class BDXSingleton {
  public:
    template <typename Make>
    std::shared_ptr<T> get(Make&& make) {
        for (;;) {
            once_.call([&] {
                std::shared_ptr<T> made = make();
                {
                    std::lock_guard<std::mutex> guard(mutex_);
                    instance_ = std::move(made);
                }
                bdx::registerSingletonReset([this] { destroy(); });
            });
            std::lock_guard<std::mutex> guard(mutex_);
            if (instance_) {
                return instance_;
            }
            // Destroyed between the initialisation and this read: make the next one.
        }
    }

    // The instance if one exists, without making it.
    std::shared_ptr<T> existing() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return instance_;
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
    bdx::Once once_;
    mutable std::mutex mutex_;
    std::shared_ptr<T> instance_;
};
