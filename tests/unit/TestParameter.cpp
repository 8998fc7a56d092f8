// Parameters bound to variables: text and number conversions, limits and
// ranges, stored values, enumerations and string buffers.
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "params/ParameterContainer.h"
#include "params/TypedParameter.h"

namespace {

// The live (or stored) value as text, through a buffer large enough for any number.
std::string TextOf(const ClParameter& parameter, bool bStored = false)
{
    char szText[128];
    size_t nSize = sizeof(szText);
    EXPECT_TRUE(bStored ? parameter.GetStoredAsString(szText, &nSize) : parameter.GetAsString(szText, &nSize));
    return szText;
}

TEST(Parameter, NamesAreCopiedAndComparedWithoutAsciiCase)
{
    TpParameterNumeric<int> parameter;
    std::string strName = "Version";
    parameter.SetName(strName.c_str());
    strName[0] = 'X';
    parameter.SetName(parameter.GetName());  // renaming to itself must not read freed memory
    EXPECT_STREQ(parameter.GetName(), "Version") << "the name is a copy";
    EXPECT_FALSE(ParameterNamesEqual("Version", "Versio"));  // (case folds: the parameter trees' lookups show it)
    EXPECT_FALSE(ParameterNamesEqual("\xC4", "\xE4")) << "only ASCII letters fold";
    EXPECT_FALSE(ParameterNamesEqual(nullptr, nullptr)) << "an unnamed parameter is never found";
}

TEST(Parameter, TextToNumberFollowsTheHexadecimalMarkAndRefusesJunk)
{
    long nValue = 7;
    TpParameterNumeric<long> parameter;
    parameter.SetName("nWidth");
    parameter.Bind(&nValue, kParameterIn | kParameterOut);
    // The hexadecimal reading saturates at 32 bits; a valid double gives the base-10 integer at its start.
    for (const auto& accepted : {std::make_pair("0x10", 16L), {"x10", 16L}, {"junkX10", 16L}, {"0X10", 16L},
                                 {"0xFFFFFFFF", 2147483647L}, {"1e3", 1L}}) {
        parameter.SetFromString(accepted.first);
        EXPECT_EQ(nValue, accepted.second) << accepted.first;
    }
    nValue = 5;
    for (const char* pszText : {"12abc", "12 ", "0x1G", "inf", "1e999"}) {
        const std::string strText = std::string("Failed to set parameter \"nWidth\" to value \"") + pszText + "\"";
        EXPECT_EQ(CodeOf([&] { parameter.SetFromString(pszText); }, strText.c_str()), ZRT_ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString(nullptr); }, "value string is NULL pointer!"),
              ZRT_ERROR_TEMPLATE_PTR);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString("4294967296"); }, "Value out of range for parameter \"nWidth\""),
              ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString("-2147483649"); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(nValue, 5) << "a refused text leaves the value as it was";
}

