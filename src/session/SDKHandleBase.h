// Base classes of the object behind a handle. TSDKHandleBaseBase declares what
// every handle of the SDK family offers; TSDKHandleBase implements it. The
// scanner session derives from TSDKHandleBase.
//
// The property side: every handle publishes named parameters in a tree built
// on first use. The tree holds the read-only "Version" and whatever a derived
// handle adds in AddParameters. Callers reach the parameters by name (dotted
// paths, ASCII case ignored) as texts or 32-bit integers; a wider interface can
// also list them, ask their kind, access and range, and list enumeration names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "sdk/Exception.h"
#include "sdk/SDKHelper.h"
#include "sdk/SDKVersion.h"
#include "sdk/SafeHandle.h"
#include "params/ParameterContainer.h"
#include "params/TypedParameter.h"

template <class TObject, class TSDK>
class TSDKHandleBaseBase
{
public:
    // What a handle record holds: every handle class of the SDK is reached through this interface.
    using HandleInterface = TSDKHandleBaseBase;

    virtual ~TSDKHandleBaseBase() = default;

    // Text read by the size protocol: *pnSize is the room on entry and the
    // room needed (with terminator) on return.
    virtual void GetParameterString(const char* pszName, char* pszValue, size_t* pnSize) = 0;
    virtual void SetParameterString(const char* pszName, const char* pszValue) = 0;
    // Integer parameters and enumerations.
    virtual void GetParameterLong(const char* pszName, int32_t* pnValue) = 0;
    virtual void SetParameterLong(const char* pszName, int32_t nValue) = 0;
    // Floating parameters only.
    virtual void GetParameterDouble(const char* pszName, double* pdValue) = 0;
    virtual void SetParameterDouble(const char* pszName, double dValue) = 0;
    // Parameters that hold a block of bytes.
    virtual void GetParameterBinary(const char* pszName, void* pData, size_t* pnSize) = 0;
    virtual void SetParameterBinary(const char* pszName, const void* pData, size_t nSize) = 0;
    // Full dotted names of all leaf parameters, one per call.
    virtual void GetFirstParameterName(char* pszName, size_t* pnSize) = 0;
    virtual void GetNextParameterName(char* pszName, size_t* pnSize) = 0;
    // 0 integer, 1 floating, 2 anything else.
    virtual void GetParameterType(const char* pszName, uint32_t* puiType) = 0;
    // The In (1) and Out (2) bits.
    virtual void GetParameterAccess(const char* pszName, uint32_t* puiAccess) = 0;
    virtual void GetParameterRangeLong(const char* pszName, int32_t* pnMinimum, int32_t* pnMaximum) = 0;
    virtual void GetParameterRangeDouble(const char* pszName, double* pdMinimum, double* pdMaximum) = 0;
    // The names of an enumeration parameter, one per call.
    virtual void GetFirstEnumEntry(const char* pszName, char* pszEntry, size_t* pnSize) = 0;
    virtual void GetNextEnumEntry(char* pszEntry, size_t* pnSize) = 0;

    // Validates *phHandle, runs the before-destruction hook, deletes this
    // object, frees the record and nulls the variable.
    virtual void DestroyHandle(void** phHandle) = 0;
    // Builds the parameter tree unless it exists.
    virtual void EnsureParameters() = 0;
    virtual void OnAfterCreate() = 0;
    virtual void OnBeforeDestroy() = 0;
    // Where a derived handle adds its own parameters to the tree.
    virtual void AddParameters(ClParameterContainer* pContainer) = 0;
    // Drops the tree; the next property operation builds it anew.
    virtual void ResetParameters() = 0;
};

template <class TObject, class TSDK, class TBase>
class TSDKHandleBase : public TBase
{
public:
    TSDKHandleBase() = default;
    TSDKHandleBase(const TSDKHandleBase&) = delete;
    TSDKHandleBase& operator=(const TSDKHandleBase&) = delete;
    ~TSDKHandleBase() override = default;

