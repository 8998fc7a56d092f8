// The parameter templates that connect a parameter to a variable of type T.
//
//   TpParameterBase<T, B>         binding, stored value and the value operations
//   TpParameter<T, B>             the plain concrete class
//   TpParameterNumeric<T, B>      numbers with limits, range, clamp and text forms
//   TpParameterEnumPointer<T, B>  named values from a list, or pointers a host must not copy
//   TpParameterString<T, B, N>    a text buffer of known capacity
//
// B is ClParameter in every use. A parameter is bound either to a variable
// (the usual case: the registration code of a processor binds its members) or
// to an owner object with a get and a set function. A bound parameter must
// not outlive its variable.
#pragma once

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include "params/Parameter.h"

// Conversions between a value of an enumeration parameter and the 32-bit
// integers of the long interface. Pointers travel as their address.
namespace ParameterValue {

template <typename T>
int64_t ToInteger(const T& value)
{
    if constexpr (std::is_pointer<T>::value)
        return static_cast<int64_t>(reinterpret_cast<intptr_t>(value));
    else
        return static_cast<int64_t>(value);
}

// A double in an integer type without undefined behaviour: NaN gives 0, values
// beyond the type's limits give the nearest limit, the rest truncates toward zero.
template <typename T>
T SaturatingFromDouble(double dValue)
{
    if constexpr (std::is_floating_point<T>::value) {
        return static_cast<T>(dValue);
    } else {
        if (std::isnan(dValue))
            return T(0);
        if (dValue <= static_cast<double>(std::numeric_limits<T>::min()))
            return std::numeric_limits<T>::min();
        if (dValue >= static_cast<double>(std::numeric_limits<T>::max()))
            return std::numeric_limits<T>::max();
        return static_cast<T>(dValue);
    }
}

// Whether a double converts to T without leaving the type's limits.
template <typename T>
bool FitsType(double dValue)
{
    if constexpr (std::is_floating_point<T>::value)
        return true;
    else
        return dValue > static_cast<double>(std::numeric_limits<T>::min()) - 1.0 &&
               dValue < static_cast<double>(std::numeric_limits<T>::max()) + 1.0;
}

}  // namespace ParameterValue

// ---- TpParameterBase ------------------------------------------------------------

template <typename T, class B = ClParameter>
class TpParameterBase : public B
{
public:
    // The accessors of an owner: the set function gets the address of the new value.
    using SetFunction = void (*)(void* pOwner, const T* pValue);
    using GetFunction = T (*)(void* pOwner);

    TpParameterBase() : m_Stored() { this->m_pType = &typeid(T); }

    ClParameter* Clone() const override;
    // Adds owner, accessors, binding and stored value to the setup of ClParameter.
    void CopySetupTo(ClParameterBase& target) const override;
    void CopyStoredFrom(const ClParameterBase& other) override { m_Stored = CastOther(other).m_Stored; }
    void StoreValueOf(const ClParameterBase& other) override { m_Stored = CastOther(other).GetLiveValue(); }
    // A pointer is copied only when forced: two processors must not share an image by accident.
    void AssignValueFrom(const ClParameterBase& other, bool bForce) override
    {
        if (!bForce && this->IsPointer())
            return;
        SetLiveValue(CastOther(other).GetLiveValue());
    }
    void RestoreStored() override { SetLiveValue(m_Stored); }
    void AssignStoredFrom(const ClParameterBase& other) override { SetLiveValue(CastOther(other).m_Stored); }
    void SwapStored() override
    {
        const T liveValue = GetLiveValue();
        SetLiveValue(m_Stored);
        m_Stored = liveValue;
    }
    bool IsStoredEqual() const override { return GetLiveValue() == m_Stored; }

    void SetFromString(const char* /*pszText*/) override { ThrowParameterHasNoText(); }
    bool GetAsString(char* /*pszText*/, size_t* /*pnSize*/) const override { ThrowParameterHasNoText(); }
    bool GetStoredAsString(char* /*pszText*/, size_t* /*pnSize*/) const override { ThrowParameterHasNoText(); }
    void* GetValuePointer() const override { return m_ppValue != nullptr ? *m_ppValue : nullptr; }

