// A scanner session through the C API alone, against virtual scanners: the
// road of one capture, the device lock between processes, a scanner pulled
// during capture, many sessions in a row, and bad input on every session call.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/NistFrame.h"
#include "common/LogProbe.h"
#include "KR9Emulator.h"
#include "QuorvaneTactiviewKR9.h"
// The oracle for the image: the same pipeline, run here on the raw frame.
#include "imaging/FpImage.h"
#include "processors/IpKR9Mask.h"

namespace {

constexpr size_t kImageBytes = KR9EMU_FRAME_BYTES;
using Image = std::vector<uint8_t>;

Image PipelineOutput(const Image& frame)
{
    ClImage input;
    input.Create(ClImage::uint8, KR9EMU_FRAME_WIDTH, KR9EMU_FRAME_HEIGHT, 1, 0, 0, true);
    memcpy(input.Data(), frame.data(), kImageBytes);
    ClImage output(KR9EMU_FRAME_WIDTH, KR9EMU_FRAME_HEIGHT);
    ClIpKR9Mask pipeline;
    pipeline.Run(&input, &output);
    return Image(output.Data(), output.Data() + kImageBytes);
}

size_t CountEntries(const char* pszDirectory)
{
    size_t uiCount = 0;
    if (DIR* pDirectory = opendir(pszDirectory)) {
        while (readdir(pDirectory) != nullptr)
            ++uiCount;
        closedir(pDirectory);
    }
    return uiCount;
}

struct StFetch
{
    int32_t nResult = 0;
    uint8_t ucFinal = 0;
    int32_t nStatus = 0;
    Image image = Image(kImageBytes, 0);
};

// Fetches until accept(fetch) or 10 s have passed; the last fetch is returned.
StFetch FetchUntil(void* hScanner, const std::function<bool(const StFetch&)>& accept)
{
    StFetch fetch;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        uint64_t uiReserved = 1;
        fetch.nStatus = 0;
        fetch.nResult = TV_KR9GetImage(hScanner, fetch.image.data(), &uiReserved, &fetch.ucFinal, &fetch.nStatus);
        if (fetch.nResult != ZRT_SUCCESS || accept(fetch))
            return fetch;
    }
    ADD_FAILURE() << "no such image within 10 s";
    return fetch;
}

// One fetch into a buffer of 0xAB with a status of 12345, to see what it leaves alone.
StFetch FetchOnce(void* hScanner)
{
    StFetch fetch;
    std::fill(fetch.image.begin(), fetch.image.end(), 0xAB);
    uint64_t uiReserved = 7;
    fetch.nStatus = 12345;
    fetch.nResult = TV_KR9GetImage(hScanner, fetch.image.data(), &uiReserved, &fetch.ucFinal, &fetch.nStatus);
    EXPECT_EQ(uiReserved, 0u);
    return fetch;
}

bool IsWhite(const Image& image)
{
    return std::all_of(image.begin(), image.end(), [](uint8_t ucValue) { return ucValue == 255; });
}

class SessionApi : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(TV_KR9Initialize(nullptr), ZRT_SUCCESS); }
    void TearDown() override
    {
        if (m_hScanner != nullptr) {
            EXPECT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
        }
        for (KR9EMU_Device* pDevice : m_devices)
            KR9EMU_Unplug(pDevice);
        TV_KR9Uninitialize();
    }

    // A virtual scanner without bus time. Serials are unique across the whole
    // suite: device locks are machine-wide, and test processes run side by side.
    KR9EMU_Device* Plug(const char* pszSerial, bool bFinger)
    {
        KR9EMU_Device* pDevice = KR9EMU_Plug(pszSerial);
        EXPECT_NE(pDevice, nullptr);
        KR9EMU_SetTiming(pDevice, 0, 0);
        KR9EMU_SetFingerPresent(pDevice, bFinger ? 1 : 0);
        m_devices.push_back(pDevice);
        return pDevice;
    }

    void* m_hScanner = nullptr;
    std::vector<KR9EMU_Device*> m_devices;
};

