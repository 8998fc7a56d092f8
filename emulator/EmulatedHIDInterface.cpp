#include "emulator/EmulatedHIDInterface.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "device/KR9WireProtocol.h"
#include "sdk/Exception.h"
#include "emulator/KR9DeviceModel.h"
#include "emulator/KR9EmulatorRegistry.h"

namespace {

// The host's buffer: the report id byte and the bytes that travel.
constexpr uint64_t kReportBufferSize = KR9Wire::kReportSize;

}  // namespace

ClEmulatedHIDInterface::~ClEmulatedHIDInterface()
{
    Close();
}

bool ClEmulatedHIDInterface::OwnsPath(const std::string& strPath)
{
    return strPath.rfind(ClKR9EmulatorRegistry::kPathPrefix, 0) == 0;
}

void ClEmulatedHIDInterface::Enumerate(ClHIDDeviceList& devices)
{
    int32_t iIndex = 0;
    for (const ClKR9EmulatorRegistry::StPlugged& plugged : ClKR9EmulatorRegistry::Instance().List()) {
        StHIDDeviceInfo info;
        info.m_iIndex = iIndex++;
        info.m_strPath = plugged.strPath;
        info.m_strName = plugged.pModel->GetSerial();
        info.m_usVendorId = plugged.usVendorId;
        info.m_usProductId = plugged.usProductId;
        devices.push_back(info);
    }
}

void ClEmulatedHIDInterface::Open(const StHIDDeviceInfo& device)
{
    Close();
    std::shared_ptr<ClKR9DeviceModel> pDevice = ClKR9EmulatorRegistry::Instance().FindByPath(device.m_strPath);
    uint32_t uiConnection = 0;
    if (pDevice == nullptr || !pDevice->Connect(uiConnection)) {
        const std::string strText = "CreateFile for HID Open function (" + std::to_string(ENODEV) + ")";
        throw ClException(strText.c_str(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
    }
    m_pDevice = pDevice;
    m_uiConnection = uiConnection;
}

void ClEmulatedHIDInterface::Close()
{
    if (m_pDevice == nullptr)
        return;
    m_pDevice->Disconnect(m_uiConnection);
    m_pDevice.reset();
}

uint64_t ClEmulatedHIDInterface::Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs)
{
    if (m_pDevice == nullptr || pBuffer == nullptr || uiSize < kReportBufferSize)
        throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
    uint8_t* pBytes = static_cast<uint8_t*>(pBuffer);
    uint8_t aucReport[KR9Wire::kTravellingSize];
    switch (m_pDevice->WaitForInputReport(m_uiConnection, aucReport, nTimeoutMs)) {
    case ClKR9DeviceModel::ETransfer::eDone:
        pBytes[0] = KR9Wire::kReportId;
        memcpy(pBytes + 1, aucReport, sizeof(aucReport));
        return kReportBufferSize;
    case ClKR9DeviceModel::ETransfer::eTimedOut:
        return 0;
    case ClKR9DeviceModel::ETransfer::eGone:
        break;
    }
    throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
}

uint64_t ClEmulatedHIDInterface::Write(const void* pBuffer, uint64_t uiSize, uint32_t /*uiTimeoutMs*/)
{
    if (m_pDevice == nullptr || pBuffer == nullptr || uiSize != kReportBufferSize)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    // The report id is not sent: the bytes behind it travel.
    const uint8_t* pBytes = static_cast<const uint8_t*>(pBuffer);
    if (m_pDevice->ReceiveOutputReport(m_uiConnection, pBytes + 1) != ClKR9DeviceModel::ETransfer::eDone)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    return kReportBufferSize;
}

bool ClEmulatedHIDInterface::GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize)
{
    if (m_pDevice == nullptr || pBuffer == nullptr)
        return false;
    return m_pDevice->FetchChunk(m_uiConnection, static_cast<uint8_t*>(pBuffer), uiSize) ==
           ClKR9DeviceModel::ETransfer::eDone;
}
