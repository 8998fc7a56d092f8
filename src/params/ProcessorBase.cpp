#include "params/ProcessorBase.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "support/StopWatch.h"

namespace {

// Read by every processor's constructor and run, possibly on the capture
// thread; set, if ever, by a host.
std::atomic<ClProcessingReporter*> s_pDefaultReporter{nullptr};
std::atomic<ClProcessingStatistics*> s_pStatistics{nullptr};

// The room GetProcessingInfo gets for the reporter's line.
constexpr size_t kProcessingInfoSize = 512;

char* DuplicateDescriptorText(const char* pszText)
{
    if (pszText == nullptr)
        return nullptr;
    const size_t nLength = strlen(pszText);
    char* pszCopy = new (std::nothrow) char[nLength + 1];
    if (pszCopy == nullptr)
        ThrowParameterAllocationFailed();
    memcpy(pszCopy, pszText, nLength + 1);
    return pszCopy;
}

}  // namespace

// ---- Statistics -----------------------------------------------------------------

void ClProcessingStatistics::Add(const ClProcessorBase& processor, double dSeconds)
{
    const std::type_info& type = typeid(processor);
    for (uint64_t i = 0; i < m_Entries.GetCount(); ++i) {
        if (*m_Entries[i].pType == type) {
            m_Entries[i].dTotalSeconds += dSeconds;
            ++m_Entries[i].nCalls;
            return;
        }
    }
    m_Entries.Add(StProcessingStatisticsEntry{&type, dSeconds, 1});
}

// ---- ClProcessorBase ------------------------------------------------------------

ClProcessorBase::ClProcessorBase() : m_pReporter(s_pDefaultReporter.load()) {}

