#include "emulator/umockdev/KR9UmockdevBus.h"

#include <dlfcn.h>
#include <linux/ioctl.h>
#include <linux/usbdevice_fs.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <stdexcept>
#include <thread>

#include <umockdev.h>

#include "device/KR9DeviceIds.h"
#include "device/KR9WireProtocol.h"
#include "device/transport/LibusbHIDInterface.h"

namespace {

constexpr uint8_t kInEndpoint = 0x81;
constexpr uint8_t kOutEndpoint = 0x01;
constexpr uint8_t kSerialIndex = 3;
constexpr size_t kSetupBytes = 8;     // a control URB's buffer: setup packet, then the data
constexpr uint16_t kEnglishUs = 0x0409;

constexpr uint8_t kGetDescriptor = 6;
constexpr uint8_t kStringDescriptor = 3;
constexpr uint8_t kDeviceToHostStandardDevice = 0x80;
constexpr uint8_t kDeviceToHostStandardInterface = 0x81;

// The node is a plain file, so libusb polls it without pause while it waits;
// a short sleep before "nothing to reap" keeps a waiting test from spinning.
constexpr std::chrono::microseconds kIdleReap(300);

void AppendLe16(std::vector<uint8_t>& bytes, uint16_t usValue)
{
    bytes.push_back(static_cast<uint8_t>(usValue & 0xFF));
    bytes.push_back(static_cast<uint8_t>(usValue >> 8));
}

// Device, configuration, interface, HID and endpoint descriptors, as sysfs gives them to libusb.
std::vector<uint8_t> Descriptors(ClKR9UmockdevBus::StUsbIds ids, bool bScanner, bool bSerial)
{
    const uint8_t ucEndpoints = bScanner ? 2 : 1;
    std::vector<uint8_t> bytes = {18, 1, 0x00, 0x02, 0, 0, 0, 64};
    AppendLe16(bytes, ids.usVendorId);
    AppendLe16(bytes, ids.usProductId);
    bytes.insert(bytes.end(), {0x00, 0x01, 0, 0, static_cast<uint8_t>(bSerial ? kSerialIndex : 0), 1});
    const uint16_t usTotal = static_cast<uint16_t>(9 + 9 + 9 + 7 * ucEndpoints);
    bytes.insert(bytes.end(), {9, 2});
    AppendLe16(bytes, usTotal);
    bytes.insert(bytes.end(), {1, 1, 0, 0x80, 50});
    // A keyboard is of the boot subclass and protocol; the scanner of neither.
    bytes.insert(bytes.end(), {9, 4, 0, 0, ucEndpoints, 3, uint8_t(bScanner ? 0 : 1), uint8_t(bScanner ? 0 : 1), 0});
    bytes.insert(bytes.end(), {9, 0x21, 0x11, 0x01, 0, 1, 0x22, 34, 0});
    const uint8_t ucPacket = bScanner ? KR9Wire::kTravellingSize : 8;
    bytes.insert(bytes.end(), {7, 5, kInEndpoint, 3, ucPacket, 0, 1});
    if (bScanner)
        bytes.insert(bytes.end(), {7, 5, kOutEndpoint, 3, ucPacket, 0, 1});
    return bytes;
}

std::string Hex(const std::vector<uint8_t>& bytes)
{
    std::string strHex;
    char szByte[3];
    for (uint8_t b : bytes) {
        snprintf(szByte, sizeof(szByte), "%02x", b);
        strHex += szByte;
    }
    return strHex;
}

template <typename T>
T* DataAs(UMockdevIoctlData* pData)
{
    return reinterpret_cast<T*>(pData->data);
}

}  // namespace

// A submitted URB as umockdev resolved it: the struct and its buffer. Data go
// into the resolved copies, which umockdev writes back to the client when the
// reap completes.
struct StUrb
{
    UMockdevIoctlData* pUrb;
    UMockdevIoctlData* pBuffer;
};

