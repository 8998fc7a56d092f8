// The transport seam of the device layer: list HID devices, open one, move
// 65-byte reports with time-outs, and fetch 4096-byte chunks of the device's
// physical descriptor (the image pipe). Everything above works against this
// class only; each platform or backend implements it in transport/.
#pragma once

#include <cstdint>
#include <list>
#include <string>

struct StHIDDeviceInfo
{
    int32_t m_iIndex = -1;          // position in the backend's enumeration
    std::string m_strPath;          // opens the device; its prefix names the backend
    std::string m_strName;          // the device's serial string, if it has one; replaced by the scanner layer
    uint16_t m_usVendorId = 0;
    uint16_t m_usProductId = 0;
};

// Owned by the caller; doubly linked so records can be dropped while walking.
using ClHIDDeviceList = std::list<StHIDDeviceInfo>;

class ClHIDInterface
{
public:
    virtual ~ClHIDInterface() = default;

    // Appends every HID device of this transport to the list.
    virtual void Enumerate(ClHIDDeviceList& devices) = 0;
    // Raises ZRT_ERROR_DEVICE_INTERNAL when the device cannot be opened.
    virtual void Open(const StHIDDeviceInfo& device) = 0;
    // Does nothing on a closed transport.
    virtual void Close() = 0;
    // One input report into buffer. 0 when nothing came within nTimeoutMs (a
    // negative time-out waits without limit); a read that timed out stays
    // outstanding and its report goes to the next Read. ZRT_ERROR_READ_FAIL
    // when the read cannot even start (device gone, transport closed).
    virtual uint64_t Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs) = 0;
    // One output report; 0 on time-out; ZRT_ERROR_WRITE_FAIL when the write
    // cannot start.
    virtual uint64_t Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs) = 0;
    // The next chunk of the device's data; false when the device did not deliver one.
    virtual bool GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize) = 0;
};
