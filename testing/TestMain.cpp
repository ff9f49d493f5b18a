#include <gtest/gtest.h>

// One main for every test program, so that shared set-up (the test environment that drops singletons
// and installs fresh state between tests) is registered in one place.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