TEST_F(SessionApi, RoadOfOneCaptureDeliversThePipelineImageOfTheFrame)
{
    const Image frame = ReadNistFrame("loop-right");
    ASSERT_FALSE(frame.empty());
    const Image expected = PipelineOutput(frame);
    KR9EMU_Device* pDevice = Plug("ROAD0", true);
    KR9EMU_SetFrames(pDevice, frame.data(), 1);
    KR9EMU_SetFirmwareVersion(pDevice, 9, 8, 7, 6);

    ASSERT_EQ(TV_KR9OpenScanner("KR9 ROAD0", &m_hScanner), ZRT_SUCCESS);
    uint64_t uiWidth = 0, uiHeight = 0;
    EXPECT_EQ(TV_KR9GetPreviewImageSize(m_hScanner, &uiWidth, &uiHeight), ZRT_SUCCESS);
    EXPECT_EQ(uiWidth * uiHeight, kImageBytes);
    char szSerial[17] = {};
    memset(szSerial, 'x', 16);
    EXPECT_EQ(TV_KR9GetSerialNumber(m_hScanner, szSerial), ZRT_SUCCESS);
    EXPECT_EQ(std::string(szSerial, 16), std::string("KR9 ROAD0\0\0\0\0\0\0\0", 16));
    char szVersion[64] = {};
    uint64_t uiSize = 0;

    // Every image of the finger phase is the pipeline's output of the frame;
    // the first ones are previews, since steadiness needs three frames.
    ASSERT_EQ(TV_KR9SetCaptureMode(m_hScanner, 0), ZRT_SUCCESS);
    const StFetch final = FetchUntil(m_hScanner, [&](const StFetch& fetch) {
        if (fetch.nStatus != 0 || fetch.image[0] == 0)
            return fetch.nStatus != 0;
        EXPECT_EQ(fetch.image, expected);
        return fetch.ucFinal != 0;
    });
    EXPECT_EQ(final.nResult + final.nStatus, 0);
    EXPECT_EQ(final.ucFinal, 1);

    // The device answers serial number and version reads in the middle of the
    // capture; with a reply time, the two threads' exchanges overlap.
    KR9EMU_SetTiming(pDevice, 0, 1);
    for (int nRead = 0; nRead < 100; ++nRead) {
        ASSERT_EQ(TV_KR9GetSerialNumber(m_hScanner, szSerial), ZRT_SUCCESS);
        ASSERT_EQ(std::string(szSerial), "KR9 ROAD0");
        uiSize = sizeof(szVersion) - 1;
        ASSERT_EQ(TV_KR9GetVersionString(m_hScanner, szVersion, &uiSize), ZRT_SUCCESS);
        ASSERT_EQ(std::string(szVersion, uiSize), " FW: 9.8.7.6 LIB: 1.0.1.1751 FPGA: 0.0.0.0");
    }
    EXPECT_EQ(FetchUntil(m_hScanner, [](const StFetch& fetch) { return fetch.ucFinal || fetch.nStatus; }).nStatus, 0)
        << "the capture thread lived through it";
    KR9EMU_SetTiming(pDevice, 0, 0);
    uiSize = sizeof(szVersion);
    EXPECT_EQ(TV_KR9GetPropertyA(m_hScanner, "Version", szVersion, &uiSize), ZRT_SUCCESS);
    EXPECT_STREQ(szVersion, "1.0.1.1751");

    // Lifted: white previews, never final.
    KR9EMU_SetFingerPresent(pDevice, 0);
    EXPECT_EQ(FetchUntil(m_hScanner, [](const StFetch& fetch) { return IsWhite(fetch.image); }).ucFinal, 0);
    EXPECT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
    EXPECT_EQ(m_hScanner, nullptr);
    EXPECT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_ERROR_NO_HANDLE);
}