    // Binds the parameter to a variable: the variable's present value becomes
    // the stored value, and the flags byte is assigned as a whole.
    void Bind(T* pVariable, uint8_t nFlags)
    {
        m_pValue = pVariable;
        this->m_nFlags &= static_cast<uint8_t>(~kParameterUnbound);
        m_ppValue = &m_pValue;
        m_Stored = *pVariable;
        this->m_nFlags = nFlags;
    }
    // Binds the parameter to an owner's accessors in place of a variable.
    void SetAccessors(void* pOwner, SetFunction pfnSet, GetFunction pfnGet)
    {
        m_pOwner = pOwner;
        m_pfnSet = pfnSet;
        m_pfnGet = pfnGet;
    }

    T GetLiveValue() const
    {
        if (m_pOwner != nullptr && m_pfnGet != nullptr)
            return m_pfnGet(m_pOwner);
        if (m_ppValue == nullptr || *m_ppValue == nullptr)
            ThrowParameterNotBound(*this);
        return **m_ppValue;
    }
    void SetLiveValue(const T& value)
    {
        if (m_pOwner != nullptr && m_pfnSet != nullptr) {
            m_pfnSet(m_pOwner, &value);
            return;
        }
        if (m_ppValue == nullptr || *m_ppValue == nullptr)
            ThrowParameterNotBound(*this);
        **m_ppValue = value;
    }
    const T& GetStoredValue() const { return m_Stored; }
    void SetStoredValue(const T& value) { m_Stored = value; }

protected:
    // The other side of a value operation; a parameter of another type is refused
    // (ZRT_ERROR_BAD_POINTER).
    static const TpParameterBase& CastOther(const ClParameterBase& other)
    {
        const auto* pOther = dynamic_cast<const TpParameterBase*>(&other);
        if (pOther == nullptr)
            ThrowParameterCastFailed();
        return *pOther;
    }

    // A new TClone set up as source; the caller owns it.
    template <class TClone>
    static ClParameter* CloneAs(const ClParameter& source)
    {
        std::unique_ptr<TClone> pClone(new (std::nothrow) TClone());
        if (pClone == nullptr)
            ThrowParameterAllocationFailed();
        source.CopySetupTo(*pClone);
        return pClone.release();
    }

    void* m_pOwner = nullptr;        // object for the accessors; null when bound to a variable
    SetFunction m_pfnSet = nullptr;
    GetFunction m_pfnGet = nullptr;
    T** m_ppValue = nullptr;         // where the address of the variable is found
    T* m_pValue = nullptr;           // the variable, when m_ppValue points here
    T m_Stored;                      // default, saved state or swap partner
};

template <typename T, class B>
ClParameter* TpParameterBase<T, B>::Clone() const
{
    return CloneAs<TpParameterBase<T, B>>(*this);
}

template <typename T, class B>
void TpParameterBase<T, B>::CopySetupTo(ClParameterBase& target) const
{
    auto* pTarget = dynamic_cast<TpParameterBase*>(&target);
    if (pTarget == nullptr)
        ThrowParameterCastFailed();
    B::CopySetupTo(target);
    if (pTarget == this)
        return;
    pTarget->m_pOwner = m_pOwner;
    pTarget->m_pfnSet = m_pfnSet;
    pTarget->m_pfnGet = m_pfnGet;
    pTarget->m_pValue = m_pValue;
    // A binding through the parameter's own m_pValue must point at the copy's own member.
    pTarget->m_ppValue = (m_ppValue == &m_pValue) ? &pTarget->m_pValue : m_ppValue;
    pTarget->m_Stored = m_Stored;
}

// ---- TpParameter ----------------------------------------------------------------

template <typename T, class B = ClParameter>
class TpParameter : public TpParameterBase<T, B>
{
public:
    ClParameter* Clone() const override { return this->template CloneAs<TpParameter>(*this); }
};

// ---- TpParameterNumeric ---------------------------------------------------------

// What each numeric type prints with, and the limits a write must respect.
template <typename T>
struct TpNumericTraits;

