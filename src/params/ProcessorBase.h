// The frame every image operation stands on. A processor is a small class
// that holds its inputs, outputs and settings as plain members and is run
// through one fixed sequence: Prepare, Process, Finalize. Its settings can be
// described (ClParameterInterface descriptors) and published as parameters
// bound to its members, for a host that wants to show or script a processor
// by name; the SDK's own pipeline sets the members directly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include "params/ParameterContainer.h"
#include "support/Array.h"
#include "support/Stream.h"

class ClImage;
class ClParameterInterface;
class ClProcessorBase;

// Registers an image member as a pointer parameter under that name; every
// image processor publishes its images this way.
void RegisterImageParameter(ClParameterContainer& container, const char* pszName, ClImage** ppImage,
                            uint32_t uiAccess);

// Where a processor reports its runs. The SDK installs none; a host may.
class ClProcessingReporter
{
public:
    virtual ~ClProcessingReporter() = default;
    // Called with 0 as a run begins.
    virtual void Reset(int nLevel) = 0;
    // A finished run: the class name and the processor's summary of its settings.
    virtual void Print(const char* pszFormat, ...) __attribute__((format(printf, 2, 3))) = 0;
};

struct StProcessingStatisticsEntry
{
    const std::type_info* pType;  // the processor's class
    double dTotalSeconds;
    uint32_t nCalls;
};

// Run time per processor class, summed over all runs while installed.
class ClProcessingStatistics
{
public:
    // Counts one run of the processor's class that took dSeconds.
    void Add(const ClProcessorBase& processor, double dSeconds);
    size_t GetCount() const { return static_cast<size_t>(m_Entries.GetCount()); }
    const StProcessingStatisticsEntry& GetEntry(size_t nIndex) const { return m_Entries[nIndex]; }

private:
    TpArrayDynamic<StProcessingStatisticsEntry, 10> m_Entries;
};

// A class that can describe and publish its settings.
class ClParameterProvider
{
public:
    virtual ~ClParameterProvider() = default;

    // Appends one descriptor per setting.
    virtual void DescribeParameters(ClParameterInterface& /*list*/) {}
    // Writes the default of every setting into the members.
    virtual void SetDefaultParameters() {}
    // Creates one parameter per setting in container, bound to the member.
    // The parameters point into this object and must not outlive it.
    virtual void RegisterParameters(ClParameterContainer& /*container*/) {}
};

class ClProcessorBase : public ClParameterProvider
{
public:
    // Reports to the process-wide default reporter, if one is installed.
    ClProcessorBase();
    ClProcessorBase(const ClProcessorBase&) = delete;
    ClProcessorBase& operator=(const ClProcessorBase&) = delete;
    ~ClProcessorBase() override = default;

    // A new default-constructed object of the same class; the caller owns it.
    virtual ClProcessorBase* CreateInstance() const = 0;
    // The class's name as spelled in the source, e.g. "ClIpInvert".
    virtual const char* GetClassName() const = 0;
    // Whether the inputs present allow a run. Never throws.
    virtual bool CanProcess() { return false; }
    // A one-line summary of the settings for the reporter: the empty text here.
    // A size of 0 raises ZRT_ERROR_INTERNAL "Unexpected zero-length string"; an
    // override whose summary does not fit raises ZRT_ERROR_INTERNAL
    // "String-Length exceeded available size".
    virtual void GetProcessingInfo(char* pszText, size_t nSize) const;
    // Registers the parameters and leaves the defaults in their stored values,
    // while the members keep the values they had. RestoreStored then resets a
    // member to its default, IsStoredEqual tells whether it differs from it.
    virtual void CollectDefaults(ClParameterContainer& container);
    // A composite processor hands this on to the processors inside it.
    virtual void EnableReport(bool bOn);
    // First step of a run; anything but 0 ends the run with that result.
    virtual int32_t Prepare() { return 0; }
    // Last step, given Process's status; anything but 0 fails the run.
    virtual int32_t Finalize(int32_t /*nStatus*/) { return 0; }
    // The work; 0 or a result code.
    virtual int32_t Process() = 0;

    bool IsReportEnabled() const { return m_pReporter != nullptr; }

    // The run sequence: Prepare, Process, Finalize, timed for the statistics
    // and reported. A result of Prepare other than 0 is returned at once. A
    // result of Finalize other than 0 raises it as "Finalization failed".
    // Otherwise Process's status is the result, also when it is a failure.
    int32_t Run();

    // The two process-wide hooks. Both start null, and the SDK installs neither.
    static void SetDefaultReporter(ClProcessingReporter* pReporter);
    static ClProcessingReporter* GetDefaultReporter();
    static void SetStatistics(ClProcessingStatistics* pStatistics);
    static ClProcessingStatistics* GetStatistics();

protected:
    ClProcessingReporter* m_pReporter;
};

