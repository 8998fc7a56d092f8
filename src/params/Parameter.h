// Named, self-describing handles on values that live elsewhere: a member of a
// processor, a field of a scanner handle, a string constant. A caller who has
// only a name and a text reads and writes such a value through its parameter.
//
// ClParameterBase is the abstract root, ClParameter adds name, description
// and access flags. The typed classes (TypedParameter.h) bind a parameter to a
// variable; ClParameterContainer (ParameterContainer.h) makes them a tree. The
// numeric, enumeration and blob views are separate interfaces that a typed
// parameter carries as a second base.
#pragma once

#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include "sdk/Exception.h"
#include "support/Array.h"

class ClParameterContainer;
class ClParameter;
class ClParameterNumericInterface;
class ClParameterEnumInterface;
class ClParameterBlobInterface;

// Bits of ClParameter::m_nFlags. Registration code assigns the byte as a whole.
enum : uint8_t
{
    kParameterIn = 0x01,          // may be set from outside; property writes are refused without it
    kParameterOut = 0x02,         // a result that may be read
    kParameterOptional = 0x04,    // an image a run can go without; carried, not tested
    kParameterContainer = 0x08,   // the whole byte of a container: neither In nor Out
    kParameterUnbound = 0x10,     // cleared on every binding; nothing else looks at it
    kParameterClamp = 0x20,       // numeric writes outside the range go to the nearest end
    kParameterRangeCheck = 0x40,  // numeric writes outside the range fail with ZRT_ERROR_PARAM_OUT_OF_RANGE
};

// The two low bits of the flags: what the handle reports as a parameter's access.
constexpr uint8_t kParameterAccessMask = kParameterIn | kParameterOut;

// Names that a caller types are compared like _stricmp in the "C" locale: ASCII
// letters without regard to case, everything else byte for byte. A null name
// equals nothing, not even another null name, so an unnamed parameter can never
// be reached by a lookup.
bool ParameterNamesEqual(const char* pszFirst, const char* pszSecond);

class ClParameterBase
{
public:
    ClParameterBase() = default;
    ClParameterBase(const ClParameterBase&) = delete;
    ClParameterBase& operator=(const ClParameterBase&) = delete;
    virtual ~ClParameterBase() = default;

    virtual const char* GetName() const = 0;
    virtual void SetName(const char* pszName) = 0;
    virtual const char* GetDescription() const = 0;
    virtual void SetDescription(const char* pszDescription) = 0;

    // A new object of the same class set up as this one; the caller owns it.
    virtual ClParameterBase* Clone() const = 0;
    // Copies the configuration (not the live value) into target, which must be of a matching class.
    virtual void CopySetupTo(ClParameterBase& target) const = 0;

    // "Value" is the live value in the bound variable; "stored" is the copy the
    // parameter keeps as default, saved state or swap partner.
    virtual void CopyStoredFrom(const ClParameterBase& other) = 0;             // stored := other's stored
    virtual void StoreValueOf(const ClParameterBase& other) = 0;               // stored := other's value
    virtual void AssignValueFrom(const ClParameterBase& other, bool bForce) = 0; // value := other's value
    virtual void RestoreStored() = 0;                                          // value := stored
    virtual void AssignStoredFrom(const ClParameterBase& other) = 0;           // value := other's stored

    virtual ClParameterContainer* AsContainer();
    virtual ClParameter* AsParameter();
    virtual ClParameterNumericInterface* AsNumeric();
    virtual ClParameterEnumInterface* AsEnum();
    virtual ClParameterBlobInterface* AsBlob();
    virtual bool IsParameter() const { return false; }
    virtual bool IsNumeric() const { return false; }
    virtual bool IsEnum() const { return false; }
    virtual bool IsPointer() const { return false; }
    virtual bool IsString() const { return false; }
    // Value and stored change places.
    virtual void SwapStored() {}
    virtual bool IsStoredEqual() const = 0;