TEST_F(SessionApi, CaptureModesAreStoredBeforeTheyAreJudged)
{
    Plug("MODE0", true);
    ASSERT_EQ(TV_KR9OpenScanner("KR9 MODE0", &m_hScanner), ZRT_SUCCESS);
    int32_t nMode = -1;
    EXPECT_EQ(TV_KR9GetCaptureMode(m_hScanner, &nMode), ZRT_SUCCESS);
    EXPECT_EQ(nMode, 3);

    // Not capturing: the fetch succeeds and touches neither status nor image.
    const StFetch idle = FetchOnce(m_hScanner);
    EXPECT_EQ(idle.nResult + idle.ucFinal, 0);
    EXPECT_EQ(idle.nStatus, 12345);
    EXPECT_EQ(idle.image, Image(kImageBytes, 0xAB));

    for (int32_t nRefused : {1, 6, -1, 0x7FFFFFFF}) {
        EXPECT_EQ(TV_KR9SetCaptureMode(m_hScanner, nRefused), ZRT_ERROR_UNSUPPORTED_FEATURE) << nRefused;
        EXPECT_EQ(TV_KR9GetCaptureMode(m_hScanner, &nMode), ZRT_SUCCESS);
        EXPECT_EQ(nMode, nRefused);
        EXPECT_EQ(TV_KR9SetCaptureMode(m_hScanner, nRefused), ZRT_SUCCESS) << "the same mode again is a no-op";
    }

    // Each capturing mode captures; mode 3 leaves a running thread alone.
    for (int32_t nCapturing : {0, 2, 4, 5, 3}) {
        ASSERT_EQ(TV_KR9SetCaptureMode(m_hScanner, nCapturing), ZRT_SUCCESS);
        const StFetch fetch = FetchUntil(m_hScanner, [](const StFetch& f) { return f.image[0] != 0 || f.nStatus; });
        EXPECT_EQ(fetch.nStatus, 0) << nCapturing;
    }
}

TEST_F(SessionApi, ScannerPulledDuringCaptureReportsItsCodeInStatus)
{
    KR9EMU_Device* pDevice = Plug("PULL0", true);
    ASSERT_EQ(TV_KR9OpenScanner("KR9 PULL0", &m_hScanner), ZRT_SUCCESS);
    ASSERT_EQ(TV_KR9SetCaptureMode(m_hScanner, 0), ZRT_SUCCESS);
    FetchUntil(m_hScanner, [](const StFetch& fetch) { return fetch.image[0] != 0; });

    ASSERT_EQ(KR9EMU_Unplug(pDevice), ZRT_SUCCESS);
    m_devices.clear();
    const StFetch failed = FetchUntil(m_hScanner, [](const StFetch& fetch) { return fetch.nStatus != 0; });
    EXPECT_EQ(failed.nResult, ZRT_SUCCESS) << "the call itself succeeds";
    EXPECT_LT(failed.nStatus, 0);
    EXPECT_EQ(failed.ucFinal, 0);

    // The thread has ended: later fetches find nothing new.
    EXPECT_EQ(FetchOnce(m_hScanner).nStatus, 12345);
    EXPECT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
}

TEST_F(SessionApi, ThousandSessionsLeaveNoThreadDescriptorOrByteBehind)
{
    Plug("CYCLE0", true);
    // The first session makes what lives once per process (the USB context and its event thread).
    ASSERT_EQ(TV_KR9OpenScanner("KR9 CYCLE0", &m_hScanner), ZRT_SUCCESS);
    ASSERT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
    const size_t uiThreads = CountEntries("/proc/self/task");
    const size_t uiDescriptors = CountEntries("/proc/self/fd");
    for (int nRound = 0; nRound < 1000; ++nRound) {
        ASSERT_EQ(TV_KR9OpenScanner("KR9 CYCLE0", &m_hScanner), ZRT_SUCCESS) << nRound;
        if (nRound % 25 == 0) {
            ASSERT_EQ(TV_KR9SetCaptureMode(m_hScanner, 0), ZRT_SUCCESS);
            if (nRound % 50 == 0)
                FetchUntil(m_hScanner, [](const StFetch& fetch) { return fetch.image[0] != 0; });
        }
        ASSERT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
    }
    // A joined thread may linger in /proc for a moment while the kernel lets it go.
    for (int nTry = 0; nTry < 100 && CountEntries("/proc/self/task") > uiThreads; ++nTry)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(CountEntries("/proc/self/task"), uiThreads);
    EXPECT_EQ(CountEntries("/proc/self/fd"), uiDescriptors);
}