void ClProcessorBase::GetProcessingInfo(char* pszText, size_t nSize) const
{
    if (nSize == 0)
        throw ClException("Unexpected zero-length string", ZRT_ERROR_INTERNAL, false, "Unknown", -1);
    if (pszText == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    pszText[0] = '\0';
}

void ClProcessorBase::CollectDefaults(ClParameterContainer& container)
{
    // The parameters store the members' present values; the swaps let the
    // defaults pass through the members into the stored values and bring the
    // present values back.
    RegisterParameters(container);
    container.SwapStored();
    SetDefaultParameters();
    container.SwapStored();
}

void ClProcessorBase::EnableReport(bool bOn)
{
    m_pReporter = bOn ? s_pDefaultReporter.load() : nullptr;
}

int32_t ClProcessorBase::Run()
{
    if (m_pReporter != nullptr)
        m_pReporter->Reset(0);
    const Qvn::CXStopWatch stopWatch;

    const int32_t nPrepared = Prepare();
    if (nPrepared != 0)
        return nPrepared;
    const int32_t nStatus = Process();
    const int32_t nFinalized = Finalize(nStatus);
    if (nFinalized != 0)
        throw ClException("Finalization failed", nFinalized, true, KR9_SITE);

    if (ClProcessingStatistics* pStatistics = s_pStatistics.load())
        pStatistics->Add(*this, stopWatch.GetElapsedSeconds());
    if (m_pReporter != nullptr) {
        char szInfo[kProcessingInfoSize];
        GetProcessingInfo(szInfo, sizeof(szInfo));
        m_pReporter->Print("%s %s", GetClassName(), szInfo);
    }
    return nStatus;
}

void ClProcessorBase::SetDefaultReporter(ClProcessingReporter* pReporter)
{
    s_pDefaultReporter.store(pReporter);
}

ClProcessingReporter* ClProcessorBase::GetDefaultReporter()
{
    return s_pDefaultReporter.load();
}

void ClProcessorBase::SetStatistics(ClProcessingStatistics* pStatistics)
{
    s_pStatistics.store(pStatistics);
}

ClProcessingStatistics* ClProcessorBase::GetStatistics()
{
    return s_pStatistics.load();
}

// ---- Descriptors ----------------------------------------------------------------

ClParameterInterface::ClParameter::~ClParameter()
{
    delete[] pszEnumNames;
    delete[] pEnumValues;
    delete[] pszName;
    delete[] pszDescription;
}

void ClParameterInterface::ClParameter::SetName(const char* pszText)
{
    char* pszCopy = DuplicateDescriptorText(pszText);
    delete[] pszName;
    pszName = pszCopy;
}

void ClParameterInterface::ClParameter::SetDescription(const char* pszText)
{
    char* pszCopy = DuplicateDescriptorText(pszText);
    delete[] pszDescription;
    pszDescription = pszCopy;
}

void ClParameterInterface::ClParameter::SetEnumEntries(const char* const* ppszNames, const uint32_t* puiValues,
                                                      size_t nCount)
{
    size_t nBytes = 1;  // the empty name that ends the list
    for (size_t i = 0; i < nCount; ++i)
        nBytes += strlen(ppszNames[i]) + 1;
    std::unique_ptr<char[]> pszNames(new (std::nothrow) char[nBytes]);
    std::unique_ptr<uint32_t[]> pValues(puiValues != nullptr ? new (std::nothrow) uint32_t[nCount] : nullptr);
    if (pszNames == nullptr || (puiValues != nullptr && pValues == nullptr))
        ThrowParameterAllocationFailed();
    char* pszCursor = pszNames.get();
    for (size_t i = 0; i < nCount; ++i) {
        const size_t nLength = strlen(ppszNames[i]) + 1;
        memcpy(pszCursor, ppszNames[i], nLength);
        pszCursor += nLength;
    }
    *pszCursor = '\0';
    if (pValues != nullptr)
        std::copy(puiValues, puiValues + nCount, pValues.get());

    delete[] pszEnumNames;
    delete[] pEnumValues;
    pszEnumNames = pszNames.release();
    pEnumValues = pValues.release();
}

void ClParameterInterface::ClParameter::Write(ClStream& stream) const
{
    stream.WriteString(pszName);
    stream.Write(static_cast<uint8_t>(nDirection));
    stream.Write(static_cast<uint8_t>(nFixed));
    stream.Write(dMin);
    stream.Write(dMax);
    stream.Write(dDefault);
    stream.Write(bAttribute1);
    stream.Write(bAttribute2);
    stream.Write(static_cast<uint8_t>(nType));
    if (pValue == nullptr)
        return;
    switch (nType) {
    case 0: {
        uint8_t nValue;
        memcpy(&nValue, pValue, sizeof(nValue));
        stream.Write(nValue);
        break;
    }
    case 1:
    case 2: {
        uint16_t nValue;
        memcpy(&nValue, pValue, sizeof(nValue));
        stream.Write(nValue);
        break;
    }
    case 3:
    case 5: {
        uint32_t nValue;
        memcpy(&nValue, pValue, sizeof(nValue));
        stream.Write(nValue);
        break;
    }
    case 4: {
        double dValue;
        memcpy(&dValue, pValue, sizeof(dValue));
        stream.Write(dValue);
        break;
    }
    default:
        break;
    }
}

int32_t ClParameterInterface::ClParameter::Read(ClStream& stream)
{
    bool bComplete = true;
    auto readField = [&](auto& field) { bComplete = stream.Read(field) == sizeof(field) && bComplete; };

    // The name, compared byte for byte with this descriptor's; the whole of it
    // is consumed either way, so the stream stands behind it.
    uint32_t nLength = 0;
    readField(nLength);
    const char* pszExpected = pszName != nullptr ? pszName : "";
    const size_t nExpected = strlen(pszExpected) + 1;
    bool bSameName = bComplete && nLength == nExpected;
    for (uint32_t i = 0; bComplete && i < nLength; ++i) {
        uint8_t nByte = 0;
        readField(nByte);
        bSameName = bSameName && bComplete && nByte == static_cast<uint8_t>(pszExpected[i]);
    }
    if (!bComplete)
        return ZRT_ERROR_UNEXPECTED_EOF;
    if (!bSameName)
        return ZRT_ERROR_FORMAT_NOTSUPPORTED;

    uint8_t nDropped = 0;
    readField(nDropped);  // direction
    readField(nDropped);  // fixed
    readField(dMin);
    readField(dMax);
    readField(dDefault);
    readField(bAttribute1);
    readField(bAttribute2);
    readField(nDropped);  // kind: this descriptor's own kind decides how the value is read
    if (!bComplete)
        return ZRT_ERROR_UNEXPECTED_EOF;
    if (pValue == nullptr)
        return 0;

    switch (nType) {
    case 0: {
        uint8_t nValue = 0;
        readField(nValue);
        if (bComplete)
            memcpy(pValue, &nValue, sizeof(nValue));
        break;
    }
    case 1: {
        // Written with two bytes and read with four, as the format has always
        // done; only the two bytes the member holds are stored.
        uint32_t nValue = 0;
        readField(nValue);
        const uint16_t nStored = static_cast<uint16_t>(nValue);
        if (bComplete)
            memcpy(pValue, &nStored, sizeof(nStored));
        break;
    }
    case 2: {
        uint16_t nValue = 0;
        readField(nValue);
        if (bComplete)
            memcpy(pValue, &nValue, sizeof(nValue));
        break;
    }
    case 3:
    case 5: {
        uint32_t nValue = 0;
        readField(nValue);
        if (bComplete)
            memcpy(pValue, &nValue, sizeof(nValue));
        break;
    }
    case 4: {
        double dValue = 0.0;
        readField(dValue);
        if (bComplete)
            memcpy(pValue, &dValue, sizeof(dValue));
        break;
    }
    default:
        break;
    }
    return bComplete ? 0 : ZRT_ERROR_UNEXPECTED_EOF;
}

// ---- ClParameterInterface -------------------------------------------------------

ClParameterInterface::~ClParameterInterface()
{
    while (m_pFirst != nullptr) {
        ClParameter* pNext = m_pFirst->pNext;
        delete m_pFirst;
        m_pFirst = pNext;
    }
}

ClParameterInterface::ClParameter* ClParameterInterface::Find(const char* pszName) const
{
    for (ClParameter* pDescriptor = m_pFirst; pDescriptor != nullptr; pDescriptor = pDescriptor->pNext)
        if (ParameterNamesEqual(pDescriptor->pszName, pszName))
            return pDescriptor;
    return nullptr;
}

ClParameterInterface::ClParameter* ClParameterInterface::Append(uint32_t nType, void* pValue, const char* pszName,
                                                                const char* pszDescription, EDirection eDirection)
{
    if (pValue == nullptr)
        throw ClException("pValue is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    std::unique_ptr<ClParameter> pDescriptor(new (std::nothrow) ClParameter());
    if (pDescriptor == nullptr)
        ThrowParameterAllocationFailed();
    pDescriptor->nType = nType;
    pDescriptor->nDirection = eDirection;
    pDescriptor->pValue = pValue;
    pDescriptor->SetName(pszName);
    pDescriptor->SetDescription(pszDescription);

    ClParameter** ppTail = &m_pFirst;
    while (*ppTail != nullptr)
        ppTail = &(*ppTail)->pNext;
    *ppTail = pDescriptor.release();
    ++m_nCount;
    return *ppTail;
}

void ClParameterInterface::SetRange(ClParameter& descriptor, double dMin, double dMax)
{
    descriptor.dMin = dMin;
    descriptor.dMax = dMax;
    descriptor.nFixed = dMin == dMax ? 1 : 0;
}

void ClParameterInterface::SetNumericRange(ClParameter& descriptor, double dValue, double dMin, double dMax,
                                           double dLowest, double dHighest)
{
    if (dMin == 1.0 && dMax == -1.0) {
        const double dUpper = dValue * 4.0 / 3.0;
        const double dLower = dValue * 2.0 / 3.0;
        dMin = std::min(dUpper, dLower);
        dMax = std::max(dUpper, dLower);
    }
    SetRange(descriptor, std::clamp(dMin, dLowest, dHighest), std::clamp(dMax, dLowest, dHighest));
}

ClParameterInterface::ClParameter* ClParameterInterface::AddUInt8(unsigned char* pValue, const char* pszName,
                                                                  const char* pszDescription, EDirection eDirection,
                                                                  double dMin, double dMax)
{
    ClParameter* pDescriptor = Append(eKindUInt8, pValue, pszName, pszDescription, eDirection);
    pDescriptor->dDefault = *pValue;
    SetNumericRange(*pDescriptor, *pValue, dMin, dMax, 0.0, 255.0);
    return pDescriptor;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddInt32(int32_t* pValue, const char* pszName,
                                                                  const char* pszDescription, EDirection eDirection,
                                                                  double dMin, double dMax)
{
    ClParameter* pDescriptor = Append(eKindInt32, pValue, pszName, pszDescription, eDirection);
    pDescriptor->dDefault = *pValue;
    SetNumericRange(*pDescriptor, *pValue, dMin, dMax, -2147483648.0, 2147483647.0);
    return pDescriptor;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddDouble(double* pValue, const char* pszName,
                                                                   const char* pszDescription, EDirection eDirection,
                                                                   double dMin, double dMax)
{
    ClParameter* pDescriptor = Append(eKindDouble, pValue, pszName, pszDescription, eDirection);
    pDescriptor->dDefault = *pValue;
    SetNumericRange(*pDescriptor, *pValue, dMin, dMax, -std::numeric_limits<double>::max(),
                    std::numeric_limits<double>::max());
    return pDescriptor;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddImage(ClImage** pValue, const char* pszName,
                                                                  const char* pszDescription, EDirection eDirection,
                                                                  double dMin, double dMax)
{
    ClParameter* pDescriptor = Append(eKindImage, pValue, pszName, pszDescription, eDirection);
    // An image has no number to stand for it.
    pDescriptor->dDefault = 0.0;
    SetRange(*pDescriptor, dMin, dMax);
    return pDescriptor;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddBool(bool* pValue, const char* pszName,
                                                                 const char* pszDescription, EDirection eDirection)
{
    static const char* const s_apszNames[] = {"False", "True"};
    ClParameter* pDescriptor = Append(eKindBool, pValue, pszName, pszDescription, eDirection);
    pDescriptor->dDefault = *pValue ? 1.0 : 0.0;
    pDescriptor->SetEnumEntries(s_apszNames, nullptr, 2);
    SetRange(*pDescriptor, 0.0, 1.0);
    return pDescriptor;
}