TEST(Parameter, LimitsOfTheTypeHoldOnEveryWritePath)
{
    unsigned char nByte = 9;
    TpParameterNumeric<unsigned char> parameter;
    parameter.Bind(&nByte, kParameterIn);
    for (const std::function<void()>& write : std::vector<std::function<void()>>{
             [&] { parameter.SetFromString("256"); }, [&] { parameter.SetFromString("-1"); },
             [&] { parameter.SetValue(256.0); }, [&] { parameter.SetValue(std::nan("")); },
             [&] { parameter.SetValueLong(-1); }, [&] { parameter.SetStored(300.0); }})
        EXPECT_EQ(CodeOf(write), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(nByte, 9);
    EXPECT_EQ(parameter.GetStoredValue(), 9);
    parameter.SetValue(254.9);
    EXPECT_EQ(nByte, 254) << "doubles truncate toward zero";
}

TEST(Parameter, RangeIsInformationUnlessClampOrRangeCheckIsSet)
{
    int nValue = 5;
    TpParameterNumeric<int> parameter;
    parameter.Bind(&nValue, kParameterIn | kParameterOut);
    parameter.SetRange(0, 10);
    // Flags, the value written and what the variable holds after it; a refused write leaves 3.
    const int32_t nClamp = kParameterIn | kParameterClamp, nCheck = kParameterIn | kParameterRangeCheck;
    const struct { int32_t nFlags; long nWritten; int nResult; } aWrites[] = {
        {kParameterIn, 20, 20},  // without flags the range does not limit
        {nClamp, 20, 10}, {nClamp, -4, 0}, {nCheck, 11, 3}, {nCheck, 10, 10}, {nCheck, 0, 0},
        {nClamp | kParameterRangeCheck, 99, 10}};  // the clamp comes before the check
    for (const auto& write : aWrites) {
        parameter.SetFlags(write.nFlags);
        nValue = 3;
        EXPECT_EQ(CodeOf([&] { parameter.SetValueLong(write.nWritten); }),
                  write.nResult == 3 ? ZRT_ERROR_PARAM_OUT_OF_RANGE : 0);
        EXPECT_EQ(nValue, write.nResult) << write.nFlags << ": " << write.nWritten;
    }
    parameter.SetFlags(kParameterIn | kParameterClamp);
    parameter.SetFromString("20");
    EXPECT_EQ(nValue, 10) << "text is clamped too";
    EXPECT_FALSE(parameter.IsAllowed(1e12)) << "beyond the type is never allowed";

    parameter.SetFlags(kParameterIn | kParameterRangeCheck);
    parameter.SetRange(4, 4);
    parameter.SetValueLong(-50);
    EXPECT_EQ(nValue, -50) << "equal ends are no range at all";
}

TEST(Parameter, NumbersToTextTrimZerosOnlyForTheLiveValue)
{
    double dValue = 2.5;
    TpParameterNumeric<double> parameter;
    parameter.Bind(&dValue, kParameterIn | kParameterOut);
    EXPECT_EQ(TextOf(parameter), "2.5");
    EXPECT_EQ(TextOf(parameter, true), "2.500000");
    dValue = 100.0;
    EXPECT_EQ(TextOf(parameter), "100.0") << "one zero stays behind the point";
    // A "*" takes the precision; the value then prints as a double.
    parameter.SetFormat("%.*f");
    parameter.SetPrecision(2);
    dValue = 3.14159;
    EXPECT_EQ(TextOf(parameter), "3.14");

    // Size protocol: the room needed is that of the untrimmed print; nothing
    // is written into a buffer that is too small.
    parameter.SetFormat("%f");
    dValue = 2.5;
    char szSmall[4] = "abc";
    size_t nSize = sizeof(szSmall), nQuery = 100, nTooLittle = 3;
    EXPECT_FALSE(parameter.GetAsString(szSmall, &nSize));
    EXPECT_STREQ(szSmall, "abc");
    EXPECT_TRUE(parameter.GetAsString(nullptr, &nQuery));
    EXPECT_FALSE(parameter.GetAsString(nullptr, &nTooLittle)) << "a size query with too little room";
    EXPECT_EQ(std::make_tuple(nSize, nQuery, nTooLittle), std::make_tuple(size_t(9), size_t(9), size_t(9)));
}

TEST(Parameter, StoredValuesPassBetweenParametersOfTheSameTypeOnly)
{
    // (Swapping and restoring, child by child, are the parameter tree's tests.)
    int nLive = 1, nOther = 40;
    TpParameterNumeric<int> parameter;
    parameter.Bind(&nLive, kParameterIn | kParameterOut);
    TpParameterNumeric<int> other;
    other.Bind(&nOther, kParameterIn | kParameterOut);
    other.SetStoredValue(41);
    parameter.AssignStoredFrom(other);
    EXPECT_EQ(nLive, 41);

    // A parameter of another type on the other side is refused, not misread;
    // a parameter bound to nothing is refused as well.
    double dOther = 0.0;
    TpParameterNumeric<double> mismatched;
    mismatched.Bind(&dOther, kParameterIn);
    EXPECT_EQ(CodeOf([&] { parameter.CopyStoredFrom(mismatched); }), ZRT_ERROR_BAD_POINTER);
    TpParameterNumeric<int> unbound;
    EXPECT_EQ(CodeOf([&] { unbound.SetValueLong(1); }), ZRT_ERROR_BAD_POINTER);
    TpParameter<int> plain;
    plain.Bind(&nLive, kParameterIn);
    EXPECT_EQ(CodeOf([&] { plain.SetFromString("1"); }, "Abstract function"), ZRT_ERROR_INTERNAL);
}

TEST(Parameter, CloneCopiesSetupAndBindsToTheSameVariable)
{
    int nValue = 4;
    auto pOriginal = std::make_unique<TpParameterNumeric<int>>();
    pOriginal->SetName("nSize");
    pOriginal->SetDescription("edge length");
    pOriginal->Bind(&nValue, kParameterIn | kParameterClamp);
    pOriginal->SetRange(0, 8);
    pOriginal->SetFormat("%04d");
    std::unique_ptr<ClParameter> pClone(pOriginal->Clone());
    pOriginal.reset();  // the clone must not lean on the original's members

    ASSERT_NE(dynamic_cast<TpParameterNumeric<int>*>(pClone.get()), nullptr);
    EXPECT_EQ(std::make_tuple(std::string(pClone->GetName()), std::string(pClone->GetDescription()), pClone->GetFlags(),
                              pClone->GetValuePointer()),
              std::make_tuple("nSize", "edge length", kParameterIn | kParameterClamp, static_cast<void*>(&nValue)));
    pClone->SetFromString("100");
    EXPECT_EQ(nValue, 8) << "range and clamp flag came along";
    EXPECT_EQ(TextOf(*pClone), "0008") << "so did the format";
}

TEST(Parameter, EnumerationEntriesNameValuesAndRefuseUnknownOnes)
{
    unsigned char nType = 1;
    TpParameterEnumPointer<unsigned char> parameter;
    parameter.SetName("OutImageType");
    parameter.Bind(&nType, kParameterIn | kParameterOut);
    EXPECT_EQ(parameter.AsEnum(), nullptr) << "no entries, no enumeration";
    for (const auto& entry : {std::make_pair(1, "unsigned char"), {130, "signed short"}, {196, "float"},
                              {255, "default"}})
        parameter.AddEntry(static_cast<unsigned char>(entry.first), entry.second);
    ASSERT_NE(parameter.AsEnum(), nullptr);

    parameter.SetFromString("DEFAULT");
    EXPECT_EQ(std::make_tuple(nType, TextOf(parameter), parameter.GetValueLong()),
              std::make_tuple(255, "default", 255));
    parameter.SetValueLong(130);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString("half"); },
                     "Value \"half\" out of range for parameter \"OutImageType\""),
              ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(CodeOf([&] { parameter.SetValueLong(3); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString(nullptr); }, "is NULL pointer"), ZRT_ERROR_TEMPLATE_PTR);
    EXPECT_EQ(nType, 130);
    nType = 7;  // a value the list does not know, set behind the parameter's back
    EXPECT_EQ(CodeOf([&] { TextOf(parameter); }, "Parameter \"OutImageType\" out of range using value \"7\""),
              ZRT_ERROR_PARAM_OUT_OF_RANGE);

    // Entry names by the enumeration interface's own protocol: a name that does not fit leaves the empty text.
    char szName[8] = "xxxxxxx";
    EXPECT_EQ(parameter.GetEntryName(0, szName, sizeof(szName)), 13u);
    EXPECT_STREQ(szName, "");
}

