// The frame that every session export runs its member in.
#include <regex>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "sdk/CallFrame.h"
#include "common/ScopedLogEnvironment.h"

namespace {

class CallFrame : public testing::Test
{
protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    const ScopedLogEnvironment m_logging{"1"};
    // The log lines without their time stamps.
    static std::string TakeLines()
    {
        return std::regex_replace(testing::internal::GetCapturedStdout(), std::regex(R"(^[^\[\n]*\[)",
                                  std::regex::multiline), "[");
    }
};

TEST_F(CallFrame, ClExceptionBecomesTheResultWithTheTableMessage)
{
    const int32_t nResult = RunInFrame(
        g_frameMode, "TV_KR9SetCaptureMode",
        [] { throw ClException("site text that the Error line does not show", -50, true, KR9_SITE); }, 7);
    EXPECT_EQ(nResult, -50);
    EXPECT_EQ(TakeLines(), "[Debug] - TV_KR9SetCaptureMode(7) Enter\n"
                           "[Error] - TV_KR9SetCaptureMode(7) Error(-50): "
                           "Function call is not possible in current state.\n");
}

TEST_F(CallFrame, SuccessLeavesAndFormatFamiliesPrintTheirArguments)
{
    EXPECT_EQ(RunInFrame(g_frameTwoPointersAndLong, "TV_KR9SetPropertyLongA", [] {}, reinterpret_cast<void*>(0x10),
                         reinterpret_cast<void*>(0x20), -5L),
              0);
    RunInFrame(g_frameNameAndPointer, "TV_KR9OpenScanner", [] { throw ClExQuorvane(-44, KR9_SITE); }, "KR9 01",
               reinterpret_cast<void*>(0x30));
    EXPECT_EQ(TakeLines(), "[Debug] - TV_KR9SetPropertyLongA(0x10, 0x20, -5) Enter\n"
                           "[Debug] - TV_KR9SetPropertyLongA(0x10, 0x20, -5) Leave\n"
                           "[Debug] - TV_KR9OpenScanner(KR9 01, 0x30) Enter\n"
                           "[Error] - TV_KR9OpenScanner(KR9 01, 0x30) Error(-44): "
                           "One(or more) parameter(s) is(are) invalid.\n");
}

TEST_F(CallFrame, LoggerFailureIsTheResultAndOtherExceptionsPassThrough)
{
    // An argument too long for the log line fails the Enter line inside the
    // guard: the call returns -49, and its body never runs.
    const std::string strLongName(2000, 'n');
    bool bRan = false;
    EXPECT_EQ(RunInFrame(g_frameNameAndPointer, "TV_KR9OpenScanner", [&] { bRan = true; }, strLongName.c_str(),
                         static_cast<void*>(nullptr)),
              ZRT_ERROR_LOGGING);
    EXPECT_FALSE(bRan);
    EXPECT_THROW(RunInFrame(g_frameDefault, "TV_KR9TriggerScanner", [] { throw std::runtime_error("bug"); }, ""),
                 std::runtime_error);
    TakeLines();
}

}  // namespace