template <>
struct TpNumericTraits<unsigned char>
{
    using PrintType = unsigned int;
    static constexpr const char* kFormat = "%u";
    static constexpr uint32_t kPrecision = 0;
    static constexpr bool kFloat = false;
    static constexpr bool kSigned = false;
    static constexpr int64_t kLowest = 0;
    static constexpr int64_t kHighest = 255;
};

template <>
struct TpNumericTraits<int>
{
    using PrintType = int;
    static constexpr const char* kFormat = "%d";
    static constexpr uint32_t kPrecision = 0;
    static constexpr bool kFloat = false;
    static constexpr bool kSigned = true;
    static constexpr int64_t kLowest = INT32_MIN;
    static constexpr int64_t kHighest = INT32_MAX;
};

// The property integer is 32 bits wide on every platform, so long keeps the
// 32-bit limits also where the type itself is wider.
template <>
struct TpNumericTraits<long>
{
    using PrintType = long;
    static constexpr const char* kFormat = "%ld";
    static constexpr uint32_t kPrecision = 0;
    static constexpr bool kFloat = false;
    static constexpr bool kSigned = true;
    static constexpr int64_t kLowest = INT32_MIN;
    static constexpr int64_t kHighest = INT32_MAX;
};

template <>
struct TpNumericTraits<double>
{
    using PrintType = double;
    static constexpr const char* kFormat = "%f";
    static constexpr uint32_t kPrecision = 6;
    static constexpr bool kFloat = true;
    static constexpr bool kSigned = true;
    // No limits: every double is accepted.
    static constexpr int64_t kLowest = 0;
    static constexpr int64_t kHighest = 0;
};

template <typename T, class B = ClParameter>
class TpParameterNumeric : public TpParameter<T, B>, public ClParameterNumericInterface
{
    using Traits = TpNumericTraits<T>;

public:
    TpParameterNumeric() : m_Min(), m_Max(), m_bFloat(Traits::kFloat), m_bSigned(Traits::kSigned)
    {
        SetFormat(Traits::kFormat);
        m_nPrecision = Traits::kPrecision;
    }

    ClParameter* Clone() const override { return this->template CloneAs<TpParameterNumeric>(*this); }
    void CopySetupTo(ClParameterBase& target) const override;
    ClParameterNumericInterface* AsNumeric() override { return this; }
    bool IsNumeric() const override { return true; }

    // Reads the number, checks the type's limits, then writes by the range rule.
    void SetFromString(const char* pszText) override;
    // Prints the live value with the format and trims trailing zeros behind a point.
    bool GetAsString(char* pszText, size_t* pnSize) const override;
    // Prints the stored value with the format, untrimmed.
    bool GetStoredAsString(char* pszText, size_t* pnSize) const override;

    double GetValue() const override { return static_cast<double>(this->GetLiveValue()); }
    void SetValue(double dValue) override
    {
        CheckLimits(dValue);
        WriteByRangeRule(static_cast<T>(dValue));
    }
    int32_t GetValueLong() const override;
    void SetValueLong(int32_t nValue) override
    {
        CheckLimits(static_cast<int64_t>(nValue));
        WriteByRangeRule(static_cast<T>(nValue));
    }
    double GetMinimum() const override { return static_cast<double>(m_Min); }
    void SetMinimum(double dMinimum) override { m_Min = ParameterValue::SaturatingFromDouble<T>(dMinimum); }
    double GetMaximum() const override { return static_cast<double>(m_Max); }
    void SetMaximum(double dMaximum) override { m_Max = ParameterValue::SaturatingFromDouble<T>(dMaximum); }
    double GetStored() const override { return static_cast<double>(this->m_Stored); }
    void SetStored(double dValue) override
    {
        CheckLimits(dValue);
        this->m_Stored = static_cast<T>(dValue);
    }
    bool IsFloat() const override { return m_bFloat; }
    // A value beyond what T can hold is never allowed.
    bool IsAllowed(double dValue) const override
    {
        return ParameterValue::FitsType<T>(dValue) && IsValueAllowed(static_cast<T>(dValue));
    }
    bool IsCurrentAllowed() const override { return IsValueAllowed(this->GetLiveValue()); }
    bool HasRange() const override { return m_Min != m_Max; }

