// ClKR9LiveCapture: the one background thread of an open scanner.
//
// The thread polls the device for a finger. While there is none it sends a
// white preview now and then; while there is one it grabs 8-bit frames, turns
// each through ClIpKR9Mask into the output image and the finger mask, judges
// whether the finger has settled, and reports the frame as accepted or as a
// preview. Everything goes out through one callback with six event codes; the
// loop knows nothing of buffers, exported calls or capture modes.
#pragma once

#include <cstdint>

#include <boost/thread/thread.hpp>

class ClException;
class ClImage;
class ClIpKR9Mask;
class ClKR9Scanner;

// The events of the capture thread, in the order a capture meets them.
enum ECaptureEvent : int32_t
{
    eCaptureFingerArrived = 0,   // payload null; before the first frame of a finger phase
    eCapturePreview = 1,         // StCaptureImages; a frame not accepted, or a white idle picture
    eCaptureAccepted = 2,        // StCaptureImages; a frame the decision accepted
    eCaptureFingerGone = 3,      // payload null; the first idle round after a finger phase
    eCaptureError = 4,           // the ClException that ended the thread
    eCaptureThreadEnd = 5,       // payload null; always the thread's last event
};

// Payload of the image events: the thread's own images, valid only for the
// length of the callback. The second is null for an idle preview.
struct StCaptureImages
{
    ClImage* pImage;
    ClImage* pMask;
};

class ClKR9LiveCapture
{
public:
    // Runs on the capture thread; must not join it.
    typedef void (*PFN_CAPTURE_CALLBACK)(int32_t nEvent, void* pData, void* pUser);

    // The scanner is borrowed and must outlive this object. bDeliverIdlePreview
    // sends a white preview in each round without a finger.
    ClKR9LiveCapture(ClKR9Scanner* pScanner, bool bDeliverIdlePreview);
    // Stops and joins the thread.
    virtual ~ClKR9LiveCapture();
    ClKR9LiveCapture(const ClKR9LiveCapture&) = delete;
    ClKR9LiveCapture& operator=(const ClKR9LiveCapture&) = delete;

    // Stops a running thread and waits for it, takes the callback, and for mode
    // 0 starts a new thread. Any other mode raises ZRT_ERROR_INVALID_PARAMETER
    // and leaves no thread running, the new callback in place.
    void Start(int32_t nMode, PFN_CAPTURE_CALLBACK pfnCallback, void* pUser);
    // Asks a running thread to stop and waits for it: at most one idle pause
    // and one command exchange, or the rest of the current frame.
    void Stop();

    // The decision on one output image of ClIpKR9Mask: true when more than
    // m_iMinPixelCount pixels are dark (at most 240) in this frame and the two
    // before it, and both earlier counts differ from this one by less than
    // m_dMaxPixelChange of it. Shifts the count history, which only the
    // constructor clears: the last frames of one finger phase stand in for the
    // first ones of the next.
    bool IsFingerStable(const ClImage& image);

private:
    // The thread body: rounds until a stop is requested or a ClException ends it.
    void Run();
    void RunRounds(ClImage& input, ClImage& output, ClIpKR9Mask& pipeline);
    // One frame of a finger phase: grab, pipeline, decision, event 2 or 1.
    void RunFrameRound(ClImage& input, ClImage& output, ClIpKR9Mask& pipeline);
    // The log line and event 4 of a failure that ends the thread.
    void ReportFailure(const ClException& ex);
    void Fire(int32_t nEvent, void* pData);

    int32_t m_iMinPixelCount;
    double m_dMaxPixelChange;
    // Treats the next round as a finger round whose frame is accepted. Nothing
    // sets it yet: it is kept for a trigger that forces a capture.
    bool m_bForceCapture;
    bool m_bDeliverAccepted;
    bool m_bDeliverPreview;
    bool m_bDeliverIdlePreview;
    // Pause between polls while idle; 0 means none.
    uint64_t m_uiIdleSleepMs;
    ClKR9Scanner* m_pScanner;
    int32_t m_iPixelCount;
    int32_t m_iPixelCountPrev;
    int32_t m_iPixelCountPrev2;
    boost::thread m_Thread;
    PFN_CAPTURE_CALLBACK m_pfnCallback;
    void* m_pUser;
};