// What another process answers to opening a scanner "KR9 LOCK0" of its own.
std::string OpenedElsewhere()
{
    const std::string strOutput = RunProbe("", "init plug:LOCK0 'open:KR9 LOCK0' close").strOutput;
    const size_t uiAt = strOutput.find("open:KR9 LOCK0 = ");
    return uiAt == std::string::npos ? strOutput : strOutput.substr(uiAt + 17, strOutput.find('\n', uiAt) - uiAt - 17);
}

TEST_F(SessionApi, DeviceLockExcludesOtherProcessesAndDiesWithItsHolder)
{
    // The probe plugs a virtual scanner of the same serial: same name, same lock.
    Plug("LOCK0", false);
    ASSERT_EQ(TV_KR9OpenScanner("KR9 LOCK0", &m_hScanner), ZRT_SUCCESS);
    EXPECT_EQ(OpenedElsewhere(), "-61");
    void* hSecond = nullptr;
    EXPECT_EQ(TV_KR9OpenScanner("KR9 LOCK0", &hSecond), ZRT_ERROR_DEVICE_OPEN_FAIL) << "a second handle, same process";
    EXPECT_EQ(hSecond, nullptr);
    ASSERT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
    EXPECT_EQ(OpenedElsewhere(), "0");

    // A holder that is killed leaves no stale lock.
    FILE* pHolder = popen(("exec " + std::string(KR9_LOG_PROBE) + " init plug:LOCK0 'open:KR9 LOCK0' hold").c_str(), "r");
    ASSERT_NE(pHolder, nullptr);
    char szLine[128] = "";
    int nHolder = 0;
    while (fgets(szLine, sizeof(szLine), pHolder) != nullptr && sscanf(szLine, "holding %d", &nHolder) != 1) {
    }
    ASSERT_GT(nHolder, 0) << "the holder took the scanner";
    EXPECT_EQ(TV_KR9OpenScanner("KR9 LOCK0", &m_hScanner), ZRT_ERROR_DEVICE_OPEN_FAIL);
    kill(nHolder, SIGKILL);
    pclose(pHolder);
    EXPECT_EQ(TV_KR9OpenScanner("KR9 LOCK0", &m_hScanner), ZRT_SUCCESS);
}

