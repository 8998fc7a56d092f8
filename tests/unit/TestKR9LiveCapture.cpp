// The capture thread against a virtual scanner, seen through its events, and
// the steadiness decision on images with known finger areas.
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/NistFrame.h"
#include "sdk/SDKLogger.h"
#include "common/VirtualScanner.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"
#include "session/KR9LiveCapture.h"

namespace {

// An output image with nDark pixels of the value ucDark and 255 elsewhere.
void FillFingerArea(ClImage& image, int32_t nDark, uint8_t ucDark = 0)
{
    image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    image.Fill<unsigned char>(255);
    std::fill(image.Data(), image.Data() + nDark, ucDark);
}

TEST(FingerStable, NeedsThreeLargeCountsCloseToTheNewest)
{
    struct StCase
    {
        std::vector<int32_t> counts;   // oldest first
        bool bStable;                  // the answer for the newest
    };
    const StCase cases[] = {
        {{30000, 30000, 30000}, true},
        {{30000, 30000, 31500}, true},    // allowed 1575, changes 1500
        {{30000, 30000, 31579}, false},   // allowed 1578, changes 1579
        {{30000, 31500, 30000}, false},   // allowed 1500: strictly less is needed
        {{25001, 25001, 25001}, true},
        {{25001, 25001, 25000}, false},   // every one of the three counts must exceed 25000
        {{25001, 25000, 25001}, false},
        {{25000, 25001, 25001}, false},
        {{0, 30000, 30000}, false},
        {{30000, 30000}, false},          // two frames of history are not enough
    };
    for (const StCase& test : cases) {
        ClKR9LiveCapture capture(nullptr, true);
        ClImage image;
        bool bStable = false;
        for (int32_t nCount : test.counts) {
            FillFingerArea(image, nCount);
            bStable = capture.IsFingerStable(image);
        }
        EXPECT_EQ(bStable, test.bStable) << ::testing::PrintToString(test.counts);
    }

    // 240 is finger, 241 is not; the history carries on from frame to frame.
    ClKR9LiveCapture capture(nullptr, true);
    ClImage image;
    FillFingerArea(image, 30000, 240);
    capture.IsFingerStable(image);
    capture.IsFingerStable(image);
    EXPECT_TRUE(capture.IsFingerStable(image));
    FillFingerArea(image, 30000, 241);
    EXPECT_FALSE(capture.IsFingerStable(image));
}

struct StEvent
{
    int32_t nEvent;
    bool bMask;        // an image event with a second picture
    int32_t nCode;     // the code of an error event
};

// Records the events of a capture thread; the test waits for them.
class ClEventRecorder
{
public:
    static void Callback(int32_t nEvent, void* pData, void* pUser)
    {
        auto* pRecorder = static_cast<ClEventRecorder*>(pUser);
        StEvent event{nEvent, false, 0};
        if (nEvent == eCapturePreview || nEvent == eCaptureAccepted)
            event.bMask = static_cast<StCaptureImages*>(pData)->pMask != nullptr;
        if (nEvent == eCaptureError)
            event.nCode = static_cast<ClException*>(pData)->GetCode();
        std::lock_guard<std::mutex> lock(pRecorder->m_mutex);
        pRecorder->m_events.push_back(event);
        pRecorder->m_changed.notify_all();
    }

    // Waits (10 s at most) until the events since nFrom contain nEvent; its index, or -1.
    int WaitFor(int32_t nEvent, size_t uiFrom = 0)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        int nIndex = -1;
        m_changed.wait_for(lock, std::chrono::seconds(10), [&] {
            for (size_t i = uiFrom; i < m_events.size(); ++i)
                if (m_events[i].nEvent == nEvent)
                    return (nIndex = static_cast<int>(i)) >= 0;
            return false;
        });
        return nIndex;
    }

    std::vector<StEvent> Events()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<StEvent> m_events;
};

class LiveCapture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::vector<uint8_t> frame = ReadNistFrame("loop-right");
        ASSERT_FALSE(frame.empty());
        m_device.Model().SetFrames(frame.data(), 1);
        m_pScanner = std::make_unique<ClKR9Scanner>(m_device.Info());
        m_pCapture = std::make_unique<ClKR9LiveCapture>(m_pScanner.get(), true);
    }

    ClVirtualScanner m_device{"LIVE0"};
    std::unique_ptr<ClKR9Scanner> m_pScanner;
    std::unique_ptr<ClKR9LiveCapture> m_pCapture;
    ClEventRecorder m_recorder;
};