// A plain list of descriptors of a processor's settings, for a host that
// shows them. Each descriptor can write itself to a stream and read itself
// back, big-endian by default.
class ClParameterInterface
{
public:
    // Kinds of value. The byte format knows three more (1, 2 and 5: two, two
    // and four bytes) that no helper below creates.
    enum EKind : uint32_t
    {
        eKindUInt8 = 0,
        eKindInt32 = 3,
        eKindDouble = 4,
        eKindUnset = 6,
        eKindImage = 7,
        eKindBool = 8,
        eKindEnum = 9,
    };
    enum EDirection : uint32_t
    {
        eDirectionIn = 0,
        eDirectionOut = 1,
        eDirectionUnset = 2,
    };

    class ClParameter
    {
    public:
        ClParameter() = default;
        ClParameter(const ClParameter&) = delete;
        ClParameter& operator=(const ClParameter&) = delete;
        virtual ~ClParameter();

        // Name, direction, fixed flag, range, default, the two attributes, the
        // kind, and the value behind pValue as wide as its kind says.
        virtual void Write(ClStream& stream) const;
        // Reads what Write wrote into range, default, attributes and the value
        // behind pValue; direction, fixed flag and kind are read and dropped. 0
        // on success; ZRT_ERROR_FORMAT_NOTSUPPORTED when the name differs (the
        // stream then stands behind the name); ZRT_ERROR_UNEXPECTED_EOF when
        // the stream ends early.
        virtual int32_t Read(ClStream& stream);

        void SetName(const char* pszText);
        void SetDescription(const char* pszText);
        // Copies the names into the list form "a\0b\0\0" and, if given, their values.
        void SetEnumEntries(const char* const* ppszNames, const uint32_t* puiValues, size_t nCount);

        uint32_t nType = eKindUnset;
        uint32_t nDirection = eDirectionUnset;
        uint32_t nFixed = 0;
        double dMin = 0.0;
        double dMax = 0.0;
        double dDefault = 0.0;
        void* pValue = nullptr;           // the member described; not owned
        char* pszEnumNames = nullptr;     // owned list of names ended by an empty name
        uint32_t* pEnumValues = nullptr;  // owned, one value per name; may be null
        bool bAttribute1 = false;
        bool bAttribute2 = false;
        char* pszName = nullptr;          // owned
        char* pszDescription = nullptr;   // owned
        ClParameter* pNext = nullptr;
    };

    ClParameterInterface() = default;
    ClParameterInterface(const ClParameterInterface&) = delete;
    ClParameterInterface& operator=(const ClParameterInterface&) = delete;
    ~ClParameterInterface();

    // Range convention of the three numeric kinds: the pair 1.0, -1.0 asks for
    // a range around the member's present value v, from 2v/3 to 4v/3; the ends
    // are then limited to what the kind can hold. Equal ends mark the
    // descriptor as fixed.
    ClParameter* AddUInt8(unsigned char* pValue, const char* pszName, const char* pszDescription,
                          EDirection eDirection, double dMin, double dMax);
    ClParameter* AddInt32(int32_t* pValue, const char* pszName, const char* pszDescription, EDirection eDirection,
                          double dMin, double dMax);
    ClParameter* AddDouble(double* pValue, const char* pszName, const char* pszDescription, EDirection eDirection,
                           double dMin, double dMax);
    ClParameter* AddImage(ClImage** pValue, const char* pszName, const char* pszDescription, EDirection eDirection,
                          double dMin, double dMax);
    // Names "False" and "True".
    ClParameter* AddBool(bool* pValue, const char* pszName, const char* pszDescription, EDirection eDirection);
    // A closed list of names; SetEnumEntries adds their values.
    template <typename TValue>
    ClParameter* AddEnum(TValue* pValue, const char* pszName, const char* pszDescription, EDirection eDirection,
                         const char* const* ppszNames, size_t nCount)
    {
        ClParameter* pDescriptor = Append(eKindEnum, pValue, pszName, pszDescription, eDirection);
        pDescriptor->dDefault = static_cast<double>(*pValue);
        pDescriptor->SetEnumEntries(ppszNames, nullptr, nCount);
        SetRange(*pDescriptor, 0.0, nCount > 0 ? static_cast<double>(nCount - 1) : 0.0);
        return pDescriptor;
    }

    ClParameter* GetFirst() const { return m_pFirst; }
    size_t GetCount() const { return m_nCount; }
    // The descriptor of that name (ASCII case ignored), or null.
    ClParameter* Find(const char* pszName) const;

private:
    // A new descriptor at the tail of the list, with kind, value, names and direction set.
    ClParameter* Append(uint32_t nType, void* pValue, const char* pszName, const char* pszDescription,
                       EDirection eDirection);
    static void SetRange(ClParameter& descriptor, double dMin, double dMax);
    // The automatic range, then the kind's limits.
    static void SetNumericRange(ClParameter& descriptor, double dValue, double dMin, double dMax, double dLowest,
                                double dHighest);

    ClParameter* m_pFirst = nullptr;
    size_t m_nCount = 0;
};
