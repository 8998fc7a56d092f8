// Opaque handles. A handle is the address of a small record that carries a tag
// before and after the object pointer. Every address ever issued and not yet
// destroyed is kept in a registry, and a value is looked up there before
// anything is read through it: wild, stale and garbage values are refused with
// ZRT_ERROR_INVALID_HANDLE without being dereferenced, so they cannot crash the
// process.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/Exception.h"
#include "sdk/GuardedMemory.h"

constexpr size_t kHandleTagSize = 8;

struct StSafeHandleRecord
{
    char szHeadTag[kHandleTagSize];
    void* pObject;
    char szTailTag[kHandleTagSize];
};

// The tag of this SDK's handles: the one entry of the table of known handle kinds.
extern const char g_szKR9HandleTag[kHandleTagSize];

// The object behind a handle: ZRT_ERROR_NO_HANDLE for null;
// ZRT_ERROR_INVALID_HANDLE for a value that was never issued or was destroyed,
// wrong tags, or a null object.
void* ValidateHandleRecord(void* hHandle);

// A new record (tags written, object stored) that is known to the registry. Null when memory runs out.
StSafeHandleRecord* AllocateHandleRecord(void* pObject);

// Forgets the record and frees it; the tags are left as they were.
void FreeHandleRecord(void* hHandle);

// Raises the ZRT_ERROR_BAD_POINTER "protection fault while accessing handle reference" failure of a bad
// handle variable.
[[noreturn]] void ThrowHandleReferenceFault();

// TObject derives from TSDKHandleBase; TSDK is the SDK class whose reference count allows issuing.
// A record holds the object as its handle interface (TObject::HandleInterface),
// so code that knows only the interface, like the property exports, can use
// any handle without knowing its class.
template <class TObject, class TSDK>
class TpSafeHandle
{
public:
    using Interface = typename TObject::HandleInterface;

    static void Create(void** phHandle);
    static TObject* GetObject(void* hHandle)
    {
        return static_cast<TObject*>(static_cast<Interface*>(ValidateHandleRecord(hHandle)));
    }
    static void Destroy(void** phHandle);
};

template <class TObject, class TSDK>
void TpSafeHandle<TObject, TSDK>::Create(void** phHandle)
{
    if (!TSDK::IsInitialized())
        throw ClException("Initialization required prior to handle creation", ZRT_ERROR_NOT_INITIALIZED, true, "Unknown", -1);
    if (phHandle == nullptr)
        throw ClException("handle reference is NULL pointer", ZRT_ERROR_BAD_POINTER, true, "Unknown", -1);
    if (!TryWritePointer(phHandle, nullptr))
        ThrowHandleReferenceFault();

    // Out of memory leaves the variable null, which the validation below turns into
    // ZRT_ERROR_NO_HANDLE.
    std::unique_ptr<TObject> pObject;
    StSafeHandleRecord* pRecord = nullptr;
    try {
        pObject.reset(new TObject());
        pRecord = AllocateHandleRecord(static_cast<Interface*>(pObject.get()));
    } catch (const std::bad_alloc&) {
    }
    if (pRecord != nullptr) {
        // From here the record owns the object: the handle's destruction frees it.
        *phHandle = pRecord;
        pObject.release();
    }

    GetObject(*phHandle)->OnAfterCreate();
}

template <class TObject, class TSDK>
void TpSafeHandle<TObject, TSDK>::Destroy(void** phHandle)
{
    if (phHandle == nullptr)
        throw ClException("handle reference is NULL pointer", ZRT_ERROR_INVALID_PARAMETER, true, "Unknown", -1);
    void* hHandle = nullptr;
    if (!TryReadPointer(phHandle, &hHandle))
        ThrowHandleReferenceFault();
    GetObject(hHandle)->DestroyHandle(phHandle);
}
