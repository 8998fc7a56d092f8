// The logging stack: limits of the text, the settings read from the
// environment, and the two sinks.
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ScopedLogEnvironment.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKBase.h"
#include "sdk/SDKLogger.h"
#include "sdk/TactiviewKR9.h"

namespace {

std::vector<std::string> g_debugLines;
void CollectDebugLine(const char* pszLine) { g_debugLines.emplace_back(pszLine); }

std::vector<std::pair<int32_t, std::string>> g_sinkLines;
void CollectSinkLine(int32_t nLevel, const char* pszText) { g_sinkLines.emplace_back(nLevel, pszText); }

TEST(Logging, LevelNamesFollowSyslog)
{
    for (const auto& level : {std::make_pair(0, "Emergency"), {3, "Error"}, {7, "Debug"}, {8, "Unknown"},
                              {-1, "Unknown"}})
        EXPECT_STREQ(GetLogLevelName(level.first), level.second);
}

TEST(Logging, TextsThatDoNotFitFailEvenWithLoggingOff)
{
    ScopedLogEnvironment environment(nullptr, nullptr);
    ASSERT_FALSE(GetLoggingSettings().bEnabled);
    static const std::string s_strFits(1023, 'a');
    static const std::string s_strTooLong(1024, 'a');
    EXPECT_EQ(CodeOf([] { ClTactiviewKR9::Log(eLogDebug, "%s", s_strFits.c_str()); }), 0);
    EXPECT_EQ(CodeOf([] { ClTactiviewKR9::Log(eLogDebug, "%s", s_strTooLong.c_str()); },
                     "Logging Message bigger than 1024 bytes."),
              ZRT_ERROR_LOGGING);
    EXPECT_EQ(CodeOf([] { ClTactiviewKR9::Log(eLogDebug, nullptr); }), ZRT_ERROR_LOGGING);
}

TEST(Logging, EnvironmentDecidesSwitchAndLimit)
{
    const struct { const char* pszEnabled; const char* pszLevel; bool bEnabled; int32_t nLimit; } cases[] = {
        {"1", "3", true, 3},     {"1", "0", true, 0},    {"1", "7", true, 7},    {"1", "8", true, 7},
        {"1", "-1", true, 7},    {"1", "abc", true, 7},  {"1", " 5x", true, 5},  {"1 ", "3", false, 3},
        {"10", nullptr, false, 7}, {"2", nullptr, false, 7}, {"", nullptr, false, 7}, {nullptr, "2", false, 2},
    };
    for (const auto& c : cases) {
        ScopedLogEnvironment environment(c.pszEnabled, c.pszLevel);
        EXPECT_EQ(GetLoggingSettings().bEnabled, c.bEnabled) << (c.pszEnabled ? c.pszEnabled : "(unset)");
        EXPECT_EQ(GetLoggingSettings().nConsoleLevelLimit, c.nLimit) << (c.pszLevel ? c.pszLevel : "(unset)");
    }
}

TEST(Logging, ConsoleLineHasTimeStampLevelAndText)
{
    ScopedLogEnvironment environment("1", "4");
    testing::internal::CaptureStdout();
    ClTactiviewKR9::Log(eLogWarning, "value %d", 42);
    ClTactiviewKR9::Log(eLogNotice, "hidden by the limit");
    const std::string strOutput = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_match(
        strOutput, std::regex(R"(\d{4}-[A-Z][a-z]{2}-\d{2} \d{2}:\d{2}:\d{2}(\.\d{6})? \[Warning\] - value 42\n)")))
        << strOutput;
}

TEST(Logging, DebuggerChannelTakesEveryLevelWhateverTheLimit)
{
    ScopedLogEnvironment environment("1", "0");
    g_debugLines.clear();
    SetLogDebugOutFunction(&CollectDebugLine);
    testing::internal::CaptureStdout();
    ClTactiviewKR9::Log(eLogDebug, "debug line");
    ClTactiviewKR9::Log(eLogEmergency, "emergency line");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the console is bypassed while the channel is bound";
    ASSERT_EQ(g_debugLines.size(), 2u);
    EXPECT_TRUE(std::regex_match(g_debugLines[0], std::regex(R"(\d{4}-\w{3}-\d{2} [\d:.]+: debug line\n)")))
        << g_debugLines[0];
}

TEST(Logging, SdkLoggerDoesNothingWithoutSinkAllowsOneMoreByteAndFollowsTheLimit)
{
    ClSDKLogger::SetSink(nullptr);
    // Without a sink the format is not even looked at.
    EXPECT_EQ(CodeOf([] { ClSDKLogger::Log(eLogError, nullptr); }), 0);

    g_sinkLines.clear();
    ClSDKLogger::SetSink(&CollectSinkLine);
    static const std::string s_strExactly1024(1024, 'b');
    static const std::string s_str1025(1025, 'b');
    EXPECT_EQ(CodeOf([] { ClSDKLogger::Log(eLogError, "%s", s_strExactly1024.c_str()); }), 0);
    EXPECT_EQ(CodeOf([] { ClSDKLogger::Log(eLogError, "%s", s_str1025.c_str()); }), ZRT_ERROR_LOGGING);
    EXPECT_EQ(CodeOf([] { ClSDKLogger::Log(eLogError, nullptr); }), ZRT_ERROR_LOGGING);
    EXPECT_EQ(CodeOf([] { ClSDKLogger::LogDebug("at debug %s", "level"); }), 0);
    EXPECT_EQ(g_sinkLines, (std::vector<std::pair<int32_t, std::string>>{{eLogError, s_strExactly1024},
                                                                         {eLogDebug, "at debug level"}}));

    // The library's own sink follows the switch and the limit of the console.
    ScopedLogEnvironment environment("1", "3");
    ClSDKLogger::SetSink(&SDKLogSink);
    testing::internal::CaptureStdout();
    ClSDKLogger::Log(eLogError, "%s - Exception: %s:%d %s\n", "TV_KR9QueryScanners", "file.cpp", 7, "text");
    ClSDKLogger::LogDebug("hidden");
    const std::string strOutput = testing::internal::GetCapturedStdout();
    EXPECT_NE(strOutput.find("[Error] - TV_KR9QueryScanners - Exception: file.cpp:7 text\n"), std::string::npos)
        << strOutput;
    EXPECT_EQ(strOutput.find("hidden"), std::string::npos);
    ClSDKLogger::SetSink(nullptr);
}

}  // namespace