TEST_F(SessionApi, BadHandlesAndPointersGetTheirCodes)
{
    Plug("BAD0", false);
    uint64_t uiA = 0, uiB = 0;
    uint32_t uiC = 0, uiD = 0;
    int32_t nMode = 0, nStatus = 0;
    uint8_t ucFinal = 0;
    char szText[64];
    Image image(kImageBytes);
    const std::vector<std::function<int32_t(void*)>> sessionCalls = {
        [&](void* h) { return TV_KR9TriggerScanner(h); },
        [&](void* h) { return TV_KR9GetScannerCondition(h, &uiC, &uiD); },
        [&](void* h) { return TV_KR9GetImageSize(h, &uiA, &uiB); },
        [&](void* h) { return TV_KR9GetPreviewImageSize(h, &uiA, &uiB); },
        [&](void* h) { return TV_KR9GetImageDPI(h, &uiA, &uiB); },
        [&](void* h) { return TV_KR9GetPreviewImageDPI(h, &uiA, &uiB); },
        [&](void* h) { return TV_KR9GetSerialNumber(h, szText); },
        [&](void* h) { uiA = sizeof(szText); return TV_KR9GetVersionString(h, szText, &uiA); },
        [&](void* h) { return TV_KR9SetCaptureMode(h, 0); },
        [&](void* h) { return TV_KR9GetCaptureMode(h, &nMode); },
        [&](void* h) { return TV_KR9GetImage(h, image.data(), &uiA, &ucFinal, &nStatus); },
        [&](void* h) { return TV_KR9GetPreviewImage(h, image.data(), &uiA, &ucFinal, &nStatus); },
        [&](void* h) { uiA = sizeof(szText); return TV_KR9GetPropertyA(h, "Version", szText, &uiA); },
    };

    void* hStale = nullptr;
    ASSERT_EQ(TV_KR9OpenScanner("KR9 BAD0", &hStale), ZRT_SUCCESS);
    void* const hClosed = hStale;
    ASSERT_EQ(TV_KR9CloseScanner(&hStale), ZRT_SUCCESS);
    int nNotAHandle = 0;
    for (size_t i = 0; i < sessionCalls.size(); ++i) {
        EXPECT_EQ(sessionCalls[i](nullptr), ZRT_ERROR_NO_HANDLE) << i;
        EXPECT_EQ(sessionCalls[i](&nNotAHandle), ZRT_ERROR_INVALID_HANDLE) << i;
        EXPECT_EQ(sessionCalls[i](hClosed), ZRT_ERROR_INVALID_HANDLE) << i;
    }

    // Every output pointer is required.
    ASSERT_EQ(TV_KR9OpenScanner("KR9 BAD0", &m_hScanner), ZRT_SUCCESS);
    void* const h = m_hScanner;
    EXPECT_EQ(TV_KR9GetScannerCondition(h, nullptr, &uiD), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetScannerCondition(h, &uiC, nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetImageSize(h, nullptr, &uiB), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetImageDPI(h, &uiA, nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetCaptureMode(h, nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetSerialNumber(h, nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetImage(h, nullptr, &uiA, &ucFinal, &nStatus), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetImage(h, image.data(), nullptr, &ucFinal, &nStatus), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetImage(h, image.data(), &uiA, nullptr, &nStatus), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9GetPreviewImage(h, image.data(), &uiA, &ucFinal, nullptr), ZRT_ERROR_BAD_POINTER);

    // The version text's size protocol: the length comes back also on failure.
    EXPECT_EQ(TV_KR9GetVersionString(h, szText, nullptr), ZRT_ERROR_BAD_POINTER);
    uint64_t uiSize = 0;
    EXPECT_EQ(TV_KR9GetVersionString(h, nullptr, &uiSize), ZRT_ERROR_SIZE_TOO_SMALL);
    const uint64_t uiLength = uiSize;
    EXPECT_GT(uiLength, 0u);
    EXPECT_EQ(TV_KR9GetVersionString(h, nullptr, &uiSize), ZRT_ERROR_BAD_POINTER);
    memset(szText, 'x', sizeof(szText));
    EXPECT_EQ(TV_KR9GetVersionString(h, szText, &uiSize), ZRT_SUCCESS);
    EXPECT_EQ(szText[uiLength], 'x') << "no terminator";

    // Opening: missing pointers, unknown names, no initialisation.
    void* hOther = &nNotAHandle;
    EXPECT_EQ(TV_KR9OpenScanner(nullptr, &hOther), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9OpenScanner("KR9 BAD0", nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9OpenScanner("KR9 NOSUCH", &hOther), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(hOther, nullptr) << "a failed open leaves no handle";
    EXPECT_EQ(TV_KR9CloseScanner(nullptr), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(TV_KR9CloseScanner(&hOther), ZRT_ERROR_NO_HANDLE);
    ASSERT_EQ(TV_KR9CloseScanner(&m_hScanner), ZRT_SUCCESS);
    ASSERT_EQ(TV_KR9Uninitialize(), ZRT_SUCCESS);
    hOther = &nNotAHandle;
    EXPECT_EQ(TV_KR9OpenScanner("KR9 BAD0", &hOther), ZRT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(hOther, &nNotAHandle);
    ASSERT_EQ(TV_KR9Initialize(nullptr), ZRT_SUCCESS);
}

}  // namespace