    // The container that holds this parameter; null for a root.
    ClParameterContainer* GetParent() const { return m_pParent; }

protected:
    // Set by the container that takes the parameter; never owning.
    ClParameterContainer* m_pParent = nullptr;

    friend class ClParameterContainer;
};

class ClParameter : public ClParameterBase
{
public:
    ClParameter() = default;
    ~ClParameter() override;

    const char* GetName() const override { return m_pszName; }
    // The text is copied; null clears the name.
    void SetName(const char* pszName) override;
    const char* GetDescription() const override { return m_pszDescription; }
    void SetDescription(const char* pszDescription) override;

    ClParameter* Clone() const override = 0;
    // Type, flags, name and description; subclasses add their own members.
    void CopySetupTo(ClParameterBase& target) const override;

    ClParameter* AsParameter() override { return this; }
    bool IsParameter() const override { return true; }
    virtual bool IsContainer() const { return false; }

    // Parses pszText into the value.
    virtual void SetFromString(const char* pszText) = 0;
    // Size protocol of both: *pnSize holds the room in bytes including the
    // terminator on entry and the room needed on return; the result is true if
    // the text was written, false if the room was too small. pszText may be
    // null to ask for the size.
    virtual bool GetAsString(char* pszText, size_t* pnSize) const = 0;
    virtual bool GetStoredAsString(char* pszText, size_t* pnSize) const = 0;
    virtual void Touch() {}
    // Address of the bound variable.
    virtual void* GetValuePointer() const = 0;

    // The names from the root down, joined with ".". The walk upward stops at
    // the first parameter without a name, so an unnamed root adds nothing. The
    // size protocol is the one of GetAsString; with enough room and a null
    // pszText only the size is answered.
    bool GetFullName(char* pszText, size_t* pnSize) const;

    uint8_t GetFlags() const { return m_nFlags; }
    void SetFlags(uint8_t nFlags) { m_nFlags = nFlags; }
    bool IsWritable() const { return (m_nFlags & kParameterIn) != 0; }
    // Run-time type of the value; a container names its own class.
    const std::type_info* GetType() const { return m_pType; }

protected:
    const std::type_info* m_pType = nullptr;
    char* m_pszName = nullptr;         // owned copy
    char* m_pszDescription = nullptr;  // owned copy
    // Marks parameter objects in a memory dump; nothing reads it.
    char m_aTag[3] = {'D', 'P', 'I'};
    uint8_t m_nFlags = kParameterIn | kParameterOut;
};

// The numeric view of a parameter. The typed class supplies the value side;
// this class holds how the value is printed.
class ClParameterNumericInterface
{
public:
    ClParameterNumericInterface() = default;
    ClParameterNumericInterface(const ClParameterNumericInterface&) = delete;
    ClParameterNumericInterface& operator=(const ClParameterNumericInterface&) = delete;
    virtual ~ClParameterNumericInterface() = default;

    virtual double GetValue() const = 0;
    // Both writes check the limits of the type first
    // (ZRT_ERROR_PARAM_OUT_OF_RANGE).
    virtual void SetValue(double dValue) = 0;
    virtual int32_t GetValueLong() const = 0;
    virtual void SetValueLong(int32_t nValue) = 0;
    virtual double GetMinimum() const = 0;
    virtual void SetMinimum(double dMinimum) = 0;
    virtual double GetMaximum() const = 0;
    virtual void SetMaximum(double dMaximum) = 0;
    virtual double GetStored() const = 0;
    virtual void SetStored(double dValue) = 0;
    // The number handed to a "*" in the format.
    virtual uint32_t GetPrecision() const { return m_nPrecision; }
    virtual void SetPrecision(uint32_t nPrecision) { m_nPrecision = nPrecision; }
    virtual bool IsFloat() const = 0;
    virtual bool IsInteger() const { return !IsFloat(); }
    virtual bool IsAllowed(double dValue) const = 0;
    virtual bool IsCurrentAllowed() const = 0;
    // A range whose ends are equal is no range: writes are then not limited.
    virtual bool HasRange() const = 0;

