// A plain, non-recursive operating-system mutex that is made by a static
// initialiser. If the system cannot make it, the library cannot work at all:
// the constructor raises Qvn::CXSystemSpecificException, which nothing catches.
// A lock that fails later raises ZRT_ERROR_FROM_SYSTEM_FUNCTION (ClExSystem),
// which the exported functions turn into their result like any other failure.
#pragma once

#include <pthread.h>

class ClSystemMutex
{
public:
    ClSystemMutex();
    ~ClSystemMutex();
    ClSystemMutex(const ClSystemMutex&) = delete;
    ClSystemMutex& operator=(const ClSystemMutex&) = delete;

    void Lock();     // waits without a time limit
    void Unlock();

private:
    pthread_mutex_t m_mutex;
};

// Holds a ClSystemMutex for one scope, also when an exception leaves it.
class ClSystemMutexLock
{
public:
    explicit ClSystemMutexLock(ClSystemMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~ClSystemMutexLock() { m_mutex.Unlock(); }
    ClSystemMutexLock(const ClSystemMutexLock&) = delete;
    ClSystemMutexLock& operator=(const ClSystemMutexLock&) = delete;

private:
    ClSystemMutex& m_mutex;
};
