// The reference-counted, process-wide instance of the SDK class. The first
// Acquire creates it, the last Release destroys it, and a process that exits
// with references still held is tidied up by an exit function.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "sdk/Exception.h"
#include "sdk/NeverDestroyed.h"
#include "sdk/SystemMutex.h"

template <class T>
class TpSingleton
{
public:
    virtual ~TpSingleton() = default;
    virtual void OnAfterCreate() = 0;
    virtual void OnBeforeDestroy() = 0;

    static T* Acquire();
    static void Release();

    // Unguarded plausibility test used when handles are issued.
    static bool IsInitialized() { return s_nReferenceCount.load(std::memory_order_relaxed) > 0; }
    static int64_t GetReferenceCount() { return s_nReferenceCount.load(std::memory_order_relaxed); }
    static T* GetInstance() { return s_pInstance; }

private:
    static void Decrement();
    static void DestroyAtExit();

    static T* s_pInstance;
    static std::atomic<int64_t> s_nReferenceCount;
    static bool s_bExitFunctionRegistered;
    // Never destroyed: threads may still initialise and release while the process exits.
    static TpNeverDestroyed<ClSystemMutex> s_mutex;
};

template <class T>
T* TpSingleton<T>::s_pInstance = nullptr;
template <class T>
std::atomic<int64_t> TpSingleton<T>::s_nReferenceCount{0};
template <class T>
bool TpSingleton<T>::s_bExitFunctionRegistered = false;
template <class T>
TpNeverDestroyed<ClSystemMutex> TpSingleton<T>::s_mutex;

template <class T>
T* TpSingleton<T>::Acquire()
{
    ClSystemMutexLock lock(s_mutex.Get());
    // Counted before the creation, so that a failed creation is undone by the same decrement as a release.
    s_nReferenceCount.fetch_add(1);
    if (s_pInstance == nullptr) {
        try {
            s_pInstance = new T();
            // One registration is enough: the exit function looks at whatever instance exists then.
            if (!s_bExitFunctionRegistered)
                s_bExitFunctionRegistered = atexit(&TpSingleton<T>::DestroyAtExit) == 0;
            T::InstallLogSink();
            s_pInstance->OnAfterCreate();
        } catch (const ClException& ex) {
            Decrement();
            throw ClException(ex);
        }
    }
    return s_pInstance;
}

template <class T>
void TpSingleton<T>::Release()
{
    ClSystemMutexLock lock(s_mutex.Get());
    Decrement();
}

template <class T>
void TpSingleton<T>::Decrement()
{
    if (s_nReferenceCount.load() == 0)
        throw ClException("No Singleton Instance exist multiple delete.", ZRT_ERROR_NOT_INITIALIZED, true, KR9_SITE);
    if (s_nReferenceCount.fetch_sub(1) == 1 && s_pInstance != nullptr) {
        T* pInstance = s_pInstance;
        pInstance->OnBeforeDestroy();
        delete pInstance;
        s_pInstance = nullptr;
    }
}

template <class T>
void TpSingleton<T>::DestroyAtExit()
{
    // Nothing may leave an exit function: the process would end in terminate().
    try {
        ClSystemMutexLock lock(s_mutex.Get());
        if (s_pInstance != nullptr) {
            s_pInstance->OnBeforeDestroy();
            delete s_pInstance;
            s_pInstance = nullptr;
            s_nReferenceCount.store(0);
        }
    } catch (const ClException&) {
    }
}