    // A printf format of the value; null empties it.
    void SetFormat(const char* pszFormat);
    // The format, or null while none is set.
    const char* GetFormat() const { return m_Format.GetData(); }

protected:
    // Copies scale, precision and format into another numeric view.
    void CopyNumericSetupTo(ClParameterNumericInterface& target) const;

    double m_dScale = 1.0;  // carried for hosts that show scaled values; the library does not apply it
    uint32_t m_nPrecision = 0;
    TpArrayStatic<char> m_Format;  // with its terminator
};

// The view of a parameter whose values come from a closed list of named entries.
class ClParameterEnumInterface
{
public:
    virtual ~ClParameterEnumInterface() = default;

    virtual size_t GetEntryCount() const = 0;
    // Length of the entry's name without terminator. With a buffer, the name is
    // copied when it fits (length < nSize); otherwise pszText gets the empty text.
    virtual size_t GetEntryName(size_t nIndex, char* pszText, size_t nSize) const = 0;
    virtual int32_t GetValueLong() const = 0;
    virtual void SetValueLong(int32_t nValue) = 0;
};

// The view of a parameter holding a block of bytes. No parameter class of the
// SDK holds one yet; the handle's binary property operations are ready for it.
class ClParameterBlobInterface
{
public:
    virtual ~ClParameterBlobInterface() = default;

    // Size protocol as for texts: *pnSize is the room on entry and the bytes
    // needed on return; false when the room was too small.
    virtual bool GetBlob(void* pData, size_t* pnSize) const = 0;
    virtual void SetBlob(const void* pData, size_t nSize) = 0;
};

// Helpers shared by the typed parameters: reading numbers from texts and
// handing texts out by the size protocol.
namespace ParameterText {

// A number read from a caller's text, in both forms the typed parameters need.
struct StNumber
{
    int64_t nInteger;  // what an integer parameter takes
    double dValue;     // what a floating parameter takes
};

// Reads pszText as a number. A text that holds an "x" or "X" is hexadecimal
// behind the later of the first "x" and the first "X" (whatever precedes the
// mark is ignored) and saturates at the 32-bit limits. Any other text must be a
// complete decimal floating number of finite size; an integer parameter then
// takes the base-10 integer at its start, so "1e3" gives 1. Null text:
// ZRT_ERROR_TEMPLATE_PTR "value string is NULL pointer!"; anything left over,
// or an infinite number: ZRT_ERROR_INVALID_PARAMETER "Failed to set parameter
// "<name>" to value "<text>"".
StNumber ReadNumber(const ClParameter& parameter, const char* pszText);

// Raises ZRT_ERROR_PARAM_OUT_OF_RANGE "Value out of range for parameter
// "<name>"".
[[noreturn]] void ThrowOutOfRange(const ClParameter& parameter);

// Hands pszSource out by the size protocol; a null pszText only answers the size.
bool CopyOut(const char* pszSource, char* pszText, size_t* pnSize);

// Removes the trailing zeros of a number that has a decimal point, keeping one
// behind a "." or ",", so 2.500000 reads 2.5 and 100.000000 reads 100.0.
void TrimTrailingZeros(char* pszText);

}  // namespace ParameterText

// Raises ZRT_ERROR_BAD_POINTER "pCast is not set": an operation was handed an object of
// the wrong class.
[[noreturn]] void ThrowParameterCastFailed();

// Raises ZRT_ERROR_OUT_OF_MEMORY "Memory allocation failed" from "Unknown",
// line -1.
[[noreturn]] void ThrowParameterAllocationFailed();

// Raises ZRT_ERROR_INTERNAL "Abstract function": the class has no text form.
[[noreturn]] void ThrowParameterHasNoText();

// Raises ZRT_ERROR_BAD_POINTER: the parameter was read or written while bound
// to nothing.
[[noreturn]] void ThrowParameterNotBound(const ClParameter& parameter);
