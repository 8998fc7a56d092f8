// The device lock inside one process: held names refuse every other taker,
// the same object included, and come free when their holder goes. Between
// processes it is tested through the C API (a killed holder among them).
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "device/InterprocessLock.h"

namespace {

TEST(InterprocessLock, HeldNameRefusesEveryOtherTakerUntilItsHolderGoes)
{
    auto pHolder = std::make_unique<ClInterprocessLock>("KR9 IPL 1");
    ASSERT_TRUE(pHolder->Lock());
    EXPECT_FALSE(pHolder->Lock()) << "not re-entrant, not even on the same object";
    ClInterprocessLock other("KR9 IPL 1");
    EXPECT_FALSE(other.Lock());
    ClInterprocessLock underscores("KR9_IPL_1");
    EXPECT_FALSE(underscores.Lock()) << "blanks become underscores, so these names collide";
    ClInterprocessLock differentName("KR9 IPL 2");
    EXPECT_TRUE(differentName.Lock());

    pHolder.reset();
    EXPECT_TRUE(other.Lock());
}

TEST(InterprocessLock, LivesInTheRuntimeDirectoryAndFailsWithoutOne)
{
    const char* pszOld = getenv("XDG_RUNTIME_DIR");
    const std::string strOld = pszOld != nullptr ? pszOld : "";
    setenv("XDG_RUNTIME_DIR", "/nonexistent-kr9-dir", 1);
    EXPECT_EQ(ClInterprocessLock::LockFilePath("KR9 A/B"), "/nonexistent-kr9-dir/QvnLock_KR9_A_B");
    ClInterprocessLock lock("KR9 IPL 3");
    EXPECT_FALSE(lock.Lock()) << "a lock file that cannot be made is no lock";
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(ClInterprocessLock::LockFilePath("KR9 x"), "/tmp/QvnLock_KR9_x");
    EXPECT_TRUE(lock.Lock());
    if (pszOld != nullptr)
        setenv("XDG_RUNTIME_DIR", strOld.c_str(), 1);
}

}  // namespace
