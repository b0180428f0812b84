// Test entry point. Death tests re-execute the binary, so that a child never
// inherits a worker pool whose threads fork() did not copy.
#include <gtest/gtest.h>

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    return RUN_ALL_TESTS();
}
