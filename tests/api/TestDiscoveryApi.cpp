// TV_KR9QueryScanners against virtual scanners plugged through KR9EMU_.
#include <cstdint>
#include <cstring>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KR9Emulator.h"
#include "common/LogProbe.h"
#include "QuorvaneTactiviewKR9.h"

namespace {

std::string NameAt(const std::vector<char>& names, size_t uiIndex)
{
    const char* pRecord = names.data() + uiIndex * TV_KR9_SCANNER_NAME_SIZE;
    return std::string(pRecord, strnlen(pRecord, TV_KR9_SCANNER_NAME_SIZE));
}

TEST(DiscoveryApi, ListsVirtualScannersByTheSizeProtocol)
{
    // (Names and the untouched devices are the scanner class's tests; here the buffer rules of the export.)
    uint64_t uiCount = 0;
    EXPECT_EQ(TV_KR9QueryScanners(nullptr, &uiCount), ZRT_SUCCESS);
    EXPECT_EQ(uiCount, 0u);

    KR9EMU_Device* pFirst = KR9EMU_Plug("11111111");
    KR9EMU_Device* pSecond = KR9EMU_Plug("2");
    ASSERT_TRUE(pFirst != nullptr && pSecond != nullptr);
    EXPECT_EQ(TV_KR9QueryScanners(nullptr, &uiCount), ZRT_ERROR_SIZE_TOO_SMALL);
    EXPECT_EQ(uiCount, 2u);
    std::vector<char> names(TV_KR9_SCANNER_NAME_SIZE * 3, 'x');
    uiCount = 1;
    EXPECT_EQ(TV_KR9QueryScanners(names.data(), &uiCount), ZRT_ERROR_SIZE_TOO_SMALL);
    EXPECT_EQ(std::make_pair(uiCount, names[0]), std::make_pair(uint64_t(2), 'x')) << "nothing written when too small";
    EXPECT_EQ(TV_KR9QueryScanners(names.data(), &uiCount), ZRT_SUCCESS);
    EXPECT_EQ(NameAt(names, 0) + "|" + NameAt(names, 1), "KR9 11111111|KR9 2");
    EXPECT_EQ(std::string(names.data() + 12, 4), std::string(4, '\0')) << "zero-filled behind the name";
    EXPECT_EQ(names[2 * TV_KR9_SCANNER_NAME_SIZE], 'x') << "records beyond the count stay untouched";

    // A null buffer with scanners present and room claimed, and a null count.
    uiCount = 5;
    EXPECT_EQ(TV_KR9QueryScanners(nullptr, &uiCount), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9QueryScanners(names.data(), nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(KR9EMU_Unplug(pSecond), ZRT_SUCCESS);
    EXPECT_EQ(TV_KR9QueryScanners(names.data(), &uiCount), ZRT_SUCCESS);
    EXPECT_EQ(uiCount, 1u);
    EXPECT_EQ(KR9EMU_Unplug(pFirst), ZRT_SUCCESS);
}

TEST(DiscoveryApi, ScannerLeavingDuringAListingIsLoggedAsOneDebugLine)
{
    ProbeRun run = RunProbe("QUORVANE_SDK_LOG=1", "init query-leaving uninit");
    ASSERT_EQ(run.nExitStatus, 0);
    EXPECT_NE(run.strOutput.find("query-leaving = -61\n"), std::string::npos) << run.strOutput;
    // Every line is a stamped log line or a result of the probe; the exception is one line, at Debug.
    const std::regex line(R"((\d{4}-[A-Z][a-z]{2}-\d{2} [\d:.]+ \[\w+\] - .*|[a-z-]+ = -?\d+)\n)");
    EXPECT_EQ(std::regex_replace(run.strOutput, line, ""), "") << "stray output in\n" << run.strOutput;
    const std::regex exception(R"(\[(\w+)\] - TV_KR9QueryScanners - Exception: )");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(run.strOutput, match, exception)) << run.strOutput;
    EXPECT_EQ(match[1], "Debug");
    EXPECT_FALSE(std::regex_search(match.suffix().str(), exception)) << run.strOutput;

    // An application that filters for errors sees the call's own Error line only.
    run = RunProbe("QUORVANE_SDK_LOG=1 QUORVANE_SDK_LOG_LEVEL=3", "init query-leaving uninit");
    EXPECT_EQ(run.strOutput.find("Exception"), std::string::npos) << run.strOutput;
    EXPECT_NE(run.strOutput.find("[Error] - TV_KR9QueryScanners Error(-61)"), std::string::npos) << run.strOutput;
}

TEST(DiscoveryApi, EmulatorRefusesBadArguments)
{
    EXPECT_EQ(KR9EMU_Plug(nullptr), nullptr);
    EXPECT_EQ(KR9EMU_Plug("123456789"), nullptr);
    KR9EMU_Device* pDevice = KR9EMU_Plug("dup");
    ASSERT_NE(pDevice, nullptr);
    EXPECT_EQ(KR9EMU_Plug("dup"), nullptr);

    EXPECT_EQ(KR9EMU_SetFingerPresent(nullptr, 1), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(KR9EMU_SetFrames(pDevice, nullptr, 1), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(KR9EMU_SetFault(pDevice, 99, 1), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(KR9EMU_SetFault(pDevice, KR9EMU_FAULT_CHUNK_FAIL, -2), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(KR9EMU_GetStats(pDevice, nullptr), ZRT_ERROR_INVALID_PARAMETER);
    uint32_t uiReports = 0;
    EXPECT_EQ(KR9EMU_GetReportLog(pDevice, nullptr, &uiReports), ZRT_SUCCESS);
    EXPECT_EQ(uiReports, 0u);
    EXPECT_EQ(KR9EMU_RenderFinger(nullptr, 0, 0, 0), ZRT_ERROR_INVALID_PARAMETER);

    EXPECT_EQ(KR9EMU_Unplug(pDevice), ZRT_SUCCESS);
    EXPECT_EQ(KR9EMU_Unplug(pDevice), ZRT_ERROR_INVALID_HANDLE);
    // A stale pointer stays stale when another scanner comes: it never steers the newcomer.
    for (int nRound = 0; nRound < 3; ++nRound) {
        KR9EMU_Device* pNext = KR9EMU_Plug("next");
        ASSERT_NE(pNext, nullptr);
        EXPECT_EQ(KR9EMU_SetFingerPresent(pDevice, 1), ZRT_ERROR_INVALID_HANDLE);
        EXPECT_EQ(KR9EMU_Unplug(pDevice), ZRT_ERROR_INVALID_HANDLE);
        KR9EMU_Stats stats;
        ASSERT_EQ(KR9EMU_GetStats(pNext, &stats), ZRT_SUCCESS) << "still plugged";
        EXPECT_EQ(stats.fingerPresent, 0);
        EXPECT_EQ(KR9EMU_Unplug(pNext), ZRT_SUCCESS);
        pDevice = pNext;
    }
    pDevice = KR9EMU_Plug("dup");
    EXPECT_NE(pDevice, nullptr) << "the serial is free again";
    EXPECT_EQ(KR9EMU_Unplug(pDevice), ZRT_SUCCESS);
}

TEST(DiscoveryApi, FingerCentresFarOffTheSensorRenderAnEmptySensor)
{
    std::vector<uint8_t> farOff(KR9EMU_FRAME_BYTES);
    ASSERT_EQ(KR9EMU_RenderFinger(farOff.data(), 100000, -100000, 7), ZRT_SUCCESS);
    for (int32_t nExtreme : {INT32_MIN, INT32_MIN + 1, INT32_MAX}) {
        std::vector<uint8_t> frame(KR9EMU_FRAME_BYTES, 1);
        EXPECT_EQ(KR9EMU_RenderFinger(frame.data(), nExtreme, 180, 7), ZRT_SUCCESS);
        EXPECT_EQ(frame, farOff) << nExtreme;
        EXPECT_EQ(KR9EMU_RenderFinger(frame.data(), 128, nExtreme, 7), ZRT_SUCCESS);
        EXPECT_EQ(frame, farOff) << nExtreme;
    }
}

}  // namespace
