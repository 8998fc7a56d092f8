// Opening, closing, enumerating and grabbing through ClKR9Scanner on virtual
// scanners, with the reports the device received checked byte by byte.
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "KR9Emulator.h"
#include "common/VirtualScanner.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"

namespace {

std::vector<uint8_t> GradientFrame(uint8_t ucOffset)
{
    std::vector<uint8_t> frame(KR9EMU_FRAME_BYTES);
    for (size_t r = 0; r < KR9EMU_FRAME_HEIGHT; ++r)
        for (size_t c = 0; c < KR9EMU_FRAME_WIDTH; ++c)
            frame[r * KR9EMU_FRAME_WIDTH + c] = static_cast<uint8_t>(r * 3 + c + ucOffset);
    return frame;
}

TEST(KR9Scanner, EnumerationNamesScannersAndSendsOnlyTheSerialQuestion)
{
    ClHIDDeviceList devices(3);
    ClKR9Scanner::Enumerate(devices);
    EXPECT_TRUE(devices.empty()) << "no scanner, no error, the list cleared";

    ClVirtualScanner first("0001");
    ClVirtualScanner keyboard("KB", ClVirtualScanner::StUsbIds{0x046D, 0xC31C});
    ClVirtualScanner unnamed("");
    ClKR9Scanner::Enumerate(devices);
    ASSERT_EQ(devices.size(), 2u) << "the keyboard is left out";
    EXPECT_EQ(std::make_pair(devices.front().m_strName, devices.back().m_strName),
              std::make_pair(std::string("KR9 0001"), std::string("KR9 ")));
    EXPECT_EQ(first.Commands(), (std::vector<int>{0xFF, 18}));
    EXPECT_EQ(std::make_pair(first.Stats().registers[28], first.Stats().started), std::make_pair(uint8_t(0x5A), 0));
    EXPECT_TRUE(keyboard.Commands().empty()) << "devices of other makers are not even opened";
}

TEST(KR9Scanner, EnumerationFailureBecomesOpenFailWithTheCause)
{
    ClVirtualScanner gone("G1");
    gone.Model().Unplug();   // still listed, but every transfer fails
    ClHIDDeviceList devices;
    EXPECT_EQ(CodeOf([&] { ClKR9Scanner::Enumerate(devices); }, "Failed to open device"), ZRT_ERROR_DEVICE_OPEN_FAIL);
}

TEST(KR9Scanner, SessionStartsAndRestoresRegister28InTheFixedOrder)
{
    ClVirtualScanner virtualScanner("S1");
    {
        ClKR9Scanner scanner(virtualScanner.Info());
        EXPECT_EQ(virtualScanner.Commands(), (std::vector<int>{0xFF, 2, 8}));
        EXPECT_EQ(virtualScanner.Stats().started, 1);
        // Something on the device changes the register during the session.
        virtualScanner.Model().SetRegister(28, 0x01);
        virtualScanner.Model().ClearReportLog();
    }
    const auto log = virtualScanner.Model().GetReportLog();
    ASSERT_EQ(virtualScanner.Commands(), (std::vector<int>{16, 1}));
    EXPECT_EQ(std::make_pair(log[1][8], log[1][9]),
              std::make_pair(uint8_t(28), uint8_t(0x5A))) << "the value found at open";
    EXPECT_EQ(std::make_pair(virtualScanner.Stats().registers[28], virtualScanner.Stats().started),
              std::make_pair(uint8_t(0x5A), 0));
}

TEST(KR9Scanner, FailedStartStillStopsAndRestoresBeforeTheExceptionLeaves)
{
    ClVirtualScanner virtualScanner("F1");
    virtualScanner.Model().SetFault(KR9EMU_FAULT_STATUS_254, 1);
    EXPECT_EQ(CodeOf([&] { ClKR9Scanner scanner(virtualScanner.Info()); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_EQ(virtualScanner.Commands(), (std::vector<int>{0xFF, 2, 8, 16, 1}));
}

TEST(KR9Scanner, ScannerLeavingDuringTheOpeningLeavesNoTransportBehind)
{
    std::weak_ptr<ClKR9DeviceModel> device;
    {
        ClVirtualScanner virtualScanner("F2", 0, 10000);
        const StHIDDeviceInfo info = virtualScanner.Info();
        device = ClKR9EmulatorRegistry::Instance().FindByPath(info.m_strPath);
        // Pulled out while the session opening waits for its answer, so the tidy-up fails as well.
        std::thread puller([&] {
            while (virtualScanner.Stats().reportsReceived == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            virtualScanner.Model().Unplug();
        });
        EXPECT_EQ(CodeOf([&] { ClKR9Scanner scanner(info); }), ZRT_ERROR_READ_FAIL);
        puller.join();
    }
    EXPECT_TRUE(device.expired()) << "a transport still holds the device";
}

TEST(KR9Scanner, FramesComeBackBitForBitInEveryMode)
{
    ClVirtualScanner virtualScanner("B1");
    const std::vector<uint8_t> first = GradientFrame(0);
    const std::vector<uint8_t> second = GradientFrame(100);
    std::vector<uint8_t> both(first);
    both.insert(both.end(), second.begin(), second.end());
    virtualScanner.Model().SetFrames(both.data(), 2);
    ClKR9Scanner scanner(virtualScanner.Info());

    ClImage image8;
    image8.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    scanner.GetFrame(image8, 0);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), image8.Data()));

    ClImage image16;
    image16.Create(ClImage::uint16, 256, 360, 1, 0, 0, true);
    for (uint32_t uiMode : {1u, 2u, 3u}) {
        scanner.GetFrame(image16, uiMode);
        const uint16_t* pWords = reinterpret_cast<const uint16_t*>(image16.Data());
        size_t uiMismatches = 0;
        for (size_t i = 0; i < second.size(); ++i)
            uiMismatches += pWords[i] != second[i] * 257u;
        EXPECT_EQ(uiMismatches, 0u) << "mode " << uiMode << ": the last picture repeats, as 16-bit samples";
    }
    EXPECT_EQ(virtualScanner.Stats().registers[28], 0x5A) << "mode 2 put the register back";
}

TEST(KR9Scanner, WrongImagesAndUnknownModesSendNothing)
{
    ClVirtualScanner virtualScanner("W1");
    ClKR9Scanner scanner(virtualScanner.Info());
    virtualScanner.Model().ClearReportLog();

    ClImage image16, image8, small;
    image16.Create(ClImage::uint16, 256, 360, 1, 0, 0, true);
    image8.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    small.Create(ClImage::uint8, 255, 360, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { scanner.GetFrame(image16, 0); }), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CodeOf([&] { scanner.GetFrame(image8, 1); }), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CodeOf([&] { scanner.GetFrame(small, 0); }), ZRT_ERROR_INVALID_PARAMETER);
    image8.Fill<unsigned char>(9);
    scanner.GetFrame(image8, 4);
    EXPECT_EQ(image8.Data()[0], 9);
    EXPECT_TRUE(virtualScanner.Commands().empty());

    uint32_t uiWidth = 0, uiHeight = 0;
    scanner.GetImageSize(&uiWidth, &uiHeight);
    EXPECT_EQ(std::make_pair(uiWidth, uiHeight), std::make_pair(256u, 360u));
    EXPECT_EQ(CodeOf([&] { scanner.GetImageSize(nullptr, &uiHeight); }), ZRT_ERROR_BAD_POINTER);
    std::string strSerial;
    scanner.GetSerialNumber(strSerial);
    EXPECT_EQ(strSerial, "KR9 W1");
}

TEST(KR9Scanner, UnplugDuringAFrameEndsWithoutHangOrCrash)
{
    ClVirtualScanner virtualScanner("X1", 400, 0);
    ClKR9Scanner scanner(virtualScanner.Info());
    ClImage image8;
    image8.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    auto grabbing = std::async(std::launch::async, [&] { return CodeOf([&] { scanner.GetFrame(image8, 0); }); });
    // Pulled once the frame is under way: its first chunk has gone out.
    while (virtualScanner.Stats().chunksServed == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    virtualScanner.Unplug();
    ASSERT_EQ(grabbing.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    // The chunk pipe reports no errors: the frame completes, and the next command finds the device gone.
    EXPECT_EQ(grabbing.get(), 0);
    EXPECT_EQ(CodeOf([&] { scanner.IsFingerPresent(); }), ZRT_ERROR_WRITE_FAIL);
}

}  // namespace