// One open of the node: its own model connection and its own URBs.
struct ClKR9UmockdevDevice::StClient
{
    uint32_t uiConnection = 0;
    bool bConnected = false;
    std::deque<StUrb> pendingIn;   // interrupt IN URBs waiting for a report
    std::deque<StUrb> reapable;    // completed URBs, in order
};

// The usbfs side of one device, on umockdev's thread.
struct ClKR9UmockdevDevice::StHandler
{
    ClKR9UmockdevDevice* pDevice = nullptr;
    UMockdevIoctlBase* pBase = nullptr;
    std::mutex mutex;
    std::map<UMockdevIoctlClient*, StClient> clients;
    bool bDriverBound = true;
    UMockdevIoctlClient* pClaimedBy = nullptr;
    bool bUnplugged = false;

    ~StHandler()
    {
        for (auto& entry : clients)
            DropUrbs(entry.second);
        if (pBase != nullptr)
            g_object_unref(pBase);
    }

    static void DropUrbs(StClient& client)
    {
        for (auto* pList : {&client.pendingIn, &client.reapable}) {
            for (const StUrb& urb : *pList) {
                umockdev_ioctl_data_unref(urb.pBuffer);
                umockdev_ioctl_data_unref(urb.pUrb);
            }
            pList->clear();
        }
    }

    StClient& ClientOf(UMockdevIoctlClient* pClient)
    {
        StClient& client = clients[pClient];
        if (!client.bConnected && pDevice->m_pModel != nullptr)
            client.bConnected = pDevice->m_pModel->Connect(client.uiConnection);
        return client;
    }

    static void Complete(UMockdevIoctlClient* pClient, bool bOk, int nErrno = 0)
    {
        umockdev_ioctl_client_complete(pClient, bOk ? 0 : -1, bOk ? 0 : nErrno);
    }

    static int StatusOf(ClKR9DeviceModel::ETransfer eResult)
    {
        switch (eResult) {
        case ClKR9DeviceModel::ETransfer::eDone:
            return 0;
        case ClKR9DeviceModel::ETransfer::eTimedOut:
            return -EPIPE;   // the device stalls a request it has nothing for
        case ClKR9DeviceModel::ETransfer::eGone:
            break;
        }
        return -ESHUTDOWN;
    }

    // A control request, answered at once: fills the data part, gives the URB's status.
    int Control(StClient& client, uint8_t* pBuffer, int nLength, int& nActual)
    {
        const uint8_t ucType = pBuffer[0];
        const uint8_t ucRequest = pBuffer[1];
        const uint8_t ucIndex = pBuffer[2];
        const uint8_t ucDescriptor = pBuffer[3];
        const int nWanted = std::min(pBuffer[6] | pBuffer[7] << 8, nLength - static_cast<int>(kSetupBytes));
        uint8_t* pData = pBuffer + kSetupBytes;
        const std::shared_ptr<ClKR9DeviceModel>& pModel = pDevice->m_pModel;
        if (ucType == kDeviceToHostStandardDevice && ucRequest == kGetDescriptor && ucDescriptor == kStringDescriptor) {
            std::vector<uint8_t> answer;
            if (ucIndex == 0) {
                answer = {4, kStringDescriptor};
                AppendLe16(answer, kEnglishUs);
            } else if (ucIndex == kSerialIndex && pModel != nullptr) {
                answer = {static_cast<uint8_t>(2 + 2 * pModel->GetSerial().size()), kStringDescriptor};
                for (char c : pModel->GetSerial())
                    AppendLe16(answer, static_cast<uint8_t>(c));
            } else {
                return -EPIPE;
            }
            nActual = std::min(nWanted, static_cast<int>(answer.size()));
            memcpy(pData, answer.data(), static_cast<size_t>(nActual));
            return 0;
        }
        if (ucType == kDeviceToHostStandardInterface && ucRequest == kGetDescriptor &&
            ucDescriptor == KR9Wire::kPhysicalDescriptorType && pModel != nullptr && client.bConnected) {
            const int nStatus = StatusOf(pModel->FetchChunk(client.uiConnection, pData, static_cast<uint64_t>(nWanted)));
            nActual = nStatus == 0 ? nWanted : 0;
            return nStatus;
        }
        return -EPIPE;
    }