TEST_F(LiveCapture, EventsFollowTheFingerThroughTwoPhases)
{
    m_device.Model().SetFingerPresent(true);
    m_pCapture->Start(0, &ClEventRecorder::Callback, &m_recorder);
    ASSERT_GE(m_recorder.WaitFor(eCaptureAccepted), 0);
    m_device.Model().SetFingerPresent(false);
    const int nGone = m_recorder.WaitFor(eCaptureFingerGone);
    ASSERT_GE(nGone, 0);
    m_device.Model().SetFingerPresent(true);
    const int nBack = m_recorder.WaitFor(eCaptureFingerArrived, nGone);
    ASSERT_GE(nBack, 0);
    ASSERT_GE(m_recorder.WaitFor(eCaptureAccepted, nBack), 0);
    m_pCapture->Stop();
    const std::vector<StEvent> events = m_recorder.Events();

    // A new capture object has no history: two previews before the first accepted frame.
    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ(events[0].nEvent, eCaptureFingerArrived);
    EXPECT_EQ(events[1].nEvent, eCapturePreview);
    EXPECT_EQ(events[2].nEvent, eCapturePreview);
    EXPECT_EQ(events[3].nEvent, eCaptureAccepted);
    // The lift: a white preview without mask, then the finger-gone event.
    EXPECT_EQ(events[nGone - 1].nEvent, eCapturePreview);
    EXPECT_FALSE(events[nGone - 1].bMask);
    // The history survives the lift: the first frame of the new phase is accepted at once.
    EXPECT_EQ(events[nBack + 1].nEvent, eCaptureAccepted);
    EXPECT_EQ(events.back().nEvent, eCaptureThreadEnd);

    // Exactly one image event per grabbed frame, each with its mask.
    size_t uiFrameEvents = 0;
    for (const StEvent& event : events) {
        EXPECT_NE(event.nEvent, eCaptureError);
        uiFrameEvents += event.bMask ? 1 : 0;
    }
    EXPECT_EQ(uiFrameEvents, m_device.Stats().commandsById[KR9Wire::eGrabFrame8]);
}

std::string g_strLogged;
void RecordLogLine(int32_t /*nLevel*/, const char* pszText)
{
    g_strLogged += pszText;
}

TEST_F(LiveCapture, FailureEndsTheThreadWithALogLineAndEvents4And5)
{
    ClSDKLogger::SetSink(&RecordLogLine);
    m_device.Model().SetFingerPresent(true);
    m_pCapture->Start(0, &ClEventRecorder::Callback, &m_recorder);
    ASSERT_GE(m_recorder.WaitFor(eCapturePreview), 0);
    m_device.Unplug();
    const int nError = m_recorder.WaitFor(eCaptureError);
    ASSERT_GE(m_recorder.WaitFor(eCaptureThreadEnd), 0);
    m_pCapture->Stop();
    ClSDKLogger::SetSink(nullptr);

    const std::vector<StEvent> events = m_recorder.Events();
    ASSERT_GE(nError, 0);
    EXPECT_LT(events[nError].nCode, 0);
    ASSERT_EQ(events.size(), static_cast<size_t>(nError) + 2) << "event 5 follows, and no finger-gone event";
    EXPECT_EQ(events.back().nEvent, eCaptureThreadEnd);
    EXPECT_EQ(g_strLogged.rfind("Exception@ ", 0), 0u) << g_strLogged;
    EXPECT_NE(g_strLogged.find(".cpp:"), std::string::npos) << g_strLogged;
}

TEST_F(LiveCapture, OnlyModeZeroStartsAThread)
{
    m_pCapture->Start(0, &ClEventRecorder::Callback, &m_recorder);
    ASSERT_GE(m_recorder.WaitFor(eCapturePreview), 0);
    EXPECT_EQ(CodeOf([&] { m_pCapture->Start(1, &ClEventRecorder::Callback, &m_recorder); }),
              ZRT_ERROR_INVALID_PARAMETER);
    // The old thread was stopped and no new one runs: nothing follows its end.
    const std::vector<StEvent> events = m_recorder.Events();
    EXPECT_EQ(events.back().nEvent, eCaptureThreadEnd);
    m_device.Model().SetFingerPresent(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(m_recorder.Events().size(), events.size());
}

}  // namespace