TEST(Parameter, EnumerationDuplicatesAndRemoval)
{
    bool bEqual = true;
    TpParameterEnumPointer<bool> parameter;
    parameter.Bind(&bEqual, kParameterIn | kParameterOut);
    parameter.AddEntry(true, "true");
    parameter.AddEntry(false, "false");
    parameter.AddEntry(true, "True");
    EXPECT_EQ(parameter.GetEntryCount(), 3u) << "the same name with the same value is stored again";
    EXPECT_EQ(CodeOf([&] { parameter.AddEntry(false, "TRUE"); }), ZRT_ERROR_PARAM_VALUE_DUPLICATE);
    EXPECT_EQ(parameter.GetEntryCount(), 3u);
    // The first index removed is answered, and every entry of the value goes.
    EXPECT_EQ(parameter.RemoveValue(true), 0);
    EXPECT_EQ(std::make_pair(parameter.GetEntryCount(), parameter.RemoveValue(true)),
              std::make_pair(size_t(1), int32_t(-1)));

    char szName[16];
    long nMode = 0;
    TpParameterEnumPointer<long> modes;
    modes.Bind(&nMode, kParameterIn);
    for (long i = 0; i < 12; ++i)
        modes.AddEntry(i, ("mode" + std::to_string(i)).c_str());
    EXPECT_EQ(modes.RemoveName("MODE3"), 3);
    EXPECT_EQ(std::make_pair(modes.RemoveName("mode3"), modes.GetEntryCount()),
              std::make_pair(int32_t(-1), size_t(11)));
    modes.GetEntryName(3, szName, sizeof(szName));
    EXPECT_STREQ(szName, "mode4") << "the gap is closed";
}

