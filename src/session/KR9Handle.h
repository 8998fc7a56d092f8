// ClKR9Handle: the object behind one opened scanner, and the bridge between
// the capture thread, which produces images at the device's pace, and the
// application, which polls for them. Every session export calls one member.
//
// The only meeting point of the two threads is the triple buffer: the
// capture thread's callback fills the write slot, a fetch copies out of the
// read slot, and neither ever waits for the other's copy. Previews and final
// images share that one queue of depth one: the newest item wins.
#pragma once

#include <cstdint>
#include <memory>

#include "session/SDKHandleBase.h"
#include "sdk/TactiviewKR9.h"
#include "device/HIDInterface.h"
#include "device/InterprocessLock.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"
#include "session/KR9LiveCapture.h"
#include "session/TpTripleBuffer.h"

class ClKR9Handle
    : public TSDKHandleBase<ClKR9Handle, ClTactiviewKR9, TSDKHandleBaseBase<ClKR9Handle, ClTactiviewKR9>>
{
public:
    // One slot of the hand-over.
    struct StCallbackImage
    {
        ClImage image;         // the picture handed to the application
        ClImage mask;          // the finger mask of the event, kept, never handed out
        bool bFinal = false;   // the final (accepted) image of a capture
        int32_t nStatus = 0;   // 0, or the code of the failure that ended the capture thread
    };

    static constexpr uint64_t kImageWidth = 256;
    static constexpr uint64_t kImageHeight = 360;
    static constexpr uint64_t kImageDpi = 500;
    static constexpr uint32_t kFetchWaitMs = 10;
    static constexpr uint32_t kTriggerPauseMs = 10;
    static constexpr size_t kSerialNumberSize = 16;
    // The capture mode a handle starts in: no capture, pending data cleared.
    static constexpr int32_t kModeIdle = 3;

    ClKR9Handle() = default;
    // Lock first, then the triple buffer and the slots, then whatever Close
    // did not already end (the capture thread before the scanner).
    ~ClKR9Handle() override = default;

    // Takes the scanner's lock (ZRT_ERROR_DEVICE_OPEN_FAIL when another holder
    // has it), opens the device and builds the capture object. No thread runs
    // yet.
    void Open(const StHIDDeviceInfo& device);
    // Stops the capture thread, then the device. The lock stays until the object goes.
    void Close();

    // Mode 3 clears pending data and starts nothing; 0, 2, 4 and 5 start the
    // capture thread afresh; others raise ZRT_ERROR_UNSUPPORTED_FEATURE. The
    // mode is stored before it is judged, so a refused mode is reported by
    // GetCaptureMode and setting it again is a no-op that succeeds.
    void SetCaptureMode(int32_t nMode);
    void GetCaptureMode(int32_t* pnMode) const;

    // Waits up to 10 ms for a new item. With none, returns with *pnFinal 0 and
    // *pnStatus and the image buffer untouched. Otherwise writes the item's
    // status and, for status 0, copies the 92160 image bytes and the final flag.
    void GetImage(void* pImage, uint64_t* puiReserved, uint8_t* pnFinal, int32_t* pnStatus);

    // "KR9 " and the device's serial text, a bounded copy of 16 bytes padded
    // with zeros; a 16-character text has no terminator.
    void GetSerialNumber(char* pszSerial);
    // " FW: a.b.c.d LIB: 1.0.1.1751 FPGA: 0.0.0.0", without terminator;
    // *puiSize gets its length, ZRT_ERROR_SIZE_TOO_SMALL when it does not fit.
    void GetVersionString(char* pszVersion, uint64_t* puiSize);
    void GetImageSize(uint64_t* puiWidth, uint64_t* puiHeight) const;
    void GetImageDPI(uint64_t* puiDpiX, uint64_t* puiDpiY) const;
    // The device is not asked: both are always 0.
    void GetScannerCondition(uint32_t* puiCondition, uint32_t* puiSubCondition) const;
    // Sleeps 10 ms. The capture thread decides by itself when an image is final.
    void Trigger();

    // Runs on the capture thread for every event of ClKR9LiveCapture.
    virtual void OnCaptureEvent(int32_t nEvent, void* pData);

private:
    static void CaptureCallback(int32_t nEvent, void* pData, void* pUser);
    void StoreImages(const StCaptureImages& images, bool bFinal);
    void StoreStatus(int32_t nStatus);

    // Declared in the reverse of the order of destruction.
    std::unique_ptr<ClKR9Scanner> m_pScanner;
    std::unique_ptr<ClKR9LiveCapture> m_pCapture;
    int32_t m_nCaptureMode = kModeIdle;
    StCallbackImage m_aCallbackImages[3];
    ClTpTripleBuffer<StCallbackImage> m_TripleBuffer;
    std::unique_ptr<ClInterprocessLock> m_pDeviceLock;
};
