// The lifecycle and frameless functions through the shared library, and the
// log lines they write, read from child processes that load the library with
// the logging variables set.
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "common/LogProbe.h"
#include "QuorvaneTactiviewKR9.h"

namespace {

TEST(LifecycleApi, ReferencesAreCountedAndAnUnbalancedReleaseFails)
{
    EXPECT_EQ(TV_KR9Initialize(nullptr), ZRT_SUCCESS);
    int nAnyPointer = 0;
    EXPECT_EQ(TV_KR9Initialize(&nAnyPointer), ZRT_SUCCESS);
    EXPECT_EQ(TV_KR9Uninitialize(), ZRT_SUCCESS);
    EXPECT_EQ(TV_KR9Uninitialize(), ZRT_SUCCESS);
    EXPECT_EQ(TV_KR9Uninitialize(), ZRT_ERROR_NOT_INITIALIZED);
    // The failed release changed nothing: the library can be initialised again.
    EXPECT_EQ(TV_KR9Initialize(nullptr), ZRT_SUCCESS);
    EXPECT_EQ(TV_KR9Uninitialize(), ZRT_SUCCESS);
}

TEST(LifecycleApi, CompatibilityCheckReadsMajorDotMinorAsUnsignedNumbers)
{
    for (const char* pszPassing : {"2.7", "2.10", "3.0", "2.7.1", " 2.7", "+2.7", "-1.0", "4294967295.0"})
        EXPECT_EQ(TV_KR9CompatibilityCheck(pszPassing), ZRT_SUCCESS) << pszPassing;
    for (const char* pszTooOld : {"2.6", "1.9", "0.0", "2.-0", "4294967296.9"})
        EXPECT_EQ(TV_KR9CompatibilityCheck(pszTooOld), ZRT_ERROR_UNSUPPORTED_FEATURE) << pszTooOld;
    for (const char* pszMalformed : {"2", "", "x.7", "2.", "2,7", "2 .7", "v2.7", "2.x"})
        EXPECT_EQ(TV_KR9CompatibilityCheck(pszMalformed), ZRT_ERROR_INVALID_PARAMETER) << pszMalformed;
    EXPECT_EQ(TV_KR9CompatibilityCheck(nullptr), ZRT_ERROR_INVALID_PARAMETER);
}

TEST(LifecycleApi, ErrorDescriptionsComeFromTheTable)
{
    EXPECT_STREQ(TV_KR9GetErrorDescriptionA(0), "No errors occurred.");
    EXPECT_STREQ(TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(-18)), "Unknown error code.");
    // Codes are compared as 32-bit patterns, so the large negative rows are reachable.
    EXPECT_STREQ(TV_KR9GetErrorDescriptionA(0x80070057u), "One or more arguments are invalid.");
}

TEST(LifecycleApi, EnabledLogShowsFramesWithTimeStamps)
{
    const ProbeRun run = RunProbe("QUORVANE_SDK_LOG=1", "init uninit uninit");
    ASSERT_EQ(run.nExitStatus, 0);
    const std::string strStamp = R"(\d{4}-[A-Z][a-z]{2}-\d{2} \d{2}:\d{2}:\d{2}(\.\d{6})?)";
    const std::regex expected(
        strStamp + R"( \[Debug\] - TV_KR9Initialize\(0x1234\) Enter\n)" +
        strStamp + R"( \[Debug\] - TV_KR9Initialize\(0x1234\) Leave\n)" + "init = 0\n" +
        strStamp + R"( \[Debug\] - TV_KR9Uninitialize\(void\) Enter\n)" +
        strStamp + R"( \[Debug\] - TV_KR9Uninitialize\(void\) Leave\n)" + "uninit = 0\n" +
        strStamp + R"( \[Debug\] - TV_KR9Uninitialize\(void\) Enter\n)" +
        strStamp + R"( \[Error\] - TV_KR9Uninitialize\(void\) Error\(-2\): Prior initialization is necessary\.\n)" +
        "uninit = -2\n");
    EXPECT_TRUE(std::regex_match(run.strOutput, expected)) << run.strOutput;
    // (That the level limit is read at load as well shows in the discovery tests, which filter for errors.)
}

}  // namespace
