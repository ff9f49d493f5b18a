#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "testing/TemporaryDirectory.h"

namespace bdx::testing {

// A test with a sandbox of its own: a fresh temporary root set as the Sandbox root before the test and, after
// it, every singleton dropped (so that they finish their writes) and the root removed.
class SandboxTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The sandbox root of this test.
    const std::filesystem::path& sandboxRoot() const { return root_->path(); }

    // What a relaunch of the app leaves: every singleton is dropped (and writes out what it holds), the files
    // in the sandbox stay.
    static void relaunch();

  private:
    std::unique_ptr<TemporaryDirectory> root_;
    std::filesystem::path previousRoot_;
};

}  // namespace bdx::testing
