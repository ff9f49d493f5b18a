#pragma once

#include <memory>

#include "testing/DispatchTesting.h"
#include "testing/SandboxTest.h"
#include "testing/VirtualClock.h"

namespace bdx::testing {

// A sandbox of its own, a clean dispatch state and a virtual clock for each test.
class CoreTest : public SandboxTest {
  protected:
    void SetUp() override {
        resetDispatchState();
        SandboxTest::SetUp();
        clock = installVirtualClock();
    }
    void TearDown() override {
        resetDispatchState();
        SandboxTest::TearDown();
    }

    std::shared_ptr<VirtualClock> clock;
};

}  // namespace bdx::testing
