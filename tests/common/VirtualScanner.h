// Test helper: a virtual scanner plugged for the life of one test, with the
// device model at hand, and readers for the reports it received.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "emulator/KR9DeviceModel.h"
#include "emulator/KR9EmulatorRegistry.h"
#include "device/HIDInterface.h"
#include "device/KR9DeviceIds.h"

class ClVirtualScanner
{
public:
    explicit ClVirtualScanner(const std::string& strSerial, uint32_t uiFrameMs = 0, uint32_t uiReplyMs = 0)
        : ClVirtualScanner(strSerial, StUsbIds{KR9_USB_VENDOR_ID, KR9_USB_PRODUCT_ID})
    {
        m_pModel->SetTiming(uiFrameMs, uiReplyMs);
    }
    struct StUsbIds
    {
        uint16_t usVendorId;
        uint16_t usProductId;
    };
    // Another HID device, with its own USB ids.
    ClVirtualScanner(const std::string& strSerial, StUsbIds ids)
    {
        m_pDevice = ClKR9EmulatorRegistry::Instance().Plug(strSerial, ids.usVendorId, ids.usProductId);
        if (m_pDevice == nullptr)
            throw std::runtime_error("cannot plug " + strSerial);
        m_pModel = ClKR9EmulatorRegistry::Instance().Find(m_pDevice);
        m_strPath = ClKR9EmulatorRegistry::Instance().FindPath(m_pDevice);
        m_pModel->SetTiming(0, 0);
    }
    ~ClVirtualScanner() { Unplug(); }

    void Unplug()
    {
        if (m_pDevice != nullptr)
            ClKR9EmulatorRegistry::Instance().Unplug(m_pDevice);
        m_pDevice = nullptr;
    }

    ClKR9DeviceModel& Model() { return *m_pModel; }

    StHIDDeviceInfo Info() const
    {
        StHIDDeviceInfo info;
        info.m_strPath = m_strPath;
        info.m_strName = m_pModel->GetSerial();
        return info;
    }

    // Command ids of the received reports in order; 0xFF stands for a session opening.
    std::vector<int> Commands()
    {
        std::vector<int> commands;
        for (const auto& report : m_pModel->GetReportLog())
            commands.push_back(report[7]);
        return commands;
    }

    KR9EMU_Stats Stats()
    {
        KR9EMU_Stats stats;
        m_pModel->GetStats(stats);
        return stats;
    }

private:
    KR9EMU_Device* m_pDevice = nullptr;
    std::shared_ptr<ClKR9DeviceModel> m_pModel;
    std::string m_strPath;
};

