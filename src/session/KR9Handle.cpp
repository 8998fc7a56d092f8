#include "session/KR9Handle.h"

#include <cstdio>
#include <cstring>
#include <string>

#include <boost/chrono.hpp>
#include <boost/thread/thread.hpp>

#include "sdk/Exception.h"
#include "sdk/SDKVersion.h"

namespace {

bool IsCapturingMode(int32_t nMode)
{
    // The four capturing modes behave alike; they have no names of their own.
    return nMode == 0 || nMode == 2 || nMode == 4 || nMode == 5;
}

}  // namespace

void ClKR9Handle::Open(const StHIDDeviceInfo& device)
{
    // The lock comes first: a scanner that another process drives is not even opened.
    m_pDeviceLock = std::make_unique<ClInterprocessLock>(device.m_strName);
    if (!m_pDeviceLock->Lock()) {
        m_pDeviceLock.reset();
        throw ClExQuorvane(ZRT_ERROR_DEVICE_OPEN_FAIL, KR9_SITE);
    }
    m_pScanner = std::make_unique<ClKR9Scanner>(device);
    m_pCapture = std::make_unique<ClKR9LiveCapture>(m_pScanner.get(), true);
}

void ClKR9Handle::Close()
{
    // The thread uses the scanner, so it goes first.
    m_pCapture.reset();
    m_pScanner.reset();
}

void ClKR9Handle::SetCaptureMode(int32_t nMode)
{
    if (nMode == m_nCaptureMode)
        return;
    m_TripleBuffer.ClearNewData();
    // Stored before it is judged, on purpose: a refused mode is what
    // GetCaptureMode reports, and setting it once more succeeds.
    m_nCaptureMode = nMode;
    if (nMode == kModeIdle)
        return;
    if (!IsCapturingMode(nMode))
        throw ClException("Capture mode not supported.", ZRT_ERROR_UNSUPPORTED_FEATURE, true, KR9_SITE);
    if (m_pCapture == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_STATE, KR9_SITE);
    // The old thread ends before the slots are bound again, so that nothing
    // it still publishes survives into the new capture.
    m_pCapture->Stop();
    m_TripleBuffer.SetBuffers(&m_aCallbackImages[0], &m_aCallbackImages[1], &m_aCallbackImages[2]);
    m_pCapture->Start(0, &ClKR9Handle::CaptureCallback, this);
}

