// Without umockdev's preload library the tests would reach for real USB
// devices: they are skipped instead (77, CTest's skip code).
#include <dlfcn.h>

#include <cstdio>

#include <gtest/gtest.h>

#include "device/transport/LibusbWrapper.h"
#include "emulator/umockdev/KR9UmockdevBus.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests) && !ClKR9UmockdevBus::PreloadActive()) {
        printf("umockdev's preload library is not loaded: USB tests skipped\n");
        return 77;
    }
    // libusb is loaded before umockdev's threads start and never unloaded: a
    // load or an unload while a sanitizer's symbolizer walks the loaded objects
    // on another thread deadlocks in the dynamic loader through umockdev's
    // lstat wrapper.
    dlopen(ClLibusbWrapper::kLibraryName, RTLD_NOW | RTLD_LOCAL);
    return RUN_ALL_TESTS();
}
