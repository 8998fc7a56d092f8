// The transport seam as the virtual scanners serve it: reports with
// time-outs, late replies, closed transports and vanished devices.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "Exception.h"
#include "VirtualScanner.h"
#include "device/KR9DeviceIds.h"
#include "device/transport/EmulatedHIDInterface.h"
#include "device/transport/TransportFactory.h"

namespace {

constexpr uint64_t kReport = 65;

// An IsFingerPresent request on a session that was never opened: the device answers "no".
void FillRequest(uint8_t* pReport, uint8_t ucCommand)
{
    memset(pReport, 0, kReport);
    pReport[8] = ucCommand;
}

TEST(EmulatedTransport, EnumerationListsEveryPluggedScannerWithItsSerial)
{
    // Only this backend's records: the machine may have USB HID devices of its own.
    std::unique_ptr<ClHIDInterface> pInterface(CreateHIDInterface());
    ClHIDDeviceList devices;
    auto enumerate = [&] {
        pInterface->Enumerate(devices);
        devices.remove_if([](const StHIDDeviceInfo& device) { return !ClEmulatedHIDInterface::OwnsPath(device.m_strPath); });
    };
    enumerate();
    EXPECT_TRUE(devices.empty());

    ClVirtualScanner first("A1");
    ClVirtualScanner unnamed("");
    enumerate();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices.front().m_strName, "A1");
    EXPECT_EQ(devices.back().m_strName, "") << "a device without serial still gets a record";
    EXPECT_EQ(devices.back().m_iIndex, 1);
    EXPECT_EQ(devices.front().m_usVendorId, KR9_USB_VENDOR_ID);
    EXPECT_EQ(devices.front().m_usProductId, KR9_USB_PRODUCT_ID);
}

TEST(EmulatedTransport, ReadsTimeOutAndLateRepliesGoToTheNextRead)
{
    ClVirtualScanner scanner("T1");
    std::unique_ptr<ClHIDInterface> pInterface(CreateHIDInterface());
    pInterface->Open(scanner.Info());

    uint8_t aucFirst[kReport];
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(pInterface->Read(aucFirst, kReport, 0), 0u) << "nothing was asked";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

    scanner.Model().SetFault(KR9EMU_FAULT_LATE_REPLY, 1);
    FillRequest(aucFirst, 10);
    EXPECT_EQ(pInterface->Write(aucFirst, kReport, 5000), kReport);
    EXPECT_EQ(pInterface->Read(aucFirst, kReport, 20), 0u) << "the reply comes after the time-out";
    uint8_t aucSecond[kReport];
    memset(aucSecond, 0xAB, sizeof(aucSecond));
    EXPECT_EQ(pInterface->Read(aucSecond, kReport, 20), kReport);
    EXPECT_EQ(aucSecond[0], 0) << "report id";
    EXPECT_EQ(aucSecond[8], 10) << "the late reply to command 10";

    // Wrong buffer sizes fail at once, as the system's driver refuses them.
    EXPECT_EQ(CodeOf([&] { pInterface->Write(aucFirst, 64, 5000); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_EQ(CodeOf([&] { pInterface->Read(aucFirst, 64, 0); }), ZRT_ERROR_READ_FAIL);
}

TEST(EmulatedTransport, ClosedTransportsAndUnknownPathsFailCleanly)
{
    std::unique_ptr<ClHIDInterface> pInterface(CreateHIDInterface());
    pInterface->Close();
    pInterface->Close();
    uint8_t aucReport[kReport] = {};
    EXPECT_EQ(CodeOf([&] { pInterface->Read(aucReport, kReport, 0); }), ZRT_ERROR_READ_FAIL);
    EXPECT_EQ(CodeOf([&] { pInterface->Write(aucReport, kReport, 0); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_FALSE(pInterface->GetPhysicalDescriptor(aucReport, sizeof(aucReport)));

    StHIDDeviceInfo unknown;
    unknown.m_strPath = "/dev/nothing";
    EXPECT_EQ(CodeOf([&] { pInterface->Open(unknown); }), ZRT_ERROR_DEVICE_INTERNAL);
    unknown.m_strPath = "kr9emu:999999";
    EXPECT_EQ(CodeOf([&] { pInterface->Open(unknown); }), ZRT_ERROR_DEVICE_INTERNAL);
}

TEST(EmulatedTransport, UnplugFailsEveryTransferAndWakesAWaitingRead)
{
    ClVirtualScanner scanner("U1");
    std::unique_ptr<ClHIDInterface> pInterface(CreateHIDInterface());
    pInterface->Open(scanner.Info());

    // A read that waits without limit must not hang when the device goes away.
    auto waiting = std::async(std::launch::async, [&] {
        uint8_t aucReport[kReport];
        return CodeOf([&] { pInterface->Read(aucReport, kReport, -1); });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    scanner.Unplug();
    ASSERT_EQ(waiting.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(waiting.get(), ZRT_ERROR_READ_FAIL);

    uint8_t aucReport[kReport] = {};
    EXPECT_EQ(CodeOf([&] { pInterface->Write(aucReport, kReport, 5000); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_FALSE(pInterface->GetPhysicalDescriptor(aucReport, sizeof(aucReport)));
    pInterface->Close();
    ClHIDDeviceList devices;
    pInterface->Enumerate(devices);
    EXPECT_TRUE(std::none_of(devices.begin(), devices.end(),
                             [](const StHIDDeviceInfo& device) { return ClEmulatedHIDInterface::OwnsPath(device.m_strPath); }));
}

}  // namespace
