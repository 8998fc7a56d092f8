// Without umockdev's preload library the tests would reach for real USB
// devices: they are skipped instead (77, CTest's skip code).
#include <cstdio>

#include <gtest/gtest.h>

#include "umockdev/KR9UmockdevBus.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests) && !ClKR9UmockdevBus::PreloadActive()) {
        printf("umockdev's preload library is not loaded: USB tests skipped\n");
        return 77;
    }
    return RUN_ALL_TESTS();
}
