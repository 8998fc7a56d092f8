// The libusb transport against emulated usbfs devices: the real backend code
// and real libusb, with the scanner's side played by the device model.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <mutex>
#include <thread>

#include "common/ExceptionCode.h"
#include "common/NistFrame.h"
#include "common/VirtualScanner.h"
#include "sdk/SDKLogger.h"
#include "umockdev/UmockdevFixture.h"
#include "device/KR9Scanner.h"
#include "device/transport/LibusbHIDInterface.h"
#include "device/transport/LibusbWrapper.h"
#include "imaging/FpImage.h"
#include "session/KR9Handle.h"

namespace {

constexpr uint64_t kReport = 65;

std::vector<uint8_t> Grab8(ClKR9Scanner& scanner)
{
    ClImage image;
    image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    scanner.GetFrame(image, 0);
    return std::vector<uint8_t>(image.Data(), image.Data() + KR9EMU_FRAME_BYTES);
}

std::vector<std::string> SortedNames(const ClHIDDeviceList& devices)
{
    std::vector<std::string> names;
    for (const StHIDDeviceInfo& device : devices)
        names.push_back(device.m_strName);
    std::sort(names.begin(), names.end());
    return names;
}

int LIBUSB_CALL RefuseOpen(libusb_device*, libusb_device_handle**)
{
    return LIBUSB_ERROR_ACCESS;
}

TEST_F(UmockdevTest, TransportListsHidDevicesAndTheScannerLayerKeepsTheKR9s)
{
    ClKR9UmockdevDevice& scanner = AddScanner("U42");
    AddScanner("");
    ClKR9UmockdevDevice& keyboard = Bus().AddOtherHidDevice({0x046D, 0xC31C});

    // Paths are left to the whole capture, which opens the scanner it listed.
    ClHIDDeviceList devices;
    ClLibusbHIDInterface().Enumerate(devices);
    EXPECT_EQ(SortedNames(devices), (std::vector<std::string>{"", "", "U42"}));
    ClKR9Scanner::Enumerate(devices);
    EXPECT_EQ(SortedNames(devices), (std::vector<std::string>{"KR9 ", "KR9 U42"})) << "the keyboard is dropped";
    EXPECT_TRUE(scanner.DriverBound() && keyboard.DriverBound()) << "enumeration gives every interface back";

    // A device we may not open (permissions) is left out; opening it is -62 with libusb's code.
    ClLibusbContext::Get()->Usb().open = &RefuseOpen;
    ClLibusbHIDInterface transport;
    transport.Enumerate(devices);
    EXPECT_EQ(devices.size(), 2u) << "nothing added";
    EXPECT_EQ(CodeOf([&] { transport.Open(InfoOf(scanner)); }, "libusb_open (-3)"), ZRT_ERROR_DEVICE_INTERNAL);
}

// A read that times out leaves its transfer outstanding, so the late report goes to
// the next read; pulling the scanner fails the waiting read and everything after.
TEST_F(UmockdevTest, LateReportGoesToTheNextReadAndUnplugFailsEverythingAfter)
{
    ClKR9UmockdevDevice& device = AddScanner("T1");
    ClLibusbHIDInterface transport;
    transport.Open(InfoOf(device));
    uint8_t aucFirst[kReport] = {};
    EXPECT_EQ(transport.Read(aucFirst, kReport, 0), 0u) << "nothing was asked";
    EXPECT_FALSE(transport.GetPhysicalDescriptor(aucFirst, sizeof(aucFirst))) << "no frame under way: stalled";

    device.Model()->SetTiming(0, 1000);
    aucFirst[8] = 10;
    EXPECT_EQ(transport.Write(aucFirst, kReport, 5000), kReport);
    EXPECT_EQ(transport.Read(aucFirst, kReport, 30), 0u) << "the reply comes after the time-out";
    uint8_t aucSecond[kReport];
    memset(aucSecond, 0xAB, sizeof(aucSecond));
    EXPECT_EQ(transport.Read(aucSecond, kReport, -1), kReport);
    EXPECT_EQ(aucSecond[0], 0) << "report id";
    EXPECT_EQ(aucSecond[8], 10) << "the late reply to command 10";

    auto waiting = std::async(std::launch::async, [&] {
        uint8_t aucReport[kReport];
        return CodeOf([&] { transport.Read(aucReport, kReport, -1); });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Bus().Unplug(device);
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(waiting.get(), ZRT_ERROR_READ_FAIL);
    EXPECT_EQ(CodeOf([&] { transport.Write(aucFirst, kReport, 1000); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_FALSE(transport.GetPhysicalDescriptor(aucFirst, sizeof(aucFirst)));
    transport.Close();
    transport.Close();
    EXPECT_EQ(CodeOf([&] { transport.Read(aucFirst, kReport, 0); }), ZRT_ERROR_READ_FAIL);
    EXPECT_EQ(CodeOf([&] { transport.Write(aucFirst, kReport, 0); }), ZRT_ERROR_WRITE_FAIL);
    ClHIDDeviceList devices;
    ClKR9Scanner::Enumerate(devices);
    EXPECT_TRUE(devices.empty());
    EXPECT_EQ(CodeOf([&] { transport.Open(InfoOf(device)); }), ZRT_ERROR_DEVICE_INTERNAL);
}

// Two sessions at once: a scanner held by one stays listed, so the next one opens, and
// each reads its own scanner, its finger and its frames with all chunks in place.
TEST_F(UmockdevTest, TwoScannersStayListedAndCaptureAtOnce)
{
    std::vector<ClKR9UmockdevDevice*> devices = AddScanners(2);
    const std::vector<uint8_t> frames[] = {ReadNistFrame("arch"), ReadNistFrame("whorl")};
    for (size_t i = 0; i < 2; ++i)
        devices[i]->Model()->SetFrames(frames[i].data(), 1);
    devices[1]->Model()->SetFingerPresent(true);
    ClHIDDeviceList listed;
    ClKR9Scanner::Enumerate(listed);
    ClKR9Scanner first(InfoOf(*devices[0]));
    ClKR9Scanner::Enumerate(listed);
    EXPECT_EQ(SortedNames(listed), (std::vector<std::string>{"KR9 U1", "KR9 U2"}));
    ClKR9Scanner second(InfoOf(*devices[1]));
    EXPECT_TRUE(!first.IsFingerPresent() && second.IsFingerPresent());
    for (int n = 0; n < 3; ++n) {
        auto secondFrame = std::async(std::launch::async, [&] { return Grab8(second); });
        EXPECT_TRUE(Grab8(first) == frames[0]);
        EXPECT_TRUE(secondFrame.get() == frames[1]);
    }
}

// The session takes the interface from usbhid, claims it, and gives it back when it closes.
TEST_F(UmockdevTest, WholeCaptureRunsOverLibusbAndGivesTheInterfaceBack)
{
    ClKR9UmockdevDevice& device = AddScanner("U7");
    const std::vector<uint8_t> frame = ReadNistFrame("loop-right");
    ASSERT_FALSE(frame.empty());
    device.Model()->SetFrames(frame.data(), 1);
    device.Model()->SetFingerPresent(true);
    ClHIDDeviceList listed;
    ClKR9Scanner::Enumerate(listed);
    ASSERT_EQ(listed.size(), 1u);

    ClKR9Handle session;
    session.Open(listed.front());
    EXPECT_TRUE(device.Claimed() && !device.DriverBound());
    session.SetCaptureMode(0);
    std::vector<uint8_t> image(KR9EMU_FRAME_BYTES);
    uint64_t uiReserved = 0;
    uint8_t ucFinal = 0;
    int32_t nStatus = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (ucFinal == 0 && nStatus == 0 && std::chrono::steady_clock::now() < deadline)
        session.GetImage(image.data(), &uiReserved, &ucFinal, &nStatus);
    session.Close();
    EXPECT_TRUE(device.DriverBound() && !device.Claimed()) << "usbhid gets the interface back";
    EXPECT_EQ(nStatus, 0);
    EXPECT_EQ(ucFinal, 1) << "a steady finger gives a final image over real libusb code";
}

std::mutex s_logMutex;
std::vector<std::string> s_logLines;

void CollectLog(int32_t, const char* pszText)
{
    std::lock_guard<std::mutex> lock(s_logMutex);
    s_logLines.push_back(pszText);
}

TEST_F(UmockdevTest, WithoutLibusbVirtualScannersStayAndOneLineSaysWhy)
{
    AddScanner("U1");
    ClLibusbContext::SetLibraryName("libusb-absent.so.0");
    ClLibusbContext::Release();
    ClSDKLogger::SetSink(&CollectLog);
    ClVirtualScanner virtualScanner("V1");
    ClHIDDeviceList devices;
    for (int i = 0; i < 2; ++i) {
        ClKR9Scanner::Enumerate(devices);
        EXPECT_EQ(SortedNames(devices), std::vector<std::string>{"KR9 V1"});
    }
    ClSDKLogger::SetSink(nullptr);
    ASSERT_EQ(s_logLines.size(), 1u);
    EXPECT_NE(s_logLines[0].find("libusb-absent.so.0"), std::string::npos) << s_logLines[0];
    StHIDDeviceInfo usbDevice;
    usbDevice.m_strPath = "usb:1-2:1.0";
    EXPECT_EQ(CodeOf([&] { ClLibusbHIDInterface().Open(usbDevice); }), ZRT_ERROR_DEVICE_INTERNAL);
}

}  // namespace