    void Submit(UMockdevIoctlClient* pClient, StClient& client)
    {
        UMockdevIoctlData* pUrbData =
            umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(pClient), 0, sizeof(usbdevfs_urb), nullptr);
        if (pUrbData == nullptr)
            return Complete(pClient, false, EFAULT);
        usbdevfs_urb* pUrb = DataAs<usbdevfs_urb>(pUrbData);
        UMockdevIoctlData* pBuffer = umockdev_ioctl_data_resolve(pUrbData, offsetof(usbdevfs_urb, buffer),
                                                                 static_cast<gsize>(pUrb->buffer_length), nullptr);
        if (pBuffer == nullptr) {
            umockdev_ioctl_data_unref(pUrbData);
            return Complete(pClient, false, EFAULT);
        }
        const std::shared_ptr<ClKR9DeviceModel>& pModel = pDevice->m_pModel;
        pUrb->actual_length = 0;
        pUrb->status = 0;
        bool bQueued = false;
        if (pUrb->type == USBDEVFS_URB_TYPE_CONTROL && pUrb->buffer_length >= static_cast<int>(kSetupBytes)) {
            pUrb->status = Control(client, pBuffer->data, pUrb->buffer_length, pUrb->actual_length);
        } else if (pUrb->type == USBDEVFS_URB_TYPE_INTERRUPT && pUrb->endpoint == kInEndpoint) {
            client.pendingIn.push_back({pUrbData, pBuffer});
            bQueued = true;
        } else if (pUrb->type == USBDEVFS_URB_TYPE_INTERRUPT && pUrb->endpoint == kOutEndpoint && pModel != nullptr &&
                   client.bConnected) {
            ClKR9DeviceModel::Report report{};
            memcpy(report.data(), pBuffer->data, std::min<size_t>(report.size(), static_cast<size_t>(pUrb->buffer_length)));
            pUrb->status = StatusOf(pModel->ReceiveOutputReport(client.uiConnection, report.data()));
            pUrb->actual_length = pUrb->status == 0 ? pUrb->buffer_length : 0;
        } else {
            pUrb->status = -EPIPE;
        }
        if (!bQueued)
            client.reapable.push_back({pUrbData, pBuffer});
        Complete(pClient, true);
    }

    void Reap(UMockdevIoctlClient* pClient, StClient& client)
    {
        const std::shared_ptr<ClKR9DeviceModel>& pModel = pDevice->m_pModel;
        if (client.reapable.empty() && !client.pendingIn.empty() && pModel != nullptr && client.bConnected) {
            const StUrb urb = client.pendingIn.front();
            usbdevfs_urb* pUrb = DataAs<usbdevfs_urb>(urb.pUrb);
            ClKR9DeviceModel::Report report;
            const ClKR9DeviceModel::ETransfer eResult = pModel->WaitForInputReport(client.uiConnection, report.data(), 0);
            if (eResult != ClKR9DeviceModel::ETransfer::eTimedOut) {
                pUrb->status = StatusOf(eResult);
                if (pUrb->status == 0) {
                    pUrb->actual_length = std::min<int>(pUrb->buffer_length, static_cast<int>(report.size()));
                    memcpy(urb.pBuffer->data, report.data(), static_cast<size_t>(pUrb->actual_length));
                }
                client.pendingIn.pop_front();
                client.reapable.push_back(urb);
            }
        }
        if (client.reapable.empty()) {
            if (bUnplugged)
                return Complete(pClient, false, ENODEV);
            std::this_thread::sleep_for(kIdleReap);
            return Complete(pClient, false, EAGAIN);
        }
        const StUrb urb = client.reapable.front();
        client.reapable.pop_front();
        UMockdevIoctlData* pTarget =
            umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(pClient), 0, sizeof(gpointer), nullptr);
        umockdev_ioctl_data_set_ptr(pTarget, 0, urb.pUrb);
        umockdev_ioctl_data_unref(pTarget);
        umockdev_ioctl_data_unref(urb.pBuffer);
        umockdev_ioctl_data_unref(urb.pUrb);
        Complete(pClient, true);
    }

    void Discard(UMockdevIoctlClient* pClient, StClient& client)
    {
        const gulong ulAddress = *reinterpret_cast<gulong*>(umockdev_ioctl_client_get_arg(pClient)->data);
        for (auto it = client.pendingIn.begin(); it != client.pendingIn.end(); ++it) {
            if (it->pUrb->client_addr != ulAddress)
                continue;
            DataAs<usbdevfs_urb>(it->pUrb)->status = -ENOENT;
            client.reapable.push_back(*it);
            client.pendingIn.erase(it);
            return Complete(pClient, true);
        }
        Complete(pClient, false, EINVAL);
    }

    // Kernel driver questions: which driver holds the interface, let it go, take it back.
    void Driver(UMockdevIoctlClient* pClient, unsigned long ulRequest)
    {
        UMockdevIoctlData* pArg = umockdev_ioctl_client_get_arg(pClient);
        if (ulRequest == USBDEVFS_GETDRIVER) {
            UMockdevIoctlData* pQuery = umockdev_ioctl_data_resolve(pArg, 0, sizeof(usbdevfs_getdriver), nullptr);
            if (bDriverBound)
                snprintf(DataAs<usbdevfs_getdriver>(pQuery)->driver, USBDEVFS_MAXDRIVERNAME, "usbhid");
            umockdev_ioctl_data_unref(pQuery);
            return Complete(pClient, bDriverBound, ENODATA);
        }
        UMockdevIoctlData* pCommand = umockdev_ioctl_data_resolve(pArg, 0, sizeof(usbdevfs_ioctl), nullptr);
        const int nCode = DataAs<usbdevfs_ioctl>(pCommand)->ioctl_code;
        umockdev_ioctl_data_unref(pCommand);
        if (nCode == static_cast<int>(USBDEVFS_DISCONNECT)) {
            const bool bWasBound = bDriverBound;
            bDriverBound = false;
            return Complete(pClient, bWasBound, ENODATA);
        }
        if (nCode == static_cast<int>(USBDEVFS_CONNECT)) {
            if (pClaimedBy != nullptr)
                return Complete(pClient, false, EBUSY);
            bDriverBound = true;
            // The kernel answers 1 when a driver took the interface.
            return umockdev_ioctl_client_complete(pClient, 1, 0);
        }
        Complete(pClient, false, EINVAL);
    }

    gboolean Handle(UMockdevIoctlClient* pClient)
    {
        std::lock_guard<std::mutex> lock(mutex);
        StClient& client = ClientOf(pClient);
        const unsigned long ulRequest = umockdev_ioctl_client_get_request(pClient);
        if (bUnplugged && ulRequest != USBDEVFS_REAPURBNDELAY && ulRequest != USBDEVFS_REAPURB) {
            Complete(pClient, false, ENODEV);
            return TRUE;
        }
        switch (ulRequest) {
        case USBDEVFS_GET_CAPABILITIES: {
            UMockdevIoctlData* pCaps =
                umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(pClient), 0, sizeof(uint32_t), nullptr);
            *DataAs<uint32_t>(pCaps) = USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
            umockdev_ioctl_data_unref(pCaps);
            Complete(pClient, true);
            break;
        }
        case USBDEVFS_CLAIMINTERFACE:
            // As the kernel: no claim while another driver holds the interface.
            if (bDriverBound || (pClaimedBy != nullptr && pClaimedBy != pClient)) {
                Complete(pClient, false, EBUSY);
            } else {
                pClaimedBy = pClient;
                Complete(pClient, true);
            }
            break;
        case USBDEVFS_RELEASEINTERFACE:
            if (pClaimedBy == pClient)
                pClaimedBy = nullptr;
            Complete(pClient, true);
            break;
        case USBDEVFS_SUBMITURB:
            Submit(pClient, client);
            break;
        case USBDEVFS_REAPURB:
        case USBDEVFS_REAPURBNDELAY:
            Reap(pClient, client);
            break;
        case USBDEVFS_DISCARDURB:
            Discard(pClient, client);
            break;
        case USBDEVFS_GETDRIVER:
        case USBDEVFS_IOCTL:
            Driver(pClient, ulRequest);
            break;
        default:
            return FALSE;
        }
        return TRUE;
    }

    void Vanish(UMockdevIoctlClient* pClient)
    {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = clients.find(pClient);
        if (it == clients.end())
            return;
        if (it->second.bConnected)
            pDevice->m_pModel->Disconnect(it->second.uiConnection);
        DropUrbs(it->second);
        if (pClaimedBy == pClient)
            pClaimedBy = nullptr;
        clients.erase(it);
    }

    static gboolean OnIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pSelf)
    {
        return static_cast<StHandler*>(pSelf)->Handle(pClient);
    }

    static void OnVanished(UMockdevIoctlBase*, UMockdevIoctlClient* pClient, gpointer pSelf)
    {
        static_cast<StHandler*>(pSelf)->Vanish(pClient);
    }
};

