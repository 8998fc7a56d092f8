#include "device/KR9Scanner.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sdk/Exception.h"
#include "sdk/NeverDestroyed.h"
#include "device/KR9DeviceIds.h"
#include "device/transport/TransportFactory.h"
#include "imaging/FpImage.h"

namespace {

// The display names this process has given its scanners, by transport path.
// On Linux an open session claims the scanner's USB interface, so a listing
// cannot open that scanner to ask its serial number: it takes the name it
// found before, and a multi-scanner application can list and open the next
// scanner while the first one captures. Never destroyed: listings may run
// from exit handlers and late threads.
class ClKnownScannerNames
{
public:
    static ClKnownScannerNames& Instance()
    {
        static TpNeverDestroyed<ClKnownScannerNames> s_names;
        return s_names.Get();
    }
    void Remember(const std::string& strPath, const std::string& strName)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_names[strPath] = strName;
    }
    bool Find(const std::string& strPath, std::string& strName)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_names.find(strPath);
        if (it == m_names.end())
            return false;
        strName = it->second;
        return true;
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::string> m_names;
};

}  // namespace

void ClKR9Scanner::Enumerate(ClHIDDeviceList& devices)
{
    devices.clear();
    try {
        std::unique_ptr<ClHIDInterface> pInterface = CreateHIDInterface();
        pInterface->Enumerate(devices);
        devices.remove_if([](const StHIDDeviceInfo& device) {
            return device.m_usVendorId != KR9_USB_VENDOR_ID || device.m_usProductId != KR9_USB_PRODUCT_ID;
        });
        // Each scanner is asked for its serial number in a session of its own;
        // nothing else is sent, so enumeration leaves started state and registers alone.
        for (StHIDDeviceInfo& device : devices) {
            try {
                pInterface->Open(device);
            } catch (const ClException&) {
                // Held by a session of this process: known by its earlier name.
                if (ClKnownScannerNames::Instance().Find(device.m_strPath, device.m_strName))
                    continue;
                throw;
            }
            try {
                ClKR9USBProtocol protocol(pInterface.get());
                protocol.OpenSession();
                std::string strSerial;
                protocol.GetDeviceString(strSerial, 0);
                device.m_strName = kNamePrefix + strSerial;
            } catch (...) {
                pInterface->Close();
                throw;
            }
            pInterface->Close();
            ClKnownScannerNames::Instance().Remember(device.m_strPath, device.m_strName);
        }
    } catch (const ClException& ex) {
        throw ClException(ex.GetText(), ZRT_ERROR_DEVICE_OPEN_FAIL, true, KR9_SITE);
    }
}

ClKR9Scanner::ClKR9Scanner(const StHIDDeviceInfo& device)
{
    try {
        m_pInterface = CreateHIDInterface();
        m_pInterface->Open(device);
        m_pProtocol = std::make_unique<ClKR9USBProtocol>(m_pInterface.get());
        m_pProtocol->OpenSession();
        m_ucRegister28 = m_pProtocol->ReadRegister(KR9Wire::kRegister28);
        m_pProtocol->StartDevice();
    } catch (const ClException& ex) {
        // Leave the device as it was found, also when only part of the opening happened.
        // A device that vanished cannot be stopped; the members free protocol and transport all the same.
        try {
            Close();
        } catch (const ClException&) {
        }
        throw ClException(ex);
    }
}

ClKR9Scanner::~ClKR9Scanner()
{
    try {
        Close();
    } catch (const ClException&) {
        // A device that vanished cannot be stopped; the members free the transport all the same.
    }
}

void ClKR9Scanner::Close()
{
    if (m_pProtocol != nullptr) {
        // Stopped first, then the register gets back the value it had before the session.
        m_pProtocol->StopDevice();
        m_pProtocol->WriteRegister(KR9Wire::kRegister28, m_ucRegister28);
    }
    if (m_pInterface != nullptr)
        m_pInterface->Close();
}

void ClKR9Scanner::GetImageSize(uint32_t* puiWidth, uint32_t* puiHeight) const
{
    if (puiWidth == nullptr || puiHeight == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *puiWidth = m_uiWidth;
    *puiHeight = m_uiHeight;
}

bool ClKR9Scanner::IsFingerPresent()
{
    std::lock_guard<std::mutex> exchange(m_exchangeMutex);
    return m_pProtocol->IsFingerPresent();
}

void ClKR9Scanner::GetFrame(ClImage& image, uint32_t uiMode)
{
    if (static_cast<uint32_t>(image.Width()) != m_uiWidth || static_cast<uint32_t>(image.Height()) != m_uiHeight)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    const ClImage::EDataType eNeeded = uiMode == 0 ? ClImage::uint8 : ClImage::uint16;
    if (uiMode <= 3 && (image.DataType() != eNeeded || image.Planes() != 1 || image.Data() == nullptr))
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    uint16_t* pWords = reinterpret_cast<uint16_t*>(image.Data());
    std::lock_guard<std::mutex> exchange(m_exchangeMutex);
    switch (uiMode) {
    case 0:
        m_pProtocol->GrabFrame8(image.Data());
        break;
    case 1:
        m_pProtocol->GrabFrame16(pWords);
        break;
    case 2:
        m_pProtocol->GrabFrame16RegisterOff(pWords);
        break;
    case 3:
        m_pProtocol->GrabFrame16Closed(pWords);
        break;
    default:
        // Unknown modes are ignored, not refused.
        break;
    }
}

void ClKR9Scanner::GetFirmwareVersion(uint32_t auiVersion[4])
{
    std::lock_guard<std::mutex> exchange(m_exchangeMutex);
    m_pProtocol->GetFirmwareVersion(auiVersion);
}

void ClKR9Scanner::GetSerialNumber(std::string& strSerial)
{
    std::string strDeviceSerial;
    std::lock_guard<std::mutex> exchange(m_exchangeMutex);
    m_pProtocol->GetDeviceString(strDeviceSerial, 0);
    strSerial = kNamePrefix + strDeviceSerial;
}
