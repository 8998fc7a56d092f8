// The property side of a handle, through the bodies of the exported property
// functions and through the handle's own operations, with handle classes that
// exist only here.
#include <cstring>
#include <functional>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ScopedLogEnvironment.h"
#include "sdk/OcqLogging.h"
#include "api/PropertyExports.h"
#include "session/SDKHandleBase.h"
#include "sdk/SafeHandle.h"
#include "sdk/TactiviewKR9.h"

class ClKR9Handle;

namespace {

template <class THandle>
using THandleBase = TSDKHandleBase<THandle, ClTactiviewKR9, TSDKHandleBaseBase<THandle, ClTactiviewKR9>>;

// A handle with nothing but the parameters every handle has, like the
// scanner's, and reached through the scanner's handle interface, exactly as
// the exported functions reach a handle.
class ClPlainHandle
    : public TSDKHandleBase<ClPlainHandle, ClTactiviewKR9, TSDKHandleBaseBase<ClKR9Handle, ClTactiviewKR9>>
{
};

// A parameter of the given kind, bound to pVariable.
template <typename TParameter, typename T>
TParameter* Bound(ClParameterContainer* pContainer, const char* pszName, T* pVariable, uint8_t nFlags)
{
    auto* pParameter = pContainer->CreateParameter<TParameter>(pszName);
    pParameter->Bind(pVariable, nFlags);
    return pParameter;
}

// A handle that publishes settings of every kind.
class ClSettingsHandle : public THandleBase<ClSettingsHandle>
{
public:
    void AddParameters(ClParameterContainer* pContainer) override
    {
        const uint8_t nInOut = kParameterIn | kParameterOut;
        Bound<TpParameterNumeric<int>>(pContainer, "nWidth", &m_nWidth, nInOut | kParameterRangeCheck)->SetRange(1, 15);
        Bound<TpParameterNumeric<double>>(pContainer, "dGain", &m_dGain, nInOut)->SetRange(0.5, 4.0);
        auto* pMode = Bound<TpParameterEnumPointer<long>>(pContainer, "Mode", &m_nMode, nInOut);
        pMode->AddEntry(0, "slow");
        pMode->AddEntry(5, "fast");
        Bound<TpParameterEnumPointer<long>>(pContainer, "Flagless", &m_nFlagless, nInOut);
        auto* pFilter = pContainer->CreateParameter<ClParameterContainer>("Filter");
        pFilter->CreateParameter<ClParameterContainer>("Empty");
        Bound<TpParameterNumeric<long>>(pFilter, "nSize", &m_nSize, kParameterOut);
        Bound<TpParameterNumeric<double>>(pFilter, "dLimit", &m_dLimit, kParameterOut);
    }

    int m_nWidth = 3;
    double m_dGain = 1.5;
    long m_nMode = 5, m_nFlagless = 0, m_nSize = 9;
    double m_dLimit = 0.25;
};

using PlainExports = TpPropertyExports<TSDKHandleBaseBase<ClKR9Handle, ClTactiviewKR9>>;

class HandleProperties : public testing::Test
{
protected:
    void SetUp() override
    {
        ClTactiviewKR9::Acquire();
        TpSafeHandle<ClPlainHandle, ClTactiviewKR9>::Create(&m_hPlain);
        TpSafeHandle<ClSettingsHandle, ClTactiviewKR9>::Create(&m_hSettings);
        m_pSettings = TpSafeHandle<ClSettingsHandle, ClTactiviewKR9>::GetObject(m_hSettings);
    }
    void TearDown() override
    {
        TpSafeHandle<ClPlainHandle, ClTactiviewKR9>::Destroy(&m_hPlain);
        TpSafeHandle<ClSettingsHandle, ClTactiviewKR9>::Destroy(&m_hSettings);
        ClTactiviewKR9::Release();
    }

