#include "device/transport/CompositeHIDInterface.h"

#include <cerrno>

#include "sdk/Exception.h"

ClCompositeHIDInterface::ClCompositeHIDInterface(std::vector<StBackend> backends) : m_backends(std::move(backends)) {}

ClCompositeHIDInterface::~ClCompositeHIDInterface()
{
    Close();
}

void ClCompositeHIDInterface::Enumerate(ClHIDDeviceList& devices)
{
    for (StBackend& backend : m_backends)
        backend.pInterface->Enumerate(devices);
}

void ClCompositeHIDInterface::Open(const StHIDDeviceInfo& device)
{
    Close();
    for (StBackend& backend : m_backends) {
        if (backend.ownsPath(device.m_strPath)) {
            backend.pInterface->Open(device);
            m_pOpen = backend.pInterface.get();
            return;
        }
    }
    const std::string strText = "CreateFile for HID Open function (" + std::to_string(ENODEV) + ")";
    throw ClException(strText.c_str(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
}

void ClCompositeHIDInterface::Close()
{
    if (m_pOpen != nullptr) {
        m_pOpen->Close();
        m_pOpen = nullptr;
    }
}

uint64_t ClCompositeHIDInterface::Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs)
{
    if (m_pOpen == nullptr)
        throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
    return m_pOpen->Read(pBuffer, uiSize, nTimeoutMs);
}

uint64_t ClCompositeHIDInterface::Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs)
{
    if (m_pOpen == nullptr)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    return m_pOpen->Write(pBuffer, uiSize, uiTimeoutMs);
}

bool ClCompositeHIDInterface::GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize)
{
    return m_pOpen != nullptr && m_pOpen->GetPhysicalDescriptor(pBuffer, uiSize);
}
