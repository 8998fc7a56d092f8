// The code table and the exception family.
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "sdk/ErrorTable.h"
#include "sdk/Exception.h"

namespace {

TEST(ErrorTable, WideColumnsCarryTheSameCharactersAndFiveCodesStandTwice)
{
    size_t nRows = 0;
    const StErrorTableRow* pTable = GetErrorTable(&nRows);
    std::multiset<int32_t> codes;
    for (size_t i = 0; i < nRows; ++i) {
        codes.insert(pTable[i].nCode);
        ASSERT_EQ(std::wstring(pTable[i].pwszMessage),
                  std::wstring(pTable[i].pszMessage, pTable[i].pszMessage + strlen(pTable[i].pszMessage)));
        ASSERT_EQ(std::wstring(pTable[i].pwszName),
                  std::wstring(pTable[i].pszName, pTable[i].pszName + strlen(pTable[i].pszName)));
    }
    for (int32_t nDoubled : {-38, -39, -44, -206, -830})
        EXPECT_EQ(codes.count(nDoubled), 2u) << nDoubled;
    EXPECT_EQ(codes.size() - std::set<int32_t>(codes.begin(), codes.end()).size(), 5u);
}

TEST(ErrorTable, LookupTakesTheFirstRowAndFallsBackToUnknown)
{
    ASSERT_NE(FindErrorRow(-206), nullptr);
    EXPECT_STREQ(FindErrorRow(-206)->pszName, "ZRT_ERROR_UNKNOWN_PARAMETER");
    EXPECT_STREQ(FindErrorRow(-830)->pszName, "ZRT_ERROR_FR_NO_SUBJECT_FOUND");
    EXPECT_STREQ(FindErrorRow(-44)->pszName, "ZRT_ERROR_INVALID_PARAMETER");
    EXPECT_STREQ(GetErrorMessage(-206), "A given parameter is unknown.");
    EXPECT_EQ(FindErrorRow(-18), nullptr) << "(its text is the C interface's test)";
}

TEST(Exception, PlainCodeBorrowsTheTableTextAndOwnedCopiesAreIndependent)
{
    const ClExQuorvane plain(-44, KR9_SITE);
    EXPECT_FALSE(plain.OwnsText());
    EXPECT_EQ(plain.GetText(), GetErrorMessage(-44)) << "no heap block for a plain code";
    EXPECT_EQ(plain.GetCode(), -44);
    EXPECT_STREQ(plain.GetFile(), __FILE__);

    const ClException owned(-44, true, "Unknown", -1);
    EXPECT_TRUE(owned.OwnsText());
    EXPECT_NE(owned.GetText(), GetErrorMessage(-44));
    EXPECT_STREQ(owned.GetText(), GetErrorMessage(-44));

    auto* pOriginal = new ClException("x", -50, false, "file.cpp", 12);
    EXPECT_STREQ(pOriginal->GetText(), "Function call is not possible in current state.\nx");
    EXPECT_TRUE(pOriginal->OwnsText()) << "a composed text is always owned";
    const ClException copy(*pOriginal);
    delete pOriginal;  // the copy's text must not go with it
    EXPECT_STREQ(copy.GetText(), "Function call is not possible in current state.\nx");
    EXPECT_EQ(copy.GetLine(), 12);
    EXPECT_STREQ(copy.what(), copy.GetText());

    ClException assigned(0, false, "Unknown", -1);
    assigned = copy;  // two owners of one text would free it twice
    EXPECT_STREQ(assigned.GetText(), copy.GetText());
}

TEST(Exception, TextSettersRespectOwnership)
{
    ClException borrowed(-2, false, "Unknown", -1);
    static const char s_szStatic[] = "static text";
    borrowed.SetText(s_szStatic);
    EXPECT_EQ(borrowed.GetText(), s_szStatic);

    ClException owned(-2, true, "Unknown", -1);
    owned.SetText(s_szStatic);
    EXPECT_NE(owned.GetText(), s_szStatic);
    EXPECT_STREQ(owned.GetText(), s_szStatic);

    borrowed.SetTextFormatted("%s-%d", "code", 7);
    EXPECT_TRUE(borrowed.OwnsText());
    EXPECT_STREQ(borrowed.GetText(), "code-7");
    borrowed.SetTextFormatted("%s", "");
    EXPECT_EQ(borrowed.GetText(), nullptr);
    EXPECT_STREQ(borrowed.what(), "");
}

TEST(Exception, DerivedClassesSurviveACatchByBaseReference)
{
    try {
        throw ClExStreamUnexpectedEnd("end", -201, false, KR9_SITE);
    } catch (const ClException& ex) {
        EXPECT_NE(dynamic_cast<const ClExStream*>(&ex), nullptr);
        EXPECT_STREQ(ex.GetText(), "Unexpected end of file.\nend");
    }
}

TEST(Exception, SystemFailuresCarryTheSystemMessageInsteadOfTheTableText)
{
    errno = ENOENT;
    const ClExSystem system("opening the device", KR9_SITE);
    EXPECT_EQ(system.GetCode(), ZRT_ERROR_FROM_SYSTEM_FUNCTION);
    EXPECT_STREQ(system.GetText(), "No such file or directory\nopening the device");

    errno = EACCES;
    const ClExDynamicLibraryLoadFail load("libmissing.so", ZRT_ERROR_FILE_OPEN_FAIL, KR9_SITE);
    EXPECT_EQ(load.GetCode(), ZRT_ERROR_FILE_OPEN_FAIL);
    EXPECT_STREQ(load.GetText(), "Permission denied\nlibmissing.so");

    const Qvn::CXSystemSpecificException mutexFailure(EAGAIN);
    EXPECT_EQ(mutexFailure.GetErrorNumber(), EAGAIN);
    EXPECT_STREQ(mutexFailure.GetDescription(), strerror(EAGAIN));
    EXPECT_STREQ(mutexFailure.what(), strerror(EAGAIN));
    // The second family is not a ClException, so frames do not catch it.
    const std::exception& asStd = mutexFailure;
    EXPECT_EQ(dynamic_cast<const ClException*>(&asStd), nullptr);
}

}  // namespace
