// ClTpTripleBuffer: hands the newest item from one producer thread (the
// capture thread) to one consumer thread (the application's fetch) without
// either of them waiting for the other's copy.
//
// Three caller-supplied slots rotate between the roles write, ready and read.
// The mutex guards only the index work; the slots themselves are filled and
// read outside it, each side marked as locked meanwhile. The producer may run
// ahead and overwrite what nobody fetched: the consumer always gets the
// newest complete item, never a half-written one. No operation allocates or
// copies a T.
#pragma once

#include <cstdint>

#include <boost/chrono.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/mutex.hpp>

#include "sdk/Exception.h"

template <typename T>
class ClTpTripleBuffer
{
public:
    ClTpTripleBuffer() = default;
    ClTpTripleBuffer(const ClTpTripleBuffer&) = delete;
    ClTpTripleBuffer& operator=(const ClTpTripleBuffer&) = delete;
    // Wakes any waiter; waiters must be gone before the object is.
    virtual ~ClTpTripleBuffer()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        m_newData.notify_all();
    }

    // Binds the three slots (not owned) and forgets pending data. The indices
    // stay: the roles carry over to the new slots. ZRT_ERROR_INVALID_STATE
    // while a side is locked.
    void SetBuffers(T* pFirst, T* pSecond, T* pThird)
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        if (m_bReadLocked || m_bWriteLocked)
            throw ClException("cannot change buffer while it is locked", ZRT_ERROR_INVALID_STATE, true, KR9_SITE);
        m_apBuffers[0] = pFirst;
        m_apBuffers[1] = pSecond;
        m_apBuffers[2] = pThird;
        m_bNewData = false;
    }

    // The slot the producer fills next. ZRT_ERROR_INVALID_STATE when it already
    // holds one.
    T* LockWrite()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        if (m_bWriteLocked)
            throw ClException("write buffer already locked", ZRT_ERROR_INVALID_STATE, true, KR9_SITE);
        m_bWriteLocked = true;
        return m_apBuffers[m_nWriteIndex];
    }

    // The filled slot becomes the newest item; the producer moves on to a slot
    // the consumer does not hold.
    void Publish()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        const int32_t nOldReady = m_nReadyIndex;
        m_nReadyIndex = m_nWriteIndex;
        if (m_bReadLocked && m_nSavedReadIndex != m_nReadIndex) {
            // First publication during this read lock: the ready slot of the
            // lock's start is the one the consumer holds, so the producer takes
            // the spare one, and from now on alternates between the two others.
            m_nWriteIndex = m_nSavedReadIndex;
            m_nSavedReadIndex = m_nReadIndex;
        } else {
            m_nWriteIndex = nOldReady;
        }
        m_bWriteLocked = false;
        m_bNewData = true;
        m_newData.notify_all();
    }

    // The newest slot, for the consumer to read; consumes the new-data state.
    // Without a publication since the last read it yields the same item again.
    // ZRT_ERROR_INVALID_STATE when the consumer already holds a slot.
    T* LockRead()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        if (m_bReadLocked)
            throw ClException("read buffer already locked", ZRT_ERROR_INVALID_STATE, true, KR9_SITE);
        m_bReadLocked = true;
        m_nSavedReadIndex = m_nReadIndex;
        m_nReadIndex = m_nReadyIndex;
        m_bNewData = false;
        return m_apBuffers[m_nReadIndex];
    }

    // Gives the slot back; the slot read becomes the spare one.
    void UnlockRead()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        m_nReadIndex = m_nSavedReadIndex;
        m_bReadLocked = false;
    }

    bool HasNewData()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        return m_bNewData;
    }

    // Wakes the waiters first, so that a woken waiter that asks finds nothing.
    void ClearNewData()
    {
        boost::lock_guard<boost::mutex> lock(m_mutex);
        m_newData.notify_all();
        m_bNewData = false;
    }

    // True at once when new data is there; otherwise waits at most nMs
    // milliseconds and tells whether a signal (publication or clear) came.
    // The wait holds the member mutex from the test to the wait, so a
    // publication in between cannot be missed. Callers ask HasNewData
    // afterwards and do not act on the result.
    bool WaitForNewData(uint32_t nMs)
    {
        boost::unique_lock<boost::mutex> lock(m_mutex);
        if (m_bNewData)
            return true;
        const auto deadline = boost::chrono::steady_clock::now() + boost::chrono::milliseconds(nMs);
        return m_newData.wait_until(lock, deadline) == boost::cv_status::no_timeout;
    }

private:
    boost::mutex m_mutex;
    boost::condition_variable m_newData;
    bool m_bReadLocked = false;
    bool m_bWriteLocked = false;
    bool m_bNewData = false;
    // The consumer's slot while read locked, else the spare slot.
    int32_t m_nReadIndex = 2;
    // What the read index held before the read lock; after the first
    // publication during the lock, the slot the consumer holds.
    int32_t m_nSavedReadIndex = -1;
    int32_t m_nWriteIndex = 0;
    int32_t m_nReadyIndex = 1;
    T* m_apBuffers[3] = {nullptr, nullptr, nullptr};
};
