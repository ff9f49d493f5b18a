#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "testing/VirtualClock.h"

// Helpers that make work on queues, the main queue and timers deterministic in tests. The calling
// thread (the test's own, the process's initial thread) is the main thread.
namespace bdx::testing {

// Installs a fresh virtual clock for the whole process and returns it.
std::shared_ptr<VirtualClock> installVirtualClock();
// The virtual clock in force, or nullptr.
std::shared_ptr<VirtualClock> installedVirtualClock();
// Advances the installed virtual clock (see VirtualClock::advance); a test failure without one.
void advance(double seconds);
// Runs the main queue on the calling thread until it is empty.
void runMainQueueUntilIdle();
// Waits until no worker runs or waits for a block and the main queue is empty, running the main queue
// meanwhile.
void waitUntilIdle();

// Puts the dispatch machinery back to its state at start: stops the embedded main thread, drops every
// scheduled deadline and every block waiting on the main queue, waits for blocks still running on
// workers, and puts the real clock back. Nothing of one test fires in the next.
void resetDispatchState();

// Fixture of the concurrency suites: a clean dispatch state before and after each test.
class DispatchTest : public ::testing::Test {
  protected:
    void SetUp() override { resetDispatchState(); }
    void TearDown() override { resetDispatchState(); }
};

// The same, with a virtual clock installed for the test.
class VirtualClockTest : public DispatchTest {
  protected:
    void SetUp() override {
        DispatchTest::SetUp();
        clock = installVirtualClock();
    }
    std::shared_ptr<VirtualClock> clock;
};

}  // namespace bdx::testing
