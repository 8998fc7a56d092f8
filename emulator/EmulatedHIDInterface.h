// The transport to the virtual scanners of this library: the same operations
// as a USB transport, answered by the device model of each plugged scanner.
#pragma once

#include <memory>

#include "device/HIDInterface.h"

class ClKR9DeviceModel;

class ClEmulatedHIDInterface : public ClHIDInterface
{
public:
    ClEmulatedHIDInterface() = default;
    ~ClEmulatedHIDInterface() override;

    // Whether a path belongs to this transport.
    static bool OwnsPath(const std::string& strPath);

    void Enumerate(ClHIDDeviceList& devices) override;
    void Open(const StHIDDeviceInfo& device) override;
    void Close() override;
    uint64_t Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs) override;
    uint64_t Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs) override;
    bool GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize) override;

private:
    std::shared_ptr<ClKR9DeviceModel> m_pDevice;
    uint32_t m_uiConnection = 0;
};
