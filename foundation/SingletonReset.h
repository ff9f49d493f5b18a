#pragma once

#include <functional>

namespace bdx {

// Process-wide state (singletons, installed sinks, overrides) registers how to drop itself, so that a test
// harness can start every test from nothing, and a test can simulate a relaunch by dropping everything but
// the files on disk.
//
// A registration is used once: resetAllSingletons() runs and forgets it. A singleton therefore registers when
// it creates its instance, and registers again when it is created anew after a reset. A reset function must
// be harmless when its state is already gone (a singleton may have been destroyed by its own `destroy`).
void registerSingletonReset(std::function<void()> reset);

// Runs every registered reset, the most recent first, so that what was made later (and may use what was made
// earlier) goes first. Resets registered while this runs are kept for the next call.
void resetAllSingletons();

}  // namespace bdx