    virtual bool IsSigned() const { return m_bSigned; }
    virtual bool IsValueAllowed(T value) const { return !HasRange() || (m_Min <= value && value <= m_Max); }

    void SetRange(T minimum, T maximum)
    {
        m_Min = minimum;
        m_Max = maximum;
    }

protected:
    T m_Min;
    T m_Max;
    bool m_bFloat;
    bool m_bSigned;

private:
    // NaN is outside every limit.
    void CheckLimits(double dValue) const
    {
        if constexpr (!Traits::kFloat) {
            if (!(dValue >= static_cast<double>(Traits::kLowest) && dValue <= static_cast<double>(Traits::kHighest)))
                ParameterText::ThrowOutOfRange(*this);
        }
    }
    void CheckLimits(int64_t nValue) const
    {
        if constexpr (!Traits::kFloat) {
            if (nValue < Traits::kLowest || nValue > Traits::kHighest)
                ParameterText::ThrowOutOfRange(*this);
        }
    }
    // With equal ends the range is only information and the value is written as
    // it stands. Otherwise the clamp flag moves it into the range, and the
    // range-check flag refuses what is still outside.
    void WriteByRangeRule(T value)
    {
        if (m_Min != m_Max) {
            if ((this->m_nFlags & kParameterClamp) != 0) {
                if (value < m_Min)
                    value = m_Min;
                else if (value > m_Max)
                    value = m_Max;
            }
            if ((this->m_nFlags & kParameterRangeCheck) != 0 && !(m_Min <= value && value <= m_Max))
                ParameterText::ThrowOutOfRange(*this);
        }
        this->SetLiveValue(value);
    }
    // The count of a print of value with the format; into pszText when given.
    int Print(char* pszText, size_t nSize, T value) const;
};

template <typename T, class B>
void TpParameterNumeric<T, B>::CopySetupTo(ClParameterBase& target) const
{
    auto* pTarget = dynamic_cast<TpParameterNumeric*>(&target);
    if (pTarget == nullptr)
        ThrowParameterCastFailed();
    TpParameter<T, B>::CopySetupTo(target);
    if (pTarget == this)
        return;
    CopyNumericSetupTo(*pTarget);
    pTarget->m_Min = m_Min;
    pTarget->m_Max = m_Max;
    pTarget->m_bFloat = m_bFloat;
    pTarget->m_bSigned = m_bSigned;
}

template <typename T, class B>
void TpParameterNumeric<T, B>::SetFromString(const char* pszText)
{
    const ParameterText::StNumber number = ParameterText::ReadNumber(*this, pszText);
    if constexpr (Traits::kFloat) {
        WriteByRangeRule(static_cast<T>(number.dValue));
    } else {
        CheckLimits(number.nInteger);
        WriteByRangeRule(static_cast<T>(number.nInteger));
    }
}

