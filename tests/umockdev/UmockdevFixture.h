// Test fixture: an emulated USB bus for the life of one test, with KR9s on it
// that the libusb transport finds, answered by device models without bus time.
// Each test runs in a process of its own (CTest), as umockdev wants one testbed
// per process.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KR9Emulator.h"
#include "emulator/umockdev/KR9UmockdevBus.h"

class UmockdevTest : public ::testing::Test
{
protected:
    void SetUp() override { m_pBus = std::make_unique<ClKR9UmockdevBus>(); }
    void TearDown() override { m_pBus.reset(); }

    ClKR9UmockdevDevice& AddScanner(const std::string& strSerial)
    {
        auto pModel = std::make_shared<ClKR9DeviceModel>(strSerial);
        pModel->SetTiming(0, 0);
        return m_pBus->AddScanner(pModel);
    }

    // Scanners "U1" ... "U<n>".
    std::vector<ClKR9UmockdevDevice*> AddScanners(size_t uiCount)
    {
        std::vector<ClKR9UmockdevDevice*> devices;
        for (size_t i = 1; i <= uiCount; ++i)
            devices.push_back(&AddScanner("U" + std::to_string(i)));
        return devices;
    }

    static StHIDDeviceInfo InfoOf(const ClKR9UmockdevDevice& device)
    {
        StHIDDeviceInfo info;
        info.m_strPath = device.Path();
        return info;
    }

    ClKR9UmockdevBus& Bus() { return *m_pBus; }

private:
    std::unique_ptr<ClKR9UmockdevBus> m_pBus;
};
