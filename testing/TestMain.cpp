#include <gtest/gtest.h>

#include <memory>

#include "foundation/Sandbox.h"
#include "foundation/SingletonReset.h"
#include "testing/TemporaryDirectory.h"

namespace {

// Every test starts from nothing: a sandbox root of its own (so that no test ever writes into the user's real
// data folder) and no singleton left by the test before. Fixtures may set a root of their own on top.
class FreshStateListener : public ::testing::EmptyTestEventListener {
  public:
    void OnTestStart(const ::testing::TestInfo&) override {
        root_ = std::make_unique<bdx::testing::TemporaryDirectory>();
        bdx::Sandbox::setRoot(root_->path());
    }

    void OnTestEnd(const ::testing::TestInfo&) override {
        bdx::resetAllSingletons();
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