    // Null name ZRT_ERROR_INVALID_PARAMETER, unknown
    // ZRT_ERROR_PARAM_IS_UNKNOWN, null size ZRT_ERROR_TEMPLATE_SIZE_PTR, buffer
    // too small: the size error code (ZRT_ERROR_TEMPLATE_SIZE) with *pnSize
    // holding the size needed. A buffer of two bytes or more is emptied before
    // anything else, so a failed call leaves the empty text behind.
    void GetParameterString(const char* pszName, char* pszValue, size_t* pnSize) override;
    // Null name ZRT_ERROR_INVALID_PARAMETER, unknown ZRT_ERROR_PARAM_IS_UNKNOWN,
    // read-only ZRT_ERROR_PARAM_IS_READONLY; then the parameter reads the text.
    void SetParameterString(const char* pszName, const char* pszValue) override;
    // Null name ZRT_ERROR_INVALID_PARAMETER, unknown ZRT_ERROR_PARAM_IS_UNKNOWN;
    // an integer number or an enumeration, else ZRT_ERROR_INVALID_PARAMETER.
    void GetParameterLong(const char* pszName, int32_t* pnValue) override;
    // As GetParameterLong, and read-only ZRT_ERROR_PARAM_IS_READONLY behind the
    // kind test.
    void SetParameterLong(const char* pszName, int32_t nValue) override;
    void GetParameterDouble(const char* pszName, double* pdValue) override;
    void SetParameterDouble(const char* pszName, double dValue) override;
    void GetParameterBinary(const char* pszName, void* pData, size_t* pnSize) override;
    void SetParameterBinary(const char* pszName, const void* pData, size_t nSize) override;
    // Rebuilds the tree and hands out the first leaf's full name by the checked copy.
    void GetFirstParameterName(char* pszName, size_t* pnSize) override;
    // ZRT_ERROR_INVALID_STATE "The Enumeration is not initialized." without a
    // listing under way.
    void GetNextParameterName(char* pszName, size_t* pnSize) override;
    void GetParameterType(const char* pszName, uint32_t* puiType) override;
    void GetParameterAccess(const char* pszName, uint32_t* puiAccess) override;
    void GetParameterRangeLong(const char* pszName, int32_t* pnMinimum, int32_t* pnMaximum) override;
    void GetParameterRangeDouble(const char* pszName, double* pdMinimum, double* pdMaximum) override;
    void GetFirstEnumEntry(const char* pszName, char* pszEntry, size_t* pnSize) override;
    void GetNextEnumEntry(char* pszEntry, size_t* pnSize) override;

    void DestroyHandle(void** phHandle) override;
    void EnsureParameters() override;
    void OnAfterCreate() override {}
    void OnBeforeDestroy() override {}
    void AddParameters(ClParameterContainer* /*pContainer*/) override {}
    void ResetParameters() override;

protected:
    // The parameter a name leads to: null name ZRT_ERROR_INVALID_PARAMETER,
    // unknown ZRT_ERROR_PARAM_IS_UNKNOWN.
    ClParameter& FindParameter(const char* pszName);
    // The full dotted name of a leaf, with its terminator.
    static std::vector<char> FullNameOf(const ClParameter& parameter);
    [[noreturn]] static void ThrowListingNotStarted();
    [[noreturn]] static void ThrowListingFinished();

