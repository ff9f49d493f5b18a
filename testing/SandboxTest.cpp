#include "testing/SandboxTest.h"

#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"

namespace bdx::testing {

void SandboxTest::SetUp() {
    previousRoot_ = Sandbox::current().root();
    root_ = std::make_unique<TemporaryDirectory>();
    Sandbox::setRoot(root_->path());
}

void SandboxTest::TearDown() {
    // Singletons go first: some write into the sandbox as they go.
    resetAllSingletons();
    Sandbox::setRoot(previousRoot_);
    root_.reset();
}

void SandboxTest::relaunch() {
    resetAllSingletons();
}

}  // namespace bdx::testing
