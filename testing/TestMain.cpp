#include <gtest/gtest.h>

#include <memory>

#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"
#include "testing/DispatchTesting.h"
#include "testing/TemporaryDirectory.h"

namespace {

// Every test starts from nothing: a sandbox root of its own (so that no test ever writes into the user's real
// data folder), no singleton left by the test before, no block or deadline of it left to fire and the real
// clock in force. Fixtures may set a root of their own on top.
class FreshStateListener : public ::testing::EmptyTestEventListener {
  public:
    void OnTestStart(const ::testing::TestInfo&) override {
        root_ = std::make_unique<bdx::testing::TemporaryDirectory>();
        bdx::Sandbox::setRoot(root_->path());
    }

    void OnTestEnd(const ::testing::TestInfo&) override {
        // Work of the test first, so that nothing still running uses a singleton as it goes; then the
        // singletons; then whatever they queued as they went.
        bdx::testing::resetDispatchState();
        bdx::resetAllSingletons();
        bdx::testing::resetDispatchState();
        root_.reset();
    }

  private:
    std::unique_ptr<bdx::testing::TemporaryDirectory> root_;
};

}  // namespace

// One main for every test program, so that shared set-up (the test environment that drops singletons
// and installs fresh state between tests) is registered in one place.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new FreshStateListener);
    return RUN_ALL_TESTS();
}
