#include "session/KR9LiveCapture.h"

#include <cstdlib>
#include <exception>

#include <boost/chrono.hpp>
#include <boost/thread/exceptions.hpp>

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"
#include "imaging/Histogram.h"
#include "processors/IpKR9Mask.h"

namespace {

// Pixels of at most this value count as finger; ClIpKR9Mask paints
// everything outside the finger area 255.
constexpr int32_t kDarkestNonFingerValue = 240;

}  // namespace

ClKR9LiveCapture::ClKR9LiveCapture(ClKR9Scanner* pScanner, bool bDeliverIdlePreview)
    : m_iMinPixelCount(25000),   // about 27 % of the sensor's 92160 pixels
      m_dMaxPixelChange(0.05),
      m_bForceCapture(false),
      m_bDeliverAccepted(true),
      m_bDeliverPreview(true),
      m_bDeliverIdlePreview(bDeliverIdlePreview),
      m_uiIdleSleepMs(150),
      m_pScanner(pScanner),
      m_iPixelCount(0),
      m_iPixelCountPrev(0),
      m_iPixelCountPrev2(0),
      m_pfnCallback(nullptr),
      m_pUser(nullptr)
{
}

ClKR9LiveCapture::~ClKR9LiveCapture()
{
    try {
        Stop();
    } catch (...) {
        // A destructor must not throw; a thread that cannot be joined is detached by boost::thread's own destructor.
    }
}

void ClKR9LiveCapture::Stop()
{
    if (!m_Thread.joinable())
        return;
    // The thread sees the request at the top of its next round; it never waits
    // for the application, so the join is bounded by one round.
    m_Thread.interrupt();
    m_Thread.join();
}

void ClKR9LiveCapture::Start(int32_t nMode, PFN_CAPTURE_CALLBACK pfnCallback, void* pUser)
{
    Stop();
    m_pfnCallback = pfnCallback;
    m_pUser = pUser;
    m_bForceCapture = false;
    if (nMode != 0)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    try {
        m_Thread = boost::thread(&ClKR9LiveCapture::Run, this);
    } catch (const boost::thread_resource_error& ex) {
        // Out of threads: a result for the caller, not an exception through the C interface.
        throw ClException(ex.what(), ZRT_ERROR_STD_EXCEPTION, true, KR9_SITE);
    }
}

bool ClKR9LiveCapture::IsFingerStable(const ClImage& image)
{
    ClHistogram histogram;
    m_iPixelCountPrev2 = m_iPixelCountPrev;
    m_iPixelCountPrev = m_iPixelCount;
    histogram.Create(image);
    int64_t nDark = 0;
    for (int32_t nBin = 0; nBin <= kDarkestNonFingerValue; ++nBin)
        nDark += histogram.m_aBins[nBin];
    const int32_t nCount = static_cast<int32_t>(nDark);
    m_iPixelCount = nCount;

    if (nCount <= m_iMinPixelCount || m_iPixelCountPrev <= m_iMinPixelCount || m_iPixelCountPrev2 <= m_iMinPixelCount)
        return false;
    // The newest count is the measure: both older ones must lie close to it.
    const int32_t nChange1 = std::abs(m_iPixelCountPrev - nCount);
    const int32_t nChange2 = std::abs(m_iPixelCountPrev2 - nCount);
    const int32_t nAllowed = static_cast<int32_t>(nCount * m_dMaxPixelChange);
    return nChange1 < nAllowed && nChange2 < nAllowed;
}

void ClKR9LiveCapture::Fire(int32_t nEvent, void* pData)
{
    if (m_pfnCallback != nullptr)
        m_pfnCallback(nEvent, pData, m_pUser);
}

void ClKR9LiveCapture::Run()
{
    // Nothing in this thread is cut short by an interrupt request (not the
    // idle pause, not a wait inside the device layer): stopping is by polling
    // at the top of each round, so a frame is never left half exchanged.
    boost::this_thread::disable_interruption interruptionOff;
    ClImage input;
    ClImage output;
    try {
        ClIpKR9Mask pipeline;
        uint32_t uiWidth = 0;
        uint32_t uiHeight = 0;
        m_pScanner->GetImageSize(&uiWidth, &uiHeight);
        input.Create(ClImage::uint8, static_cast<int32_t>(uiWidth), static_cast<int32_t>(uiHeight), 1, 0, 0, true);
        output.Create(ClImage::uint8, static_cast<int32_t>(uiWidth), static_cast<int32_t>(uiHeight), 1, 0, 0, true);
        RunRounds(input, output, pipeline);
    } catch (const ClException& ex) {
        ReportFailure(ex);
    } catch (const std::exception& ex) {
        // Out of memory and the like must not end the application's process:
        // they end the capture like any other failure.
        ReportFailure(ClException(ex.what(), ZRT_ERROR_STD_EXCEPTION, true, KR9_SITE));
    }
    try {
        Fire(eCaptureThreadEnd, nullptr);
    } catch (const std::exception&) {
        // The thread ends all the same; nothing is left to tell.
    }
}

void ClKR9LiveCapture::ReportFailure(const ClException& ex)
{
    try {
        ClSDKLogger::Log(eLogDebug, "Exception@ %s:%d: %s\n", ex.GetFile() != nullptr ? ex.GetFile() : "",
                         ex.GetLine(), ex.GetText() != nullptr ? ex.GetText() : "");
    } catch (const std::exception&) {
        // A log line that cannot be written must not keep the failure from the application.
    }
    try {
        Fire(eCaptureError, const_cast<ClException*>(&ex));
    } catch (const std::exception&) {
        // The receiver failed on the failure itself; event 5 still follows.
    }
}

void ClKR9LiveCapture::RunRounds(ClImage& input, ClImage& output, ClIpKR9Mask& pipeline)
{
    bool bFingerOn = false;
    while (!boost::this_thread::interruption_requested()) {
        const bool bPresent = m_pScanner->IsFingerPresent();
        if (!bPresent && !m_bForceCapture) {
            if (m_bDeliverIdlePreview) {
                input.Fill<unsigned char>(255);
                StCaptureImages images = {&input, nullptr};
                Fire(eCapturePreview, &images);
            }
            if (bFingerOn) {
                // The lift is reported at once; the pause comes with the next idle round.
                bFingerOn = false;
                Fire(eCaptureFingerGone, nullptr);
                continue;
            }
            if (m_uiIdleSleepMs != 0)
                boost::this_thread::sleep_for(boost::chrono::milliseconds(m_uiIdleSleepMs));
            continue;
        }
        if (!bFingerOn) {
            bFingerOn = true;
            Fire(eCaptureFingerArrived, nullptr);
        }
        RunFrameRound(input, output, pipeline);
    }
}

void ClKR9LiveCapture::RunFrameRound(ClImage& input, ClImage& output, ClIpKR9Mask& pipeline)
{
    // No pause here: the device's frame time paces the finger phase.
    m_pScanner->GetFrame(input, 0);
    const int32_t nStatus = pipeline.Run(&input, &output);
    if (nStatus != 0)
        throw ClExQuorvane(nStatus, KR9_SITE);

    bool bAccepted = false;
    const bool bStable = IsFingerStable(output);
    StCaptureImages images = {&output, &pipeline.m_Mask};
    if (bStable || m_bForceCapture) {
        bAccepted = true;
        m_bForceCapture = false;
        if (m_bDeliverAccepted)
            Fire(eCaptureAccepted, &images);
    }
    if (m_bDeliverPreview && !bAccepted)
        Fire(eCapturePreview, &images);
}