    // The listing of parameter names, or of enumeration entries, to its end.
    template <typename TFirst, typename TNext>
    static std::vector<std::string> ListAll(TFirst first, TNext next)
    {
        char szName[64];
        size_t nSize = sizeof(szName);
        first(szName, &nSize);
        std::vector<std::string> names{szName};
        const auto readNext = [&] { nSize = sizeof(szName); return CodeOf([&] { next(szName, &nSize); }) == 0; };
        while (readNext())
            names.push_back(szName);
        return names;
    }

    void *m_hPlain = nullptr, *m_hSettings = nullptr;
    ClSettingsHandle* m_pSettings = nullptr;
};

// The exported property bodies on the plain handle, by the names the interface gives them.
using P = PlainExports;
int32_t Get(void* h, const char* n, char* v, uint64_t* s) { return P::GetPropertyA("TV_KR9GetPropertyA", h, n, v, s); }
int32_t Set(void* h, const char* n, const char* v) { return P::SetPropertyA("TV_KR9SetPropertyA", h, n, v); }
int32_t GetLong(void* h, const char* n, TV_KR9Long* v)
{
    return P::GetPropertyLongA("TV_KR9GetPropertyLongA", h, n, v);
}
int32_t SetLong(void* h, const char* n, TV_KR9Long v) { return P::SetPropertyLongA("TV_KR9SetPropertyLongA", h, n, v); }

TEST_F(HandleProperties, VersionGivesTheResultsOfTheInterface)
{
    // Enough room (exactly, and the name in any case), too little (-21, the
    // size needed, and an emptied buffer if it has two bytes or more), a size
    // query, enough room but no buffer, and no size.
    struct { const char* pszName; uint64_t nRoom; bool bBuffer; int32_t nResult; const char* pszLeft; } aReads[] = {
        {"Version", 32, true, 0, "1.0.1.1751"},        {"VERSION", 11, true, 0, "1.0.1.1751"},
        {"Version", 5, true, ZRT_ERROR_TEMPLATE_SIZE, ""}, {"Version", 1, true, ZRT_ERROR_TEMPLATE_SIZE, "zzzz"},
        {"Version", 0, false, ZRT_ERROR_TEMPLATE_SIZE, "zzzz"}, {"Version", 11, false, ZRT_ERROR_BAD_POINTER, "zzzz"}};
    char szValue[32];
    for (const auto& read : aReads) {
        strcpy(szValue, "zzzz");
        uint64_t nSize = read.nRoom;
        EXPECT_EQ(Get(m_hPlain, read.pszName, read.bBuffer ? szValue : nullptr, &nSize), read.nResult) << read.nRoom;
        EXPECT_EQ(nSize, 11u) << read.nRoom;
        EXPECT_STREQ(szValue, read.pszLeft) << read.nRoom;
    }
    EXPECT_EQ(Get(m_hPlain, "Version", szValue, nullptr), ZRT_ERROR_TEMPLATE_SIZE_PTR);

    EXPECT_EQ(Set(m_hPlain, "Version", "2.0"), ZRT_ERROR_PARAM_IS_READONLY);
}

TEST_F(HandleProperties, UnknownAndNullNames)
{
    // (A bad handle is refused before the name is looked at: the C interface's tests show it.)
    char szValue[16] = "keep";
    uint64_t nSize = sizeof(szValue);
    TV_KR9Long nValue = 0;
    EXPECT_EQ(Get(m_hPlain, "Serial", szValue, &nSize), ZRT_ERROR_PARAM_IS_UNKNOWN);
    EXPECT_STREQ(szValue, "") << "a failing read leaves the empty text";
    EXPECT_EQ(nSize, sizeof(szValue)) << "an unknown name answers no size";
    const std::pair<int32_t, int32_t> aResults[] = {
        {Set(m_hPlain, "Version2", "1"), ZRT_ERROR_PARAM_IS_UNKNOWN},
        {GetLong(m_hPlain, "", &nValue), ZRT_ERROR_PARAM_IS_UNKNOWN},
        {SetLong(m_hPlain, "Serial", 1), ZRT_ERROR_PARAM_IS_UNKNOWN},
        // A leaf ends a path, and "." is the root container: both exist.
        {Set(m_hPlain, "Version.x.y", "1"), ZRT_ERROR_PARAM_IS_READONLY},
        {Set(m_hPlain, ".", "1"), ZRT_ERROR_PARAM_IS_READONLY},
        {GetLong(m_hPlain, ".", &nValue), ZRT_ERROR_INVALID_PARAMETER},
        {Get(m_hPlain, nullptr, szValue, &nSize), ZRT_ERROR_INVALID_PARAMETER},
        {Set(m_hPlain, nullptr, "1"), ZRT_ERROR_INVALID_PARAMETER},
        {GetLong(m_hPlain, nullptr, &nValue), ZRT_ERROR_INVALID_PARAMETER},
        {SetLong(m_hPlain, nullptr, 1), ZRT_ERROR_INVALID_PARAMETER}};
    for (size_t i = 0; i < sizeof(aResults) / sizeof(aResults[0]); ++i)
        EXPECT_EQ(aResults[i].first, aResults[i].second) << "call " << i;
}

TEST_F(HandleProperties, FrameLogsTheCallWithItsArguments)
{
    const ScopedLogEnvironment logging("1");
    testing::internal::CaptureStdout();
    SetLong(m_hPlain, "Version", -7);
    const std::string strLog = testing::internal::GetCapturedStdout();
    const std::regex expected(R"(SetPropertyLongA\(0x[0-9a-f]+, 0x[0-9a-f]+, -7\) Error\(-44\))");
    EXPECT_TRUE(std::regex_search(strLog, expected)) << strLog;
}

// Calls on the handle and the codes they must raise.
using Refusals = std::vector<std::pair<std::function<void()>, int32_t>>;
void ExpectRefusals(const Refusals& refusals)
{
    for (size_t i = 0; i < refusals.size(); ++i)
        EXPECT_EQ(CodeOf(refusals[i].first), refusals[i].second) << "call " << i;
}

TEST_F(HandleProperties, NumbersAndEnumerationsByTextAndByInteger)
{
    ClSettingsHandle& handle = *m_pSettings;
    int32_t nValue = 0;
    double dValue = 0.0;
    handle.SetParameterString("nWidth", "10");
    handle.GetParameterLong("nWidth", &nValue);
    handle.SetParameterDouble("dGain", 2.25);
    handle.GetParameterDouble("dGain", &dValue);
    EXPECT_EQ(std::make_pair(nValue, dValue), std::make_pair(10, 2.25));
    handle.SetParameterString("Mode", "SLOW");
    EXPECT_EQ(handle.m_nMode, 0);
    handle.SetParameterLong("Mode", 5);
    char szText[16];
    size_t nSize = sizeof(szText);
    handle.GetParameterString("Mode", szText, &nSize);
    EXPECT_STREQ(szText, "fast");

    // The parameter's own refusals reach the caller; floating parameters are
    // no integers; read-only is tested behind the kind; an enumeration
    // without entries has no integer view; a container is neither In nor
    // Out. Nothing refused changes a value.
    ExpectRefusals({{[&] { handle.SetParameterLong("nWidth", 16); }, ZRT_ERROR_PARAM_OUT_OF_RANGE},
                    {[&] { handle.GetParameterLong("dGain", &nValue); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.SetParameterLong("Filter.dLimit", 1); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.SetParameterLong("Filter.nSize", 1); }, ZRT_ERROR_PARAM_IS_READONLY},
                    {[&] { handle.GetParameterLong("nWidth", nullptr); }, ZRT_ERROR_BAD_POINTER},
                    {[&] { handle.SetParameterDouble("nWidth", 2.0); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.SetParameterDouble("Filter.dLimit", 2.0); }, ZRT_ERROR_PARAM_IS_READONLY},
                    {[&] { handle.GetParameterLong("Flagless", &nValue); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.SetParameterString("Filter", "x"); }, ZRT_ERROR_PARAM_IS_READONLY}});
    EXPECT_EQ(std::make_tuple(handle.m_nWidth, handle.m_nSize, handle.m_nMode), std::make_tuple(10, 9L, 5L));
}

TEST_F(HandleProperties, KindAccessAndRangeQueries)
{
    ClSettingsHandle& handle = *m_pSettings;
    for (const auto& kind : {std::make_pair("nWidth", 0u), std::make_pair("dGain", 1u), std::make_pair("Mode", 2u)}) {
        uint32_t uiType = 99;
        handle.GetParameterType(kind.first, &uiType);
        EXPECT_EQ(uiType, kind.second) << kind.first;
    }
    uint32_t uiAccess = 0;
    handle.GetParameterAccess("nWidth", &uiAccess);
    EXPECT_EQ(uiAccess, 3u) << "the range-check bit is no access bit";
    int32_t nMinimum = 0, nMaximum = 0;
    handle.GetParameterRangeLong("nWidth", &nMinimum, &nMaximum);
    EXPECT_EQ(std::make_pair(nMinimum, nMaximum), std::make_pair(1, 15));

    // No range on nSize; no parameter of this handle holds a block of bytes.
    char aData[4];
    size_t nSize = sizeof(aData);
    ExpectRefusals({{[&] { handle.GetParameterType("Mode", nullptr); }, ZRT_ERROR_TEMPLATE_PTR_NULL},
                    {[&] { handle.GetParameterRangeLong("nWidth", nullptr, nullptr); }, ZRT_ERROR_TEMPLATE_PTR_NULL},
                    {[&] { handle.GetParameterRangeLong("Filter.nSize", &nMinimum, &nMaximum); },
                     ZRT_ERROR_UNSUPPORTED_FEATURE},
                    {[&] { handle.GetParameterRangeLong("dGain", &nMinimum, &nMaximum); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.GetParameterBinary("Version", aData, &nSize); }, ZRT_ERROR_INVALID_PARAMETER},
                    {[&] { handle.GetParameterBinary("Version", aData, nullptr); }, ZRT_ERROR_TEMPLATE_SIZE_PTR}});
}

TEST_F(HandleProperties, ListingNamesAndEnumerationEntries)
{
    ClSettingsHandle& handle = *m_pSettings;
    char szName[64];
    size_t nSize = sizeof(szName);
    EXPECT_EQ(CodeOf([&] { handle.GetNextParameterName(szName, &nSize); }, "The Enumeration is not initialized."),
              ZRT_ERROR_INVALID_STATE);
    const auto names = ListAll([&](char* p, size_t* n) { handle.GetFirstParameterName(p, n); },
                               [&](char* p, size_t* n) { handle.GetNextParameterName(p, n); });
    EXPECT_EQ(names, (std::vector<std::string>{"Version", "nWidth", "dGain", "Mode", "Flagless", "Filter.nSize",
                                               "Filter.dLimit"}));

    // A size query does not move the listing on.
    handle.GetFirstParameterName(szName, &nSize);
    nSize = 0;
    EXPECT_EQ(CodeOf([&] { handle.GetNextParameterName(nullptr, &nSize); }), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(nSize, strlen("nWidth") + 1);
    handle.GetNextParameterName(szName, &nSize);
    EXPECT_STREQ(szName, "nWidth");

    // Dropping the tree ends the listing.
    handle.ResetParameters();
    EXPECT_EQ(CodeOf([&] { handle.GetNextParameterName(szName, &nSize); }), ZRT_ERROR_INVALID_STATE);
    const auto entries = ListAll([&](char* p, size_t* n) { handle.GetFirstEnumEntry("mode", p, n); },
                                 [&](char* p, size_t* n) { handle.GetNextEnumEntry(p, n); });
    EXPECT_EQ(entries, (std::vector<std::string>{"slow", "fast"}));
    nSize = sizeof(szName);
    EXPECT_EQ(CodeOf([&] { handle.GetNextEnumEntry(szName, &nSize); }), ZRT_ERROR_INVALID_STATE);
    EXPECT_EQ(CodeOf([&] { handle.GetFirstEnumEntry("Flagless", szName, &nSize); }), ZRT_ERROR_UNSUPPORTED_FEATURE);
}

}  // namespace