// ---- ClKR9UmockdevDevice ---------------------------------------------------------------

ClKR9UmockdevDevice::~ClKR9UmockdevDevice() = default;

bool ClKR9UmockdevDevice::DriverBound()
{
    std::lock_guard<std::mutex> lock(m_pHandler->mutex);
    return m_pHandler->bDriverBound;
}

bool ClKR9UmockdevDevice::Claimed()
{
    std::lock_guard<std::mutex> lock(m_pHandler->mutex);
    return m_pHandler->pClaimedBy != nullptr;
}

// ---- ClKR9UmockdevBus ------------------------------------------------------------------

bool ClKR9UmockdevBus::PreloadActive()
{
    void* pPreload = dlopen("libumockdev-preload.so.0", RTLD_NOLOAD | RTLD_LAZY);
    if (pPreload == nullptr)
        return false;
    dlclose(pPreload);
    return true;
}

void ClKR9UmockdevBus::StTestbedRelease::operator()(UMockdevTestbed* pTestbed) const
{
    g_object_unref(pTestbed);
}

ClKR9UmockdevBus::ClKR9UmockdevBus()
{
    // A context made before the testbed would have looked at the real system.
    ClLibusbContext::Release();
    m_pTestbed.reset(umockdev_testbed_new());
    if (m_pTestbed == nullptr || !umockdev_in_mock_environment())
        throw std::runtime_error("umockdev testbed not in effect (is the preload library loaded?)");
}

