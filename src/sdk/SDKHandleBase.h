// Base classes of the object behind a handle. TSDKHandleBaseBase declares what
// every handle of the SDK family offers; TSDKHandleBase implements it. The
// scanner session derives from TSDKHandleBase.
#pragma once

#include "Exception.h"
#include "SafeHandle.h"

template <class TObject, class TSDK>
class TSDKHandleBaseBase
{
public:
    virtual ~TSDKHandleBaseBase() = default;
    // Validates *phHandle, runs the before-destruction hook, deletes this
    // object, frees the record and nulls the variable.
    virtual void DestroyHandle(void** phHandle) = 0;
    virtual void OnAfterCreate() = 0;
    virtual void OnBeforeDestroy() = 0;
};

template <class TObject, class TSDK, class TBase>
class TSDKHandleBase : public TBase
{
public:
    ~TSDKHandleBase() override = default;

    void DestroyHandle(void** phHandle) override;
    void OnAfterCreate() override {}
    void OnBeforeDestroy() override {}
};

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::DestroyHandle(void** phHandle)
{
    try {
        if (phHandle == nullptr)
            throw ClException("handle reference is NULL pointer", ZRT_ERROR_INVALID_PARAMETER, true, "Unknown", -1);
        void* hHandle = *phHandle;
        ValidateHandleRecord(hHandle);
        OnBeforeDestroy();
        // The hook may have run for a while: check again right before the record goes.
        if (ValidateHandleRecord(hHandle) != static_cast<TObject*>(this))
            throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
        delete this;
        FreeHandleRecord(hHandle);
        *phHandle = nullptr;
    } catch (const ClException& ex) {
        throw ClExQuorvane(ex.GetCode(), KR9_SITE);
    }
}