template <typename T, class B>
int32_t TpParameterNumeric<T, B>::GetValueLong() const
{
    const T value = this->GetLiveValue();
    if constexpr (Traits::kFloat) {
        // A double that does not fit becomes the most negative 32-bit value.
        if (!(value > -2147483649.0 && value < 2147483648.0))
            return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

template <typename T, class B>
int TpParameterNumeric<T, B>::Print(char* pszText, size_t nSize, T value) const
{
    const char* pszFormat = GetFormat() != nullptr ? GetFormat() : "";
    // A "*" in the format takes the precision, and then the value as a double.
    if (strchr(pszFormat, '*') != nullptr)
        return snprintf(pszText, nSize, pszFormat, static_cast<int>(m_nPrecision), static_cast<double>(value));
    return snprintf(pszText, nSize, pszFormat, static_cast<typename Traits::PrintType>(value));
}

#pragma GCC diagnostic pop

template <typename T, class B>
bool TpParameterNumeric<T, B>::GetAsString(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    const T value = this->GetLiveValue();
    const int nLength = Print(nullptr, 0, value);
    if (nLength < 0)
        throw ClException(strerror(errno), ZRT_ERROR_INTERNAL, true, KR9_SITE);
    // The size answered is that of the untrimmed print, so a query and a write agree.
    const size_t nNeeded = static_cast<size_t>(nLength) + 1;
    const size_t nRoom = *pnSize;
    *pnSize = nNeeded;
    if (nRoom < nNeeded)
        return false;
    if (pszText == nullptr)
        return true;
    Print(pszText, nNeeded, value);
    ParameterText::TrimTrailingZeros(pszText);
    return true;
}

template <typename T, class B>
bool TpParameterNumeric<T, B>::GetStoredAsString(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    char szBuffer[80];
    if (Print(szBuffer, sizeof(szBuffer), this->m_Stored) < 0)
        throw ClException(strerror(errno), ZRT_ERROR_INTERNAL, true, KR9_SITE);
    return ParameterText::CopyOut(szBuffer, pszText, pnSize);
}

// ---- TpParameterEnumPointer -----------------------------------------------------

template <typename T, class B = ClParameter>
class TpParameterEnumPointer : public TpParameter<T, B>, public ClParameterEnumInterface
{
public:
    // One named value of the list; the name is an owned copy.
    class ClMapEntry
    {
    public:
        ClMapEntry() : m_Value() {}
        ClMapEntry(const T& value, const char* pszName) : m_Value(value), m_pszName(DuplicateName(pszName)) {}
        ClMapEntry(const ClMapEntry& other) : m_Value(other.m_Value), m_pszName(DuplicateName(other.m_pszName)) {}
        ClMapEntry& operator=(const ClMapEntry& other)
        {
            if (this != &other) {
                char* pszName = DuplicateName(other.m_pszName);
                delete[] m_pszName;
                m_pszName = pszName;
                m_Value = other.m_Value;
            }
            return *this;
        }
        virtual ~ClMapEntry() { delete[] m_pszName; }

        T m_Value;
        char* m_pszName = nullptr;

    private:
        static char* DuplicateName(const char* pszName)
        {
            if (pszName == nullptr)
                return nullptr;
            const size_t nLength = strlen(pszName);
            char* pszCopy = new (std::nothrow) char[nLength + 1];
            if (pszCopy == nullptr)
                ThrowParameterAllocationFailed();
            memcpy(pszCopy, pszName, nLength + 1);
            return pszCopy;
        }
    };

    ClParameter* Clone() const override { return this->template CloneAs<TpParameterEnumPointer>(*this); }
    // Adds the pointer flag and the entries to the setup of the base.
    void CopySetupTo(ClParameterBase& target) const override;

    // Only a parameter with entries presents itself as an enumeration.
    ClParameterEnumInterface* AsEnum() override { return IsEnum() ? this : nullptr; }
    bool IsEnum() const override { return m_Entries.GetCount() > 0; }
    bool IsPointer() const override { return m_bPointer; }
    void SetPointer(bool bPointer) { m_bPointer = bPointer; }

    // Writes the value of the entry of that name (ignoring case); an unknown
    // name is ZRT_ERROR_PARAM_OUT_OF_RANGE "Value "<text>" out of range for
    // parameter "<name>"".
    void SetFromString(const char* pszText) override;
    // The name of the entry that holds the value. A value without an entry is
    // ZRT_ERROR_PARAM_OUT_OF_RANGE while the list has entries; without entries
    // the value is printed as a number, or as an address ("NULL" for null) when
    // this is a pointer.
    bool GetAsString(char* pszText, size_t* pnSize) const override;
    bool GetStoredAsString(char* pszText, size_t* pnSize) const override;

    size_t GetEntryCount() const override { return static_cast<size_t>(static_cast<int64_t>(m_Entries.GetSize())); }
    size_t GetEntryName(size_t nIndex, char* pszText, size_t nSize) const override;
    int32_t GetValueLong() const override { return static_cast<int32_t>(ParameterValue::ToInteger(this->GetLiveValue())); }
    // Writes the entry whose value equals nValue; none is
    // ZRT_ERROR_PARAM_OUT_OF_RANGE.
    void SetValueLong(int32_t nValue) override;

    // A name already present with another value is refused with
    // ZRT_ERROR_PARAM_VALUE_DUPLICATE; with the same value the entry is added
    // once more.
    virtual void AddEntry(T value, const char* pszName);
    // Removes every entry of that value; the index of the first removed, or -1.
    virtual int32_t RemoveValue(T value);
    // Removes the first entry of that name; its index, or -1.
    virtual int32_t RemoveName(const char* pszName);

protected:
    bool m_bPointer = false;
    TpArrayDynamic<ClMapEntry, 10> m_Entries;

private:
    // Index of the first entry of that name or value, or -1.
    int64_t FindName(const char* pszName) const;
    int64_t FindValue(const T& value) const;
    // Keeps only the entries that bKeep accepts, closing the gaps in place.
    template <typename TKeep>
    void KeepEntries(TKeep bKeep);
    // The text of a value by the rules of GetAsString.
    std::string ValueText(const T& value) const;
    // The value as a number or an address, for texts and messages.
    std::string PrintValue(const T& value) const;
};

template <typename T, class B>
void TpParameterEnumPointer<T, B>::CopySetupTo(ClParameterBase& target) const
{
    auto* pTarget = dynamic_cast<TpParameterEnumPointer*>(&target);
    if (pTarget == nullptr)
        ThrowParameterCastFailed();
    TpParameter<T, B>::CopySetupTo(target);
    if (pTarget == this)
        return;
    pTarget->m_bPointer = m_bPointer;
    pTarget->m_Entries.Clear();
    for (uint64_t i = 0; i < m_Entries.GetCount(); ++i)
        pTarget->m_Entries.Add(m_Entries[i]);
}

template <typename T, class B>
int64_t TpParameterEnumPointer<T, B>::FindName(const char* pszName) const
{
    for (uint64_t i = 0; i < m_Entries.GetCount(); ++i)
        if (ParameterNamesEqual(m_Entries[i].m_pszName, pszName))
            return static_cast<int64_t>(i);
    return -1;
}

template <typename T, class B>
int64_t TpParameterEnumPointer<T, B>::FindValue(const T& value) const
{
    for (uint64_t i = 0; i < m_Entries.GetCount(); ++i)
        if (m_Entries[i].m_Value == value)
            return static_cast<int64_t>(i);
    return -1;
}

template <typename T, class B>
void TpParameterEnumPointer<T, B>::SetFromString(const char* pszText)
{
    if (pszText == nullptr)
        throw ClException("value string is NULL pointer!", ZRT_ERROR_TEMPLATE_PTR, true, KR9_SITE);
    const int64_t nIndex = FindName(pszText);
    if (nIndex < 0) {
        const std::string strMessage = std::string("Value \"") + pszText + "\" out of range for parameter \"" +
                                       (this->GetName() != nullptr ? this->GetName() : "") + "\"";
        throw ClException(strMessage.c_str(), ZRT_ERROR_PARAM_OUT_OF_RANGE, true, KR9_SITE);
    }
    this->SetLiveValue(m_Entries[static_cast<size_t>(nIndex)].m_Value);
}

template <typename T, class B>
std::string TpParameterEnumPointer<T, B>::PrintValue(const T& value) const
{
    char szBuffer[32];
    const int64_t nValue = ParameterValue::ToInteger(value);
    if (!IsPointer())
        snprintf(szBuffer, sizeof(szBuffer), "%d", static_cast<int>(nValue));
    else if (nValue != 0)
        snprintf(szBuffer, sizeof(szBuffer), "%p", reinterpret_cast<const void*>(static_cast<intptr_t>(nValue)));
    else
        snprintf(szBuffer, sizeof(szBuffer), "NULL");
    return szBuffer;
}

template <typename T, class B>
std::string TpParameterEnumPointer<T, B>::ValueText(const T& value) const
{
    const int64_t nIndex = FindValue(value);
    if (nIndex >= 0) {
        const char* pszName = m_Entries[static_cast<size_t>(nIndex)].m_pszName;
        return pszName != nullptr ? pszName : "";
    }
    if (IsEnum()) {
        const std::string strMessage = std::string("Parameter \"") +
                                       (this->GetName() != nullptr ? this->GetName() : "") +
                                       "\" out of range using value \"" + PrintValue(value) + "\"";
        throw ClException(strMessage.c_str(), ZRT_ERROR_PARAM_OUT_OF_RANGE, true, KR9_SITE);
    }
    return PrintValue(value);
}

template <typename T, class B>
bool TpParameterEnumPointer<T, B>::GetAsString(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    return ParameterText::CopyOut(ValueText(this->GetLiveValue()).c_str(), pszText, pnSize);
}

template <typename T, class B>
bool TpParameterEnumPointer<T, B>::GetStoredAsString(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    return ParameterText::CopyOut(ValueText(this->m_Stored).c_str(), pszText, pnSize);
}

template <typename T, class B>
size_t TpParameterEnumPointer<T, B>::GetEntryName(size_t nIndex, char* pszText, size_t nSize) const
{
    // An index beyond the list reads as an empty name.
    const char* pszName = nIndex < m_Entries.GetCount() ? m_Entries[nIndex].m_pszName : nullptr;
    const size_t nLength = pszName != nullptr ? strlen(pszName) : 0;
    if (pszText == nullptr)
        return nLength;
    if (nLength < nSize)
        memcpy(pszText, pszName != nullptr ? pszName : "", nLength + 1);
    else if (nSize > 0)
        pszText[0] = '\0';
    return nLength;
}

template <typename T, class B>
void TpParameterEnumPointer<T, B>::SetValueLong(int32_t nValue)
{
    for (uint64_t i = 0; i < m_Entries.GetCount(); ++i) {
        if (ParameterValue::ToInteger(m_Entries[i].m_Value) == static_cast<int64_t>(nValue)) {
            this->SetLiveValue(m_Entries[i].m_Value);
            return;
        }
    }
    char szValue[16];
    snprintf(szValue, sizeof(szValue), "%ld", static_cast<long>(nValue));
    const std::string strMessage = std::string("Value \"") + szValue + "\" out of range for parameter \"" +
                                   (this->GetName() != nullptr ? this->GetName() : "") + "\"";
    throw ClException(strMessage.c_str(), ZRT_ERROR_PARAM_OUT_OF_RANGE, true, KR9_SITE);
}

template <typename T, class B>
void TpParameterEnumPointer<T, B>::AddEntry(T value, const char* pszName)
{
    if (pszName == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
    const int64_t nIndex = FindName(pszName);
    if (nIndex >= 0 && !(m_Entries[static_cast<size_t>(nIndex)].m_Value == value))
        throw ClExQuorvane(ZRT_ERROR_PARAM_VALUE_DUPLICATE, KR9_SITE);
    m_Entries.Add(ClMapEntry(value, pszName));
}

template <typename T, class B>
template <typename TKeep>
void TpParameterEnumPointer<T, B>::KeepEntries(TKeep bKeep)
{
    // Refilling from the front never outruns the reading position, and the
    // block is kept, so nothing is allocated but the names' copies.
    const uint64_t nCount = m_Entries.GetCount();
    m_Entries.Clear();
    for (uint64_t i = 0; i < nCount; ++i)
        if (bKeep(i))
            m_Entries.Add(m_Entries[i]);
}

template <typename T, class B>
int32_t TpParameterEnumPointer<T, B>::RemoveValue(T value)
{
    const int64_t nFirst = FindValue(value);
    if (nFirst < 0)
        return -1;
    KeepEntries([&](uint64_t i) { return !(m_Entries[i].m_Value == value); });
    return static_cast<int32_t>(nFirst);
}

template <typename T, class B>
int32_t TpParameterEnumPointer<T, B>::RemoveName(const char* pszName)
{
    const int64_t nFirst = FindName(pszName);
    if (nFirst < 0)
        return -1;
    KeepEntries([&](uint64_t i) { return static_cast<int64_t>(i) != nFirst; });
    return static_cast<int32_t>(nFirst);
}

// ---- TpParameterString ----------------------------------------------------------

// A text parameter over a caller's buffer of m_nCapacity bytes. The bound
// variable holds the buffer's address; N is the capacity a new parameter starts with.
template <typename T = char*, class B = ClParameter, size_t N = 0>
class TpParameterString : public TpParameter<T, B>
{
    static_assert(std::is_same<T, char*>::value, "a string parameter holds a char buffer");

public:
    // The clone is an enumeration parameter without entries that carries the
    // string's setup and binding, not a string parameter: it can be read, and
    // being no string it never writes into a buffer whose size it does not know.
    ClParameter* Clone() const override { return this->template CloneAs<TpParameterEnumPointer<T, B>>(*this); }
    bool IsString() const override { return true; }

    // Null text: ZRT_ERROR_BAD_POINTER "Point is Null"; a text that does not
    // fit the capacity with its terminator: ZRT_ERROR_TEMPLATE_SIZE "String
    // memory ar too small".
    void SetFromString(const char* pszText) override;
    // A null buffer is a size query while the room is too small; with enough
    // room it is ZRT_ERROR_BAD_POINTER "Point is Null", as is a null live text.
    bool GetAsString(char* pszText, size_t* pnSize) const override;
    // True only if the room exceeds the stored text's length; *pnSize always becomes length + 1.
    bool GetStoredAsString(char* pszText, size_t* pnSize) const override;

    uint64_t GetCapacity() const { return m_nCapacity; }
    void SetCapacity(uint64_t nCapacity) { m_nCapacity = nCapacity; }

protected:
    uint64_t m_nCapacity = N;  // room behind the pointer in bytes; never copied with the setup

private:
    [[noreturn]] static void ThrowPointIsNull()
    {
        throw ClException("Point is Null", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    }
};

template <typename T, class B, size_t N>
void TpParameterString<T, B, N>::SetFromString(const char* pszText)
{
    if (pszText == nullptr)
        ThrowPointIsNull();
    const size_t nNeeded = strlen(pszText) + 1;
    if (nNeeded > m_nCapacity)
        throw ClException("String memory ar too small", ZRT_ERROR_TEMPLATE_SIZE, true, KR9_SITE);
    char* pszBuffer = this->GetLiveValue();
    if (pszBuffer == nullptr)
        ThrowPointIsNull();
    memcpy(pszBuffer, pszText, nNeeded);
}

template <typename T, class B, size_t N>
bool TpParameterString<T, B, N>::GetAsString(char* pszText, size_t* pnSize) const
{
    const char* pszValue = this->GetLiveValue();
    if (pszValue == nullptr || pnSize == nullptr)
        ThrowPointIsNull();
    const size_t nNeeded = strlen(pszValue) + 1;
    const size_t nRoom = *pnSize;
    *pnSize = nNeeded;
    if (nRoom < nNeeded)
        return false;
    if (pszText == nullptr)
        ThrowPointIsNull();
    memcpy(pszText, pszValue, nNeeded);
    return true;
}

template <typename T, class B, size_t N>
bool TpParameterString<T, B, N>::GetStoredAsString(char* pszText, size_t* pnSize) const
{
    if (this->m_Stored == nullptr || pnSize == nullptr)
        ThrowPointIsNull();
    const size_t nLength = strlen(this->m_Stored);
    const bool bFits = *pnSize > nLength;
    *pnSize = nLength + 1;
    if (bFits && pszText != nullptr)
        memcpy(pszText, this->m_Stored, nLength + 1);
    return bFits;
}

// The instances the SDK uses, compiled once in TypedParameter.cpp.
extern template class TpParameterNumeric<unsigned char, ClParameter>;
extern template class TpParameterNumeric<int, ClParameter>;
extern template class TpParameterNumeric<long, ClParameter>;
extern template class TpParameterNumeric<double, ClParameter>;
extern template class TpParameterEnumPointer<unsigned char, ClParameter>;
extern template class TpParameterEnumPointer<long, ClParameter>;
extern template class TpParameterEnumPointer<char*, ClParameter>;
extern template class TpParameterEnumPointer<bool, ClParameter>;
extern template class TpParameterString<char*, ClParameter, 0>;