void ClKR9Handle::GetCaptureMode(int32_t* pnMode) const
{
    if (pnMode == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *pnMode = m_nCaptureMode;
}

void ClKR9Handle::CaptureCallback(int32_t nEvent, void* pData, void* pUser)
{
    static_cast<ClKR9Handle*>(pUser)->OnCaptureEvent(nEvent, pData);
}

void ClKR9Handle::OnCaptureEvent(int32_t nEvent, void* pData)
{
    switch (nEvent) {
    case eCapturePreview:
    case eCaptureAccepted:
        if (pData != nullptr)
            StoreImages(*static_cast<const StCaptureImages*>(pData), nEvent == eCaptureAccepted);
        break;
    case eCaptureError:
        if (pData != nullptr)
            StoreStatus(static_cast<const ClException*>(pData)->GetCode());
        break;
    default:
        // Arrival, lift and the thread's end change nothing the application fetches.
        break;
    }
}

void ClKR9Handle::StoreImages(const StCaptureImages& images, bool bFinal)
{
    StCallbackImage* pSlot = m_TripleBuffer.LockWrite();
    try {
        pSlot->image = *images.pImage;
        // An idle preview has no mask: the slot keeps the last one.
        if (images.pMask != nullptr)
            pSlot->mask = *images.pMask;
    } catch (const std::exception&) {
        // A copy that failed half way must not reach the application as an
        // image, and the write side must not stay locked: the slot goes out
        // as a failure, and the capture thread ends on the exception.
        pSlot->nStatus = ZRT_ERROR_STD_EXCEPTION;
        m_TripleBuffer.Publish();
        throw;
    }
    pSlot->nStatus = 0;
    pSlot->bFinal = bFinal;
    m_TripleBuffer.Publish();
}

void ClKR9Handle::StoreStatus(int32_t nStatus)
{
    // Image, mask and final flag of the slot stay as they were: a status is
    // all the application reads of a failed item.
    StCallbackImage* pSlot = m_TripleBuffer.LockWrite();
    pSlot->nStatus = nStatus;
    m_TripleBuffer.Publish();
}

void ClKR9Handle::GetImage(void* pImage, uint64_t* puiReserved, uint8_t* pnFinal, int32_t* pnStatus)
{
    if (pImage == nullptr || puiReserved == nullptr || pnFinal == nullptr || pnStatus == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *puiReserved = 0;
    *pnFinal = 0;
    // The wait only saves the caller a busy loop; what counts is the test after it.
    m_TripleBuffer.WaitForNewData(kFetchWaitMs);
    if (!m_TripleBuffer.HasNewData())
        return;

    const StCallbackImage* pItem = m_TripleBuffer.LockRead();
    *pnStatus = pItem->nStatus;
    if (pItem->nStatus == 0 && pItem->image.Data() != nullptr) {
        const size_t uiBytes = static_cast<size_t>(pItem->image.Stride()) * static_cast<size_t>(pItem->image.Height());
        memcpy(pImage, pItem->image.Data(), uiBytes);
        *pnFinal = pItem->bFinal ? 1 : 0;
    }
    m_TripleBuffer.UnlockRead();
}

void ClKR9Handle::GetSerialNumber(char* pszSerial)
{
    if (pszSerial == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    if (m_pScanner == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_STATE, KR9_SITE);
    std::string strSerial;
    m_pScanner->GetSerialNumber(strSerial);
    // A bounded copy padded with zeros; a full field has no terminator.
    const size_t uiLength = strnlen(strSerial.c_str(), kSerialNumberSize);
    memset(pszSerial, 0, kSerialNumberSize);
    memcpy(pszSerial, strSerial.c_str(), uiLength);
}

void ClKR9Handle::GetVersionString(char* pszVersion, uint64_t* puiSize)
{
    if (puiSize == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    if (m_pScanner == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_STATE, KR9_SITE);
    uint32_t auiFirmware[4] = {0, 0, 0, 0};
    m_pScanner->GetFirmwareVersion(auiFirmware);
    // The board has no FPGA of its own; the field is kept for the text's readers.
    char szText[96];
    const int nLength = snprintf(szText, sizeof(szText), " FW: %u.%u.%u.%u LIB: %s FPGA: 0.0.0.0", auiFirmware[0],
                                 auiFirmware[1], auiFirmware[2], auiFirmware[3], KR9_SDK_VERSION_TEXT);
    const uint64_t uiLength = static_cast<uint64_t>(nLength);
    if (uiLength > *puiSize) {
        *puiSize = uiLength;
        throw ClExQuorvane(ZRT_ERROR_SIZE_TOO_SMALL, KR9_SITE);
    }
    *puiSize = uiLength;
    if (pszVersion == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    memcpy(pszVersion, szText, uiLength);
}

void ClKR9Handle::GetImageSize(uint64_t* puiWidth, uint64_t* puiHeight) const
{
    if (puiWidth == nullptr || puiHeight == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *puiWidth = kImageWidth;
    *puiHeight = kImageHeight;
}

void ClKR9Handle::GetImageDPI(uint64_t* puiDpiX, uint64_t* puiDpiY) const
{
    if (puiDpiX == nullptr || puiDpiY == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *puiDpiX = kImageDpi;
    *puiDpiY = kImageDpi;
}

void ClKR9Handle::GetScannerCondition(uint32_t* puiCondition, uint32_t* puiSubCondition) const
{
    if (puiCondition == nullptr || puiSubCondition == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *puiCondition = 0;
    *puiSubCondition = 0;
}

void ClKR9Handle::Trigger()
{
    boost::this_thread::sleep_for(boost::chrono::milliseconds(kTriggerPauseMs));
}
