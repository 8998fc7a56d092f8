#include "sdk/SystemMutex.h"

#include <cerrno>

#include "sdk/Exception.h"

ClSystemMutex::ClSystemMutex()
{
    pthread_mutexattr_t attributes;
    int nError = pthread_mutexattr_init(&attributes);
    if (nError == 0) {
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_NORMAL);
        nError = pthread_mutex_init(&m_mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    if (nError != 0)
        throw Qvn::CXSystemSpecificException(nError);
}

ClSystemMutex::~ClSystemMutex()
{
    pthread_mutex_destroy(&m_mutex);
}

void ClSystemMutex::Lock()
{
    const int nError = pthread_mutex_lock(&m_mutex);
    if (nError != 0) {
        // The exception takes the system's message from errno.
        errno = nError;
        throw ClExSystem("pthread_mutex_lock", KR9_SITE);
    }
}

void ClSystemMutex::Unlock()
{
    pthread_mutex_unlock(&m_mutex);
}
