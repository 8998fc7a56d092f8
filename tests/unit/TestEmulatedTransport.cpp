// The transport seam as the virtual scanners serve it: reports with
// time-outs, late replies, closed transports and vanished devices.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "common/VirtualScanner.h"
#include "emulator/EmulatedHIDInterface.h"
#include "device/transport/TransportFactory.h"

namespace {

constexpr uint64_t kReport = 65;

// An IsFingerPresent request on a session that was never opened: the device answers "no".
void FillRequest(uint8_t* pReport, uint8_t ucCommand)
{
    memset(pReport, 0, kReport);
    pReport[8] = ucCommand;
}

// (What enumeration lists, unnamed devices and other makers' included, the
// scanner tests show through ClKR9Scanner::Enumerate, which lists through here.)

TEST(EmulatedTransport, ReadsTimeOutAndLateRepliesGoToTheNextRead)
{
    ClVirtualScanner scanner("T1");
    std::unique_ptr<ClHIDInterface> pInterface = CreateHIDInterface();
    pInterface->Open(scanner.Info());

    uint8_t aucFirst[kReport];
    EXPECT_EQ(pInterface->Read(aucFirst, kReport, 0), 0u) << "nothing was asked";

    scanner.Model().SetFault(KR9EMU_FAULT_LATE_REPLY, 1);
    FillRequest(aucFirst, 10);
    EXPECT_EQ(pInterface->Write(aucFirst, kReport, 5000), kReport);
    EXPECT_EQ(pInterface->Read(aucFirst, kReport, 20), 0u) << "the reply comes after the time-out";
    uint8_t aucSecond[kReport];
    memset(aucSecond, 0xAB, sizeof(aucSecond));
    EXPECT_EQ(pInterface->Read(aucSecond, kReport, 20), kReport);
    EXPECT_EQ(std::make_pair(aucSecond[0], aucSecond[8]), std::make_pair(uint8_t(0), uint8_t(10)))
        << "report id 0, and the late reply to command 10";

    // Wrong buffer sizes fail at once, as the system's driver refuses them.
    EXPECT_EQ(CodeOf([&] { pInterface->Write(aucFirst, 64, 5000); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_EQ(CodeOf([&] { pInterface->Read(aucFirst, 64, 0); }), ZRT_ERROR_READ_FAIL);
}

TEST(EmulatedTransport, ClosedTransportsAndUnknownPathsFailCleanly)
{
    std::unique_ptr<ClHIDInterface> pInterface = CreateHIDInterface();
    pInterface->Close();
    pInterface->Close();
    uint8_t aucReport[kReport] = {};
    EXPECT_EQ(CodeOf([&] { pInterface->Read(aucReport, kReport, 0); }), ZRT_ERROR_READ_FAIL);
    EXPECT_EQ(CodeOf([&] { pInterface->Write(aucReport, kReport, 0); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_FALSE(pInterface->GetPhysicalDescriptor(aucReport, sizeof(aucReport)));

    StHIDDeviceInfo unknown;
    for (const char* pszPath : {"/dev/nothing", "kr9emu:999999"}) {
        unknown.m_strPath = pszPath;
        EXPECT_EQ(CodeOf([&] { pInterface->Open(unknown); }), ZRT_ERROR_DEVICE_INTERNAL) << pszPath;
    }
}

TEST(EmulatedTransport, UnplugFailsEveryTransferAndWakesAWaitingRead)
{
    ClVirtualScanner scanner("U1");
    std::unique_ptr<ClHIDInterface> pInterface = CreateHIDInterface();
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
