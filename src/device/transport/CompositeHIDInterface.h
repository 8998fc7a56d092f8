// A transport over several backends (USB hardware, virtual scanners, ...).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "device/HIDInterface.h"

class ClCompositeHIDInterface : public ClHIDInterface
{
public:
    struct StBackend
    {
        std::function<bool(const std::string&)> ownsPath;
        std::unique_ptr<ClHIDInterface> pInterface;
    };

    explicit ClCompositeHIDInterface(std::vector<StBackend> backends);
    ~ClCompositeHIDInterface() override;

    void Enumerate(ClHIDDeviceList& devices) override;
    void Open(const StHIDDeviceInfo& device) override;
    void Close() override;
    uint64_t Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs) override;
    uint64_t Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs) override;
    bool GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize) override;

private:
    std::vector<StBackend> m_backends;
    ClHIDInterface* m_pOpen = nullptr;   // the backend of the open device, if any
};