ClKR9UmockdevBus::~ClKR9UmockdevBus()
{
    // libusb must let go of the devices before they vanish.
    ClLibusbContext::Release();
    for (const auto& pDevice : m_devices)
        umockdev_testbed_detach_ioctl(m_pTestbed.get(), pDevice->m_strNode.c_str(), nullptr);
    m_devices.clear();
}

ClKR9UmockdevDevice& ClKR9UmockdevBus::AddScanner(std::shared_ptr<ClKR9DeviceModel> pModel)
{
    return Add(std::move(pModel), {KR9_USB_VENDOR_ID, KR9_USB_PRODUCT_ID});
}

ClKR9UmockdevDevice& ClKR9UmockdevBus::AddOtherHidDevice(StUsbIds ids)
{
    return Add(nullptr, ids);
}

ClKR9UmockdevDevice& ClKR9UmockdevBus::Add(std::shared_ptr<ClKR9DeviceModel> pModel, StUsbIds ids)
{
    const uint32_t uiNumber = m_uiNextDeviceNumber++;
    std::unique_ptr<ClKR9UmockdevDevice> pDevice(new ClKR9UmockdevDevice());
    pDevice->m_pModel = std::move(pModel);
    pDevice->m_ids = ids;
    // The device number doubles as the root port: every device gets a place of its own.
    pDevice->m_strPath = "usb:1-" + std::to_string(uiNumber) + ":1.0";
    char szNode[32];
    snprintf(szNode, sizeof(szNode), "bus/usb/001/%03u", uiNumber);
    pDevice->m_strNode = std::string("/dev/") + szNode;
    pDevice->m_strSysPath = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-" + std::to_string(uiNumber);

    pDevice->m_pHandler = std::make_unique<ClKR9UmockdevDevice::StHandler>();
    ClKR9UmockdevDevice::StHandler& handler = *pDevice->m_pHandler;
    handler.pDevice = pDevice.get();
    handler.pBase = umockdev_ioctl_base_new();
    g_signal_connect_after(handler.pBase, "handle-ioctl", G_CALLBACK(&ClKR9UmockdevDevice::StHandler::OnIoctl), &handler);
    g_signal_connect(handler.pBase, "client-vanished", G_CALLBACK(&ClKR9UmockdevDevice::StHandler::OnVanished), &handler);
    // The handler is in place before the device appears, so an open right after the "add" finds it.
    if (!umockdev_testbed_attach_ioctl(m_pTestbed.get(), pDevice->m_strNode.c_str(), handler.pBase, nullptr))
        throw std::runtime_error("cannot attach the usbfs handler to " + pDevice->m_strNode);

    const bool bSerial = pDevice->m_pModel != nullptr && !pDevice->m_pModel->GetSerial().empty();
    char szRecord[2048];
    snprintf(szRecord, sizeof(szRecord),
             "P: %s\nN: %s\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: DRIVER=usb\nE: BUSNUM=001\nE: DEVNUM=%03u\n"
             "E: DEVNAME=/dev/%s\nA: busnum=1\\n\nA: devnum=%u\\n\nA: speed=12\\n\nA: bConfigurationValue=1\\n\n"
             "A: idVendor=%04x\\n\nA: idProduct=%04x\\n\nH: descriptors=%s\n",
             pDevice->m_strSysPath.substr(strlen("/sys")).c_str(), szNode, uiNumber, szNode, uiNumber, ids.usVendorId,
             ids.usProductId, Hex(Descriptors(ids, pDevice->m_pModel != nullptr, bSerial)).c_str());
    GError* pError = nullptr;
    if (!umockdev_testbed_add_from_string(m_pTestbed.get(), szRecord, &pError)) {
        const std::string strError = pError != nullptr ? pError->message : "unknown error";
        g_clear_error(&pError);
        throw std::runtime_error("cannot add the device: " + strError);
    }
    m_devices.push_back(std::move(pDevice));
    return *m_devices.back();
}

void ClKR9UmockdevBus::Unplug(ClKR9UmockdevDevice& device)
{
    {
        ClKR9UmockdevDevice::StHandler& handler = *device.m_pHandler;
        std::lock_guard<std::mutex> lock(handler.mutex);
        handler.bUnplugged = true;
        // The node never reports an error to poll, so the transfers under way end the way the
        // kernel ends them at a disconnect, and everything after finds no device.
        for (auto& entry : handler.clients) {
            for (const StUrb& urb : entry.second.pendingIn) {
                DataAs<usbdevfs_urb>(urb.pUrb)->status = -ESHUTDOWN;
                entry.second.reapable.push_back(urb);
            }
            entry.second.pendingIn.clear();
        }
    }
    if (device.m_pModel != nullptr)
        device.m_pModel->Unplug();
    // umockdev removes the record without telling udev's listeners.
    umockdev_testbed_uevent(m_pTestbed.get(), device.m_strSysPath.c_str(), "remove");
    umockdev_testbed_remove_device(m_pTestbed.get(), device.m_strSysPath.c_str());
}