    int32_t m_nSizeErrorCode = ZRT_ERROR_TEMPLATE_SIZE;  // raised when a buffer is too small
    std::unique_ptr<ClParameterContainer> m_pParameters;  // built on first use
    ClParameter* m_pParameterCursor = nullptr;           // the name listing's last leaf handed out
    ClParameterEnumInterface* m_pEnumInterface = nullptr; // the enumeration being listed
    uint32_t m_nEnumIndex = 0;                           // its next entry

private:
    // What "Version" is bound to: the library's constant version text. The
    // parameter is read-only and has no capacity, so nothing writes through it.
    char* m_pszVersionText = const_cast<char*>(KR9_SDK_VERSION_TEXT);
};

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::EnsureParameters()
{
    if (m_pParameters != nullptr)
        return;
    std::unique_ptr<ClParameterContainer> pContainer(new (std::nothrow) ClParameterContainer());
    if (pContainer == nullptr)
        ThrowParameterAllocationFailed();
    auto* pVersion = pContainer->CreateParameter<TpParameterString<char*, ClParameter, 0>>("Version");
    pVersion->Bind(&m_pszVersionText, kParameterOut);
    AddParameters(pContainer.get());
    m_pParameters = std::move(pContainer);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::ResetParameters()
{
    // A listing under way points into the tree: it ends with it.
    m_pParameterCursor = nullptr;
    m_pEnumInterface = nullptr;
    m_nEnumIndex = 0;
    // reset() empties the member before it deletes: nothing reaches a container being destroyed.
    m_pParameters.reset();
}

template <class TObject, class TSDK, class TBase>
ClParameter& TSDKHandleBase<TObject, TSDK, TBase>::FindParameter(const char* pszName)
{
    if (pszName == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    EnsureParameters();
    ClParameter* pParameter = m_pParameters->Find(pszName);
    if (pParameter == nullptr)
        throw ClExQuorvane(ZRT_ERROR_PARAM_IS_UNKNOWN, KR9_SITE);
    return *pParameter;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterString(const char* pszName, char* pszValue, size_t* pnSize)
{
    if (pnSize != nullptr && pszValue != nullptr && *pnSize >= 2)
        pszValue[0] = '\0';
    ClParameter& parameter = FindParameter(pszName);
    if (pnSize == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_SIZE_PTR, KR9_SITE);
    if (!parameter.GetAsString(pszValue, pnSize))
        throw ClExQuorvane(m_nSizeErrorCode, KR9_SITE);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::SetParameterString(const char* pszName, const char* pszValue)
{
    ClParameter& parameter = FindParameter(pszName);
    if (!parameter.IsWritable())
        throw ClExQuorvane(ZRT_ERROR_PARAM_IS_READONLY, KR9_SITE);
    parameter.SetFromString(pszValue);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterLong(const char* pszName, int32_t* pnValue)
{
    ClParameter& parameter = FindParameter(pszName);
    int32_t nValue = 0;
    if (parameter.IsNumeric()) {
        ClParameterNumericInterface* pNumeric = parameter.AsNumeric();
        if (pNumeric == nullptr || !pNumeric->IsInteger())
            throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
        nValue = pNumeric->GetValueLong();
    } else {
        ClParameterEnumInterface* pEnum = parameter.IsEnum() ? parameter.AsEnum() : nullptr;
        if (pEnum == nullptr)
            throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
        nValue = pEnum->GetValueLong();
    }
    if (pnValue == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *pnValue = nValue;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::SetParameterLong(const char* pszName, int32_t nValue)
{
    ClParameter& parameter = FindParameter(pszName);
    if (parameter.IsNumeric()) {
        ClParameterNumericInterface* pNumeric = parameter.AsNumeric();
        if (pNumeric == nullptr || !pNumeric->IsInteger())
            throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
        if (!parameter.IsWritable())
            throw ClExQuorvane(ZRT_ERROR_PARAM_IS_READONLY, KR9_SITE);
        pNumeric->SetValueLong(nValue);
        return;
    }
    ClParameterEnumInterface* pEnum = parameter.IsEnum() ? parameter.AsEnum() : nullptr;
    if (pEnum == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (!parameter.IsWritable())
        throw ClExQuorvane(ZRT_ERROR_PARAM_IS_READONLY, KR9_SITE);
    pEnum->SetValueLong(nValue);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterDouble(const char* pszName, double* pdValue)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterNumericInterface* pNumeric = parameter.IsNumeric() ? parameter.AsNumeric() : nullptr;
    if (pNumeric == nullptr || !pNumeric->IsFloat())
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (pdValue == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    *pdValue = pNumeric->GetValue();
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::SetParameterDouble(const char* pszName, double dValue)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterNumericInterface* pNumeric = parameter.IsNumeric() ? parameter.AsNumeric() : nullptr;
    if (pNumeric == nullptr || !pNumeric->IsFloat())
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (!parameter.IsWritable())
        throw ClExQuorvane(ZRT_ERROR_PARAM_IS_READONLY, KR9_SITE);
    pNumeric->SetValue(dValue);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterBinary(const char* pszName, void* pData, size_t* pnSize)
{
    ClParameter& parameter = FindParameter(pszName);
    if (pnSize == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_SIZE_PTR, KR9_SITE);
    ClParameterBlobInterface* pBlob = parameter.AsBlob();
    if (pBlob == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (!pBlob->GetBlob(pData, pnSize))
        throw ClExQuorvane(m_nSizeErrorCode, KR9_SITE);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::SetParameterBinary(const char* pszName, const void* pData, size_t nSize)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterBlobInterface* pBlob = parameter.AsBlob();
    if (pBlob == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (!parameter.IsWritable())
        throw ClExQuorvane(ZRT_ERROR_PARAM_IS_READONLY, KR9_SITE);
    pBlob->SetBlob(pData, nSize);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::ThrowListingNotStarted()
{
    throw ClException("The Enumeration is not initialized.", ZRT_ERROR_INVALID_STATE, true, KR9_SITE);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::ThrowListingFinished()
{
    throw ClException("The Enumeration has no further entry.", ZRT_ERROR_INVALID_STATE, true, KR9_SITE);
}

template <class TObject, class TSDK, class TBase>
std::vector<char> TSDKHandleBase<TObject, TSDK, TBase>::FullNameOf(const ClParameter& parameter)
{
    size_t nSize = 0;
    parameter.GetFullName(nullptr, &nSize);
    std::vector<char> name(nSize);
    parameter.GetFullName(name.data(), &nSize);
    return name;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetFirstParameterName(char* pszName, size_t* pnSize)
{
    // The listing always starts on a fresh tree.
    ResetParameters();
    EnsureParameters();
    ClParameter* pFirst = m_pParameters->GetFirstLeaf();
    if (pFirst == nullptr)
        ThrowListingFinished();
    const std::vector<char> name = FullNameOf(*pFirst);
    ClSDKHelper::CheckedCopy(pszName, pnSize, name.data(), name.size());
    // Only a name handed out moves the listing on, so a size query can be repeated with a buffer.
    m_pParameterCursor = pFirst;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetNextParameterName(char* pszName, size_t* pnSize)
{
    if (m_pParameterCursor == nullptr || m_pParameters == nullptr)
        ThrowListingNotStarted();
    ClParameter* pNext = m_pParameters->GetNextLeaf(m_pParameterCursor);
    if (pNext == nullptr)
        ThrowListingFinished();
    const std::vector<char> name = FullNameOf(*pNext);
    ClSDKHelper::CheckedCopy(pszName, pnSize, name.data(), name.size());
    m_pParameterCursor = pNext;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterType(const char* pszName, uint32_t* puiType)
{
    ClParameter& parameter = FindParameter(pszName);
    if (puiType == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_PTR_NULL, KR9_SITE);
    ClParameterNumericInterface* pNumeric = parameter.IsNumeric() ? parameter.AsNumeric() : nullptr;
    if (pNumeric == nullptr)
        *puiType = 2;
    else
        *puiType = pNumeric->IsInteger() ? 0 : 1;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterAccess(const char* pszName, uint32_t* puiAccess)
{
    ClParameter& parameter = FindParameter(pszName);
    if (puiAccess == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_PTR_NULL, KR9_SITE);
    *puiAccess = parameter.GetFlags() & kParameterAccessMask;
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterRangeLong(const char* pszName, int32_t* pnMinimum,
                                                                 int32_t* pnMaximum)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterNumericInterface* pNumeric = parameter.IsNumeric() ? parameter.AsNumeric() : nullptr;
    if (pNumeric == nullptr || !pNumeric->HasRange())
        throw ClExQuorvane(ZRT_ERROR_UNSUPPORTED_FEATURE, KR9_SITE);
    if (!pNumeric->IsInteger())
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (pnMinimum == nullptr && pnMaximum == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_PTR_NULL, KR9_SITE);
    // Integer ends always fit: the limits of every integer parameter are 32-bit.
    if (pnMinimum != nullptr)
        *pnMinimum = static_cast<int32_t>(pNumeric->GetMinimum());
    if (pnMaximum != nullptr)
        *pnMaximum = static_cast<int32_t>(pNumeric->GetMaximum());
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetParameterRangeDouble(const char* pszName, double* pdMinimum,
                                                                   double* pdMaximum)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterNumericInterface* pNumeric = parameter.IsNumeric() ? parameter.AsNumeric() : nullptr;
    if (pNumeric == nullptr || !pNumeric->HasRange())
        throw ClExQuorvane(ZRT_ERROR_UNSUPPORTED_FEATURE, KR9_SITE);
    if (!pNumeric->IsFloat())
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    if (pdMinimum == nullptr && pdMaximum == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_PTR_NULL, KR9_SITE);
    if (pdMinimum != nullptr)
        *pdMinimum = pNumeric->GetMinimum();
    if (pdMaximum != nullptr)
        *pdMaximum = pNumeric->GetMaximum();
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetFirstEnumEntry(const char* pszName, char* pszEntry, size_t* pnSize)
{
    ClParameter& parameter = FindParameter(pszName);
    ClParameterEnumInterface* pEnum = parameter.AsEnum();
    if (pEnum == nullptr || pEnum->GetEntryCount() == 0)
        throw ClExQuorvane(ZRT_ERROR_UNSUPPORTED_FEATURE, KR9_SITE);
    m_pEnumInterface = pEnum;
    m_nEnumIndex = 0;
    GetNextEnumEntry(pszEntry, pnSize);
}

template <class TObject, class TSDK, class TBase>
void TSDKHandleBase<TObject, TSDK, TBase>::GetNextEnumEntry(char* pszEntry, size_t* pnSize)
{
    if (m_pEnumInterface == nullptr)
        ThrowListingNotStarted();
    if (m_nEnumIndex >= m_pEnumInterface->GetEntryCount())
        ThrowListingFinished();
    const size_t nLength = m_pEnumInterface->GetEntryName(m_nEnumIndex, nullptr, 0);
    std::vector<char> entry(nLength + 1);
    m_pEnumInterface->GetEntryName(m_nEnumIndex, entry.data(), entry.size());
    ClSDKHelper::CheckedCopy(pszEntry, pnSize, entry.data(), entry.size());
    ++m_nEnumIndex;
}

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
        if (ValidateHandleRecord(hHandle) != static_cast<TBase*>(this))
            throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
        delete this;
        FreeHandleRecord(hHandle);
        *phHandle = nullptr;
    } catch (const ClException& ex) {
        throw ClExQuorvane(ex.GetCode(), KR9_SITE);
    }
}
