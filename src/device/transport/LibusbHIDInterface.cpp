#include "device/transport/LibusbHIDInterface.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "sdk/Exception.h"
#include "sdk/NeverDestroyed.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"
#include "device/transport/LibusbWrapper.h"

namespace {

using Clock = std::chrono::steady_clock;

// HID class request for output reports, used when the interface has no OUT endpoint.
constexpr uint8_t kSetReport = 0x09;
constexpr uint16_t kOutputReportType = 0x02;
// A chunk normally comes within the device's frame time; the bound only keeps a
// device that stopped answering from holding the caller for ever.
constexpr unsigned int kChunkTimeoutMs = 5000;
// How long a cancelled transfer may take to come back before it is given up.
constexpr int64_t kCancelWaitMs = 1000;
constexpr size_t kMaxPortDepth = 7;   // the USB limit of tiers below the root

// The process's reference to the context. Never destroyed: threads that still
// list or capture while the process exits must find the mutex and the
// reference intact, not destroyed statics.
struct StSharedContext
{
    std::mutex mutex;
    std::shared_ptr<ClLibusbContext> pContext;
    std::string strLibraryName = ClLibusbWrapper::kLibraryName;
};
TpNeverDestroyed<StSharedContext> s_shared;

// Runs when the library is unloaded and when the process exits: the process's
// reference goes, so an unloaded library leaves no context behind. A thread
// that is still inside libusb holds a reference of its own, so the context
// lives until it is done.
__attribute__((destructor)) void ReleaseContextAtUnload()
{
    ClLibusbContext::Release();
}

std::string LibusbFailure(const char* pszStep, int nResult)
{
    return std::string(pszStep) + " (" + std::to_string(nResult) + ")";
}

// "1-3.2": bus and port chain as sysfs names the device; "" when libusb cannot tell.
std::string DeviceLocation(ClLibusbWrapper& usb, libusb_device* pDevice)
{
    uint8_t aucPorts[kMaxPortDepth];
    const int nPorts = usb.get_port_numbers(pDevice, aucPorts, static_cast<int>(sizeof(aucPorts)));
    if (nPorts <= 0)
        return "";
    std::string strLocation = std::to_string(usb.get_bus_number(pDevice)) + "-";
    for (int i = 0; i < nPorts; ++i)
        strLocation += (i == 0 ? "" : ".") + std::to_string(aucPorts[i]);
    return strLocation;
}

struct StParsedPath
{
    std::string strLocation;
    int nConfiguration = -1;
    int nInterface = -1;
};

bool ParsePath(const std::string& strPath, StParsedPath& parsed)
{
    const size_t uiPrefix = strlen(ClLibusbHIDInterface::kPathPrefix);
    const size_t uiColon = strPath.rfind(':');
    if (strPath.rfind(ClLibusbHIDInterface::kPathPrefix, 0) != 0 || uiColon == std::string::npos || uiColon <= uiPrefix)
        return false;
    parsed.strLocation = strPath.substr(uiPrefix, uiColon - uiPrefix);
    char cTail = 0;
    return sscanf(strPath.c_str() + uiColon + 1, "%d.%d%c", &parsed.nConfiguration, &parsed.nInterface, &cTail) == 2 &&
           parsed.nInterface >= 0 && parsed.nInterface < 256;
}

// The device list of one enumeration, freed on every way out.
class ClDeviceList
{
public:
    ClDeviceList(ClLibusbContext& usb, const char* pszFailureStep) : m_usb(usb)
    {
        const ssize_t nCount = usb.Usb().get_device_list(usb.Context(), &m_ppDevices);
        if (nCount < 0) {
            const std::string strText = LibusbFailure(pszFailureStep, static_cast<int>(nCount));
            throw ClException(strText.c_str(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
        }
        m_nCount = nCount;
    }
    ~ClDeviceList() { m_usb.Usb().free_device_list(m_ppDevices, 1); }
    ClDeviceList(const ClDeviceList&) = delete;
    ClDeviceList& operator=(const ClDeviceList&) = delete;

    libusb_device* const* begin() const { return m_ppDevices; }
    libusb_device* const* end() const { return m_ppDevices + m_nCount; }

private:
    ClLibusbContext& m_usb;
    libusb_device** m_ppDevices = nullptr;
    ssize_t m_nCount = 0;
};

struct StHidInterfaces
{
    int nConfiguration = 0;
    std::vector<int> numbers;
};

StHidInterfaces FindHidInterfaces(ClLibusbWrapper& usb, libusb_device* pDevice)
{
    StHidInterfaces found;
    libusb_config_descriptor* pConfig = nullptr;
    if (usb.get_active_config_descriptor(pDevice, &pConfig) != 0)
        return found;   // not configured: nothing to talk to
    found.nConfiguration = pConfig->bConfigurationValue;
    for (uint8_t i = 0; i < pConfig->bNumInterfaces; ++i) {
        const libusb_interface& usbInterface = pConfig->interface[i];
        if (usbInterface.num_altsetting > 0 && usbInterface.altsetting[0].bInterfaceClass == LIBUSB_CLASS_HID)
            found.numbers.push_back(usbInterface.altsetting[0].bInterfaceNumber);
    }
    usb.free_config_descriptor(pConfig);
    return found;
}

// Any thread that handles libusb's events may run the callback of our
// transfer, so the flag is written and read atomically (libusb reads it too,
// through the plain int pointer it is given).
void LIBUSB_CALL OnTransferDone(libusb_transfer* pTransfer)
{
    __atomic_store_n(static_cast<int*>(pTransfer->user_data), 1, __ATOMIC_RELEASE);
}

bool IsCompleted(const int& nCompleted)
{
    return __atomic_load_n(&nCompleted, __ATOMIC_ACQUIRE) != 0;
}

// Without libusb, or on a system without USB, there are no USB devices, and
// the virtual scanners are still served. Said once per process, not at every query.
std::shared_ptr<ClLibusbContext> ContextForEnumeration()
{
    try {
        return ClLibusbContext::Get();
    } catch (const ClException& ex) {
        static std::atomic<bool> s_bSaid{false};
        if (!s_bSaid.exchange(true)) {
            std::string strReason = ex.GetText() != nullptr ? ex.GetText() : "";
            std::replace(strReason.begin(), strReason.end(), '\n', ' ');
            ClSDKLogger::Log(eLogWarning, "USB scanners unavailable, virtual scanners only: %s", strReason.c_str());
        }
        return nullptr;
    }
}

}  // namespace

// ---- ClLibusbContext ----------------------------------------------------------------

ClLibusbContext::ClLibusbContext(const std::string& strLibraryName)
    : m_pUsb(std::make_unique<ClLibusbWrapper>(strLibraryName.c_str()))
{
    const int nResult = m_pUsb->init(&m_pContext);
    if (nResult != 0) {
        const std::string strText = LibusbFailure("libusb_init", nResult);
        throw ClException(strText.c_str(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
    }
}

ClLibusbContext::~ClLibusbContext()
{
    m_pUsb->exit(m_pContext);
}

std::shared_ptr<ClLibusbContext> ClLibusbContext::Get()
{
    StSharedContext& shared = s_shared.Get();
    std::lock_guard<std::mutex> lock(shared.mutex);
    if (shared.pContext == nullptr)
        shared.pContext.reset(new ClLibusbContext(shared.strLibraryName));
    return shared.pContext;
}

void ClLibusbContext::Release()
{
    // Dropped outside the lock: the last reference runs libusb_exit.
    std::shared_ptr<ClLibusbContext> pDropped;
    StSharedContext& shared = s_shared.Get();
    std::lock_guard<std::mutex> lock(shared.mutex);
    pDropped.swap(shared.pContext);
}

void ClLibusbContext::SetLibraryName(const std::string& strName)
{
    StSharedContext& shared = s_shared.Get();
    std::lock_guard<std::mutex> lock(shared.mutex);
    shared.strLibraryName = strName;
}

// ---- ClLibusbHIDInterface -----------------------------------------------------------

ClLibusbHIDInterface::ClLibusbHIDInterface() = default;

ClLibusbHIDInterface::~ClLibusbHIDInterface()
{
    Close();
}

bool ClLibusbHIDInterface::OwnsPath(const std::string& strPath)
{
    return strPath.rfind(kPathPrefix, 0) == 0;
}

void ClLibusbHIDInterface::Enumerate(ClHIDDeviceList& devices)
{
    std::shared_ptr<ClLibusbContext> pUsb = ContextForEnumeration();
    if (pUsb == nullptr)
        return;
    ClLibusbWrapper& usb = pUsb->Usb();
    ClDeviceList list(*pUsb, "libusb_get_device_list");
    int32_t iIndex = 0;
    for (libusb_device* pDevice : list) {
        libusb_device_descriptor descriptor;
        const StHidInterfaces hid = FindHidInterfaces(usb, pDevice);
        const std::string strLocation = DeviceLocation(usb, pDevice);
        if (hid.numbers.empty() || strLocation.empty() || usb.get_device_descriptor(pDevice, &descriptor) != 0)
            continue;
        // A device we may not open (no access rights, say) is left out; the
        // indices of the later records keep the gap.
        libusb_device_handle* pHandle = nullptr;
        if (usb.open(pDevice, &pHandle) != 0) {
            iIndex += static_cast<int32_t>(hid.numbers.size());
            continue;
        }
        std::string strSerial;
        if (descriptor.iSerialNumber != 0) {
            unsigned char aucSerial[256];
            const int nLength = usb.get_string_descriptor_ascii(pHandle, descriptor.iSerialNumber, aucSerial,
                                                                static_cast<int>(sizeof(aucSerial)));
            if (nLength > 0)
                strSerial.assign(reinterpret_cast<const char*>(aucSerial), static_cast<size_t>(nLength));
        }
        usb.close(pHandle);
        for (int nInterface : hid.numbers) {
            StHIDDeviceInfo info;
            info.m_iIndex = iIndex++;
            info.m_strPath = kPathPrefix + strLocation + ":" + std::to_string(hid.nConfiguration) + "." +
                             std::to_string(nInterface);
            info.m_strName = strSerial;
            info.m_usVendorId = descriptor.idVendor;
            info.m_usProductId = descriptor.idProduct;
            devices.push_back(info);
        }
    }
}

void ClLibusbHIDInterface::ThrowOpenFailure(const char* pszStep, int nResult)
{
    Close();
    const std::string strText = LibusbFailure(pszStep, nResult);
    throw ClException(strText.c_str(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
}

void ClLibusbHIDInterface::Open(const StHIDDeviceInfo& device)
{
    Close();
    StParsedPath parsed;
    if (!ParsePath(device.m_strPath, parsed))
        ThrowOpenFailure("libusb_open", LIBUSB_ERROR_INVALID_PARAM);
    try {
        m_pUsb = ClLibusbContext::Get();
    } catch (const ClException& ex) {
        throw ClException(ex.GetText(), ZRT_ERROR_DEVICE_INTERNAL, true, KR9_SITE);
    }
    // Kept here too: a failure below closes the transport, and the list must outlive that.
    const std::shared_ptr<ClLibusbContext> pUsb = m_pUsb;
    ClLibusbWrapper& usb = pUsb->Usb();
    {
        ClDeviceList list(*pUsb, "libusb_open");
        auto it = std::find_if(list.begin(), list.end(),
                               [&](libusb_device* pDevice) { return DeviceLocation(usb, pDevice) == parsed.strLocation; });
        if (it == list.end())
            ThrowOpenFailure("libusb_open", LIBUSB_ERROR_NO_DEVICE);
        const StHidInterfaces hid = FindHidInterfaces(usb, *it);
        if (std::find(hid.numbers.begin(), hid.numbers.end(), parsed.nInterface) == hid.numbers.end())
            ThrowOpenFailure("libusb_open", LIBUSB_ERROR_NOT_FOUND);
        const int nResult = usb.open(*it, &m_pHandle);
        if (nResult != 0) {
            m_pHandle = nullptr;
            ThrowOpenFailure("libusb_open", nResult);
        }
        OpenLocated(*it, parsed.nInterface);
    }
}

void ClLibusbHIDInterface::OpenLocated(libusb_device* pDevice, int nInterface)
{
    ClLibusbWrapper& usb = m_pUsb->Usb();
    m_nInterface = nInterface;
    // usbhid owns the interface while it is bound; it gets it back at Close.
    if (usb.kernel_driver_active(m_pHandle, nInterface) == 1) {
        const int nResult = usb.detach_kernel_driver(m_pHandle, nInterface);
        if (nResult != 0)
            ThrowOpenFailure("libusb_detach_kernel_driver", nResult);
        m_bDriverDetached = true;
    }
    int nResult = usb.claim_interface(m_pHandle, nInterface);
    if (nResult != 0)
        ThrowOpenFailure("libusb_claim_interface", nResult);

    libusb_config_descriptor* pConfig = nullptr;
    nResult = usb.get_active_config_descriptor(pDevice, &pConfig);
    if (nResult != 0)
        ThrowOpenFailure("libusb_get_active_config_descriptor", nResult);
    for (uint8_t i = 0; i < pConfig->bNumInterfaces; ++i) {
        const libusb_interface& usbInterface = pConfig->interface[i];
        if (usbInterface.num_altsetting == 0 || usbInterface.altsetting[0].bInterfaceNumber != nInterface)
            continue;
        const libusb_interface_descriptor& setting = usbInterface.altsetting[0];
        for (uint8_t e = 0; e < setting.bNumEndpoints; ++e) {
            const libusb_endpoint_descriptor& endpoint = setting.endpoint[e];
            if ((endpoint.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK) != LIBUSB_TRANSFER_TYPE_INTERRUPT)
                continue;
            uint8_t& ucSlot = (endpoint.bEndpointAddress & LIBUSB_ENDPOINT_IN) != 0 ? m_ucInEndpoint : m_ucOutEndpoint;
            if (ucSlot == 0)
                ucSlot = endpoint.bEndpointAddress;
        }
    }
    usb.free_config_descriptor(pConfig);
    if (m_ucInEndpoint == 0)
        ThrowOpenFailure("interrupt IN endpoint", LIBUSB_ERROR_NOT_FOUND);

    for (StTransfer* pTransfer : {&m_read, &m_write}) {
        pTransfer->pTransfer = usb.alloc_transfer(0);
        if (pTransfer->pTransfer == nullptr)
            ThrowOpenFailure("libusb_alloc_transfer", LIBUSB_ERROR_NO_MEM);
    }
}

void ClLibusbHIDInterface::Close()
{
    if (m_pUsb == nullptr)
        return;
    ClLibusbWrapper& usb = m_pUsb->Usb();
    if (m_pHandle != nullptr) {
        CancelAndReap(m_read);
        CancelAndReap(m_write);
        if (m_nInterface >= 0) {
            usb.release_interface(m_pHandle, m_nInterface);
            if (m_bDriverDetached)
                usb.attach_kernel_driver(m_pHandle, m_nInterface);
        }
        usb.close(m_pHandle);
    }
    for (StTransfer* pTransfer : {&m_read, &m_write}) {
        if (pTransfer->pTransfer != nullptr)
            usb.free_transfer(pTransfer->pTransfer);
        pTransfer->pTransfer = nullptr;
        pTransfer->bPending = false;
    }
    m_pHandle = nullptr;
    m_nInterface = -1;
    m_ucInEndpoint = 0;
    m_ucOutEndpoint = 0;
    m_bDriverDetached = false;
    m_pUsb.reset();
}

bool ClLibusbHIDInterface::Start(StTransfer& transfer, uint8_t ucEndpoint, uint32_t uiLength)
{
    if (transfer.bPending)
        return true;
    libusb_fill_interrupt_transfer(transfer.pTransfer, m_pHandle, ucEndpoint, transfer.aucData,
                                   static_cast<int>(uiLength), &OnTransferDone, &transfer.nCompleted, 0);
    transfer.nCompleted = 0;
    if (m_pUsb->Usb().submit_transfer(transfer.pTransfer) != 0)
        return false;
    transfer.bPending = true;
    return true;
}

ClLibusbHIDInterface::EWait ClLibusbHIDInterface::WaitFor(StTransfer& transfer, int64_t nTimeoutMs)
{
    const bool bBounded = nTimeoutMs >= 0;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(bBounded ? nTimeoutMs : 0);
    // At least one pass, so that a time-out of 0 still takes what has come in.
    while (!IsCompleted(transfer.nCompleted)) {
        timeval wait{1, 0};
        if (bBounded) {
            const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
            const int64_t nLeft = std::max<int64_t>(left.count(), 0);
            wait = {static_cast<time_t>(nLeft / 1000000), static_cast<suseconds_t>(nLeft % 1000000)};
        }
        const int nResult =
            m_pUsb->Usb().handle_events_timeout_completed(m_pUsb->Context(), &wait, &transfer.nCompleted);
        if (nResult < 0 && nResult != LIBUSB_ERROR_INTERRUPTED && nResult != LIBUSB_ERROR_TIMEOUT)
            return EWait::eFailed;
        if (!IsCompleted(transfer.nCompleted) && bBounded && Clock::now() >= deadline)
            return EWait::eTimedOut;
    }
    transfer.bPending = false;
    return EWait::eDone;
}

void ClLibusbHIDInterface::CancelAndReap(StTransfer& transfer)
{
    if (!transfer.bPending)
        return;
    m_pUsb->Usb().cancel_transfer(transfer.pTransfer);
    if (WaitFor(transfer, kCancelWaitMs) != EWait::eDone) {
        // libusb still owns the transfer and may write into it: it must not be freed.
        ClSDKLogger::Log(eLogError, "USB transfer not returned after cancelling; left to libusb");
        transfer.pTransfer = nullptr;
    }
    transfer.bPending = false;
}

uint64_t ClLibusbHIDInterface::Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs)
{
    if (m_pHandle == nullptr || pBuffer == nullptr || uiSize < kReportBytes + 1)
        throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
    if (!Start(m_read, m_ucInEndpoint, kReportBytes))
        throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
    const EWait eWait = WaitFor(m_read, nTimeoutMs);
    if (eWait == EWait::eTimedOut)
        return 0;   // not yet: the transfer stays submitted for the next Read
    const libusb_transfer& done = *m_read.pTransfer;
    if (eWait == EWait::eFailed || done.status != LIBUSB_TRANSFER_COMPLETED)
        throw ClExQuorvane(ZRT_ERROR_READ_FAIL, KR9_SITE);
    // The report id (0) is not on the wire; the host's buffer has it in front.
    uint8_t* pBytes = static_cast<uint8_t*>(pBuffer);
    pBytes[0] = 0;
    memcpy(pBytes + 1, m_read.aucData, static_cast<size_t>(done.actual_length));
    return static_cast<uint64_t>(done.actual_length) + 1;
}

uint64_t ClLibusbHIDInterface::Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs)
{
    if (m_pHandle == nullptr || pBuffer == nullptr || uiSize < 2)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    // Report id 0 means the device numbers no reports: only the bytes behind it travel.
    const uint8_t* pBytes = static_cast<const uint8_t*>(pBuffer);
    const bool bNumbered = pBytes[0] != 0;
    const uint8_t* pPayload = bNumbered ? pBytes : pBytes + 1;
    const uint64_t uiPayload = bNumbered ? uiSize : uiSize - 1;
    if (uiPayload > kReportBytes)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);

    if (m_ucOutEndpoint == 0) {
        const int nResult = m_pUsb->Usb().control_transfer(
            m_pHandle, LIBUSB_ENDPOINT_OUT | LIBUSB_REQUEST_TYPE_CLASS | LIBUSB_RECIPIENT_INTERFACE, kSetReport,
            static_cast<uint16_t>(kOutputReportType << 8 | pBytes[0]), static_cast<uint16_t>(m_nInterface),
            const_cast<uint8_t*>(pPayload), static_cast<uint16_t>(uiPayload), uiTimeoutMs);
        if (nResult == LIBUSB_ERROR_TIMEOUT)
            return 0;
        if (nResult < 0)
            throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
        return uiSize;
    }

    if (!m_write.bPending) {
        memcpy(m_write.aucData, pPayload, static_cast<size_t>(uiPayload));
        if (!Start(m_write, m_ucOutEndpoint, static_cast<uint32_t>(uiPayload)))
            throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    }
    const EWait eWait = WaitFor(m_write, uiTimeoutMs);
    if (eWait == EWait::eTimedOut)
        return 0;
    if (eWait == EWait::eFailed || m_write.pTransfer->status != LIBUSB_TRANSFER_COMPLETED)
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
    return uiSize;
}

bool ClLibusbHIDInterface::GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize)
{
    if (m_pHandle == nullptr || pBuffer == nullptr || uiSize > 0xFFFF)
        return false;
    const int nResult = m_pUsb->Usb().control_transfer(
        m_pHandle, LIBUSB_ENDPOINT_IN | LIBUSB_REQUEST_TYPE_STANDARD | LIBUSB_RECIPIENT_INTERFACE,
        LIBUSB_REQUEST_GET_DESCRIPTOR, static_cast<uint16_t>(KR9Wire::kPhysicalDescriptorType << 8),
        static_cast<uint16_t>(m_nInterface), static_cast<uint8_t*>(pBuffer), static_cast<uint16_t>(uiSize),
        kChunkTimeoutMs);
    return nResult >= 0 && static_cast<uint64_t>(nResult) == uiSize;
}
