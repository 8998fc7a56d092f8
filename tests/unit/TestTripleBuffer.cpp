// The hand-over of the newest item between one producer and one consumer:
// which slot each side gets, misuse, the wait, and a real two-thread run.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "session/TpTripleBuffer.h"

namespace {

struct StItem
{
    int nSequence = 0;
    int anPayload[64] = {};
};

class TripleBuffer : public ::testing::Test
{
protected:
    void SetUp() override { m_buffer.SetBuffers(&m_aSlots[0], &m_aSlots[1], &m_aSlots[2]); }
    // The slot number of an item pointer.
    int Slot(const StItem* pItem) const { return static_cast<int>(pItem - m_aSlots); }
    void PublishSequence(int nSequence)
    {
        m_buffer.LockWrite()->nSequence = nSequence;
        m_buffer.Publish();
    }

    StItem m_aSlots[3];
    ClTpTripleBuffer<StItem> m_buffer;
};

TEST_F(TripleBuffer, SlotsRotateSoThatTheConsumersSlotIsNeverWritten)
{
    // From the initial roles (write 0, ready 1, spare 2).
    EXPECT_EQ(Slot(m_buffer.LockWrite()), 0);
    m_buffer.Publish();
    EXPECT_TRUE(m_buffer.HasNewData());
    EXPECT_EQ(Slot(m_buffer.LockRead()), 0) << "the consumer gets the item just published";
    EXPECT_FALSE(m_buffer.HasNewData());
    // While the consumer holds slot 0, the producer alternates between 1 and 2.
    for (int nExpected : {1, 2, 1, 2}) {
        EXPECT_EQ(Slot(m_buffer.LockWrite()), nExpected);
        m_buffer.Publish();
    }
    m_buffer.UnlockRead();
    EXPECT_EQ(Slot(m_buffer.LockRead()), 2) << "the newest item";
    m_buffer.UnlockRead();
    // Without a publication in between, a read yields the same item again.
    EXPECT_EQ(Slot(m_buffer.LockRead()), 2);
    EXPECT_EQ(Slot(m_buffer.LockWrite()), 1);
    m_buffer.UnlockRead();
}

TEST_F(TripleBuffer, ProducerRunsAheadAndTheConsumerGetsTheNewest)
{
    for (int nSequence = 1; nSequence <= 10; ++nSequence)
        PublishSequence(nSequence);
    EXPECT_TRUE(m_buffer.HasNewData());
    EXPECT_EQ(m_buffer.LockRead()->nSequence, 10);
    m_buffer.UnlockRead();

    PublishSequence(11);
    m_buffer.ClearNewData();
    EXPECT_FALSE(m_buffer.HasNewData());
    EXPECT_FALSE(m_buffer.WaitForNewData(1)) << "no signal within the limit";
    PublishSequence(12);
    EXPECT_TRUE(m_buffer.WaitForNewData(0)) << "new data is there at once";
}

TEST_F(TripleBuffer, LockingASideTwiceFailsAndChangesNothing)
{
    StItem aOther[3];
    auto rebind = [&] { m_buffer.SetBuffers(&aOther[0], &aOther[1], &aOther[2]); };
    StItem* pWritten = m_buffer.LockWrite();
    EXPECT_EQ(CodeOf([&] { m_buffer.LockWrite(); }, "write buffer already locked"), ZRT_ERROR_INVALID_STATE);
    EXPECT_EQ(CodeOf(rebind, "cannot change buffer while it is locked"), ZRT_ERROR_INVALID_STATE);
    pWritten->nSequence = 5;
    m_buffer.Publish();

    const StItem* pRead = m_buffer.LockRead();
    EXPECT_EQ(CodeOf([&] { m_buffer.LockRead(); }, "read buffer already locked"), ZRT_ERROR_INVALID_STATE);
    EXPECT_EQ(CodeOf(rebind), ZRT_ERROR_INVALID_STATE);
    EXPECT_EQ(pRead, pWritten) << "the refused calls kept the slots";
    m_buffer.UnlockRead();
}

TEST_F(TripleBuffer, TwoThreadsNeverShareASlotAndSequencesOnlyGrow)
{
    // Each item carries its sequence number in every field: a slot read while
    // it is written would show mixed numbers (and ThreadSanitizer would tell).
    constexpr int kItems = 20000;
    std::atomic<bool> bDone{false};
    std::thread producer([&] {
        for (int nSequence = 1; nSequence <= kItems; ++nSequence) {
            StItem* pItem = m_buffer.LockWrite();
            pItem->nSequence = nSequence;
            for (int& nField : pItem->anPayload)
                nField = nSequence;
            m_buffer.Publish();
        }
        bDone = true;
    });
    int nLast = 0;
    int nReads = 0;
    while (!bDone || m_buffer.HasNewData()) {
        m_buffer.WaitForNewData(1);
        if (!m_buffer.HasNewData())
            continue;
        const StItem* pItem = m_buffer.LockRead();
        const int nSequence = pItem->nSequence;
        for (int nField : pItem->anPayload)
            ASSERT_EQ(nField, nSequence);
        m_buffer.UnlockRead();
        ASSERT_GT(nSequence, nLast);
        nLast = nSequence;
        ++nReads;
    }
    producer.join();
    EXPECT_EQ(nLast, kItems) << "the last item is never lost";
    EXPECT_GT(nReads, 0);
}

}  // namespace