TEST(Parameter, PointerParametersPrintAddressesAndAreNotCopiedUnlessForced)
{
    int nFirst = 0, nSecond = 0;
    int *pImage = nullptr, *pOtherImage = &nSecond;
    TpParameterEnumPointer<int*> parameter, other;
    parameter.Bind(&pImage, kParameterIn);
    parameter.SetPointer(true);
    EXPECT_EQ(TextOf(parameter), "NULL");
    pImage = &nFirst;
    char szExpected[32];
    snprintf(szExpected, sizeof(szExpected), "%p", static_cast<void*>(&nFirst));
    EXPECT_EQ(TextOf(parameter), szExpected);
    other.Bind(&pOtherImage, kParameterIn);
    parameter.AssignValueFrom(other, false);
    EXPECT_EQ(pImage, &nFirst) << "a pointer is not copied by accident";
    parameter.AssignValueFrom(other, true);
    EXPECT_EQ(pImage, &nSecond);
}

TEST(Parameter, StringParameterCopiesIntoItsBufferWithinItsCapacity)
{
    char szBuffer[8] = "abc", szOut[8];
    char* pszBuffer = szBuffer;
    TpParameterString<> parameter;
    parameter.Bind(&pszBuffer, kParameterIn | kParameterOut);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString(""); }, "String memory ar too small"), ZRT_ERROR_TEMPLATE_SIZE)
        << "capacity 0 refuses every text";
    parameter.SetCapacity(sizeof(szBuffer));
    parameter.SetFromString("1234567");  // with its terminator, exactly the capacity
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString("12345678"); }), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(CodeOf([&] { parameter.SetFromString(nullptr); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_STREQ(szBuffer, "1234567");

    // A size query; with enough room a null buffer is an error.
    size_t nSize = 3;
    EXPECT_FALSE(parameter.GetAsString(nullptr, &nSize));
    EXPECT_EQ(nSize, 8u);
    EXPECT_EQ(CodeOf([&] { parameter.GetAsString(nullptr, &nSize); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_TRUE(parameter.GetAsString(szOut, &nSize));
    EXPECT_STREQ(szOut, "1234567");

    // The clone is an enumeration over the same buffer that never writes into it.
    pszBuffer = szBuffer;
    std::unique_ptr<ClParameter> pClone(parameter.Clone());
    EXPECT_FALSE(pClone->IsString());
    EXPECT_EQ(pClone->GetValuePointer(), &pszBuffer) << "the binding came along";
    EXPECT_EQ(CodeOf([&] { pClone->SetFromString("other"); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_STREQ(szBuffer, "1234567");
}

}  // namespace
