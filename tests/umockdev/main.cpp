// Without umockdev's preload library the tests would reach for real USB
// devices: they are skipped instead (77, CTest's skip code).
#include <dlfcn.h>

#include <cstdio>

#include <gtest/gtest.h>

#include "device/transport/LibusbWrapper.h"
#include "umockdev/KR9UmockdevBus.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests) && !ClKR9UmockdevBus::PreloadActive()) {
        printf("umockdev's preload library is not loaded: USB tests skipped\n");
        return 77;
    }
    // libusb is loaded (and kept) before umockdev's threads start: a first load
    // later, while a sanitizer's symbolizer walks the loaded objects on another
    // thread, deadlocks in the dynamic loader through umockdev's lstat wrapper.
    void* pLibusb = dlopen(ClLibusbWrapper::kLibraryName, RTLD_NOW | RTLD_LOCAL);
    const int nResult = RUN_ALL_TESTS();
    if (pLibusb != nullptr)
        dlclose(pLibusb);
    return nResult;
}
