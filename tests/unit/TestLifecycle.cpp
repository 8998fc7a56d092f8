// The library-wide singleton, the version record and the checked copy.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "Exception.h"
#include "SDKBase.h"
#include "SDKHelper.h"
#include "SDKVersion.h"
#include "TactiviewKR9.h"

namespace {

int32_t CodeOfVersion(const char* pszRecord, char* pszBuffer, size_t* pSize)
{
    try {
        GetVersionFromRecord(pszRecord, pszBuffer, pSize);
    } catch (const ClException& ex) {
        return ex.GetCode();
    }
    return 0;
}

TEST(Singleton, CountsReferencesAndDestroysAtTheLastRelease)
{
    ASSERT_EQ(ClTactiviewKR9::GetReferenceCount(), 0);
    ASSERT_EQ(ClTactiviewKR9::GetInstance(), nullptr);
    ClTactiviewKR9* pFirst = ClTactiviewKR9::Acquire();
    ClTactiviewKR9* pSecond = ClTactiviewKR9::Acquire();
    EXPECT_EQ(pFirst, pSecond);
    EXPECT_EQ(ClTactiviewKR9::GetReferenceCount(), 2);
    EXPECT_TRUE(ClTactiviewKR9::IsInitialized());
    ClTactiviewKR9::Release();
    EXPECT_EQ(ClTactiviewKR9::GetInstance(), pFirst);
    ClTactiviewKR9::Release();
    EXPECT_EQ(ClTactiviewKR9::GetInstance(), nullptr);
    EXPECT_FALSE(ClTactiviewKR9::IsInitialized());
    try {
        ClTactiviewKR9::Release();
        FAIL() << "an unbalanced release must fail";
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_NOT_INITIALIZED);
        EXPECT_STREQ(ex.GetText(), "Prior initialization is necessary.\nNo Singleton Instance exist multiple delete.");
    }
    EXPECT_EQ(ClTactiviewKR9::GetReferenceCount(), 0);
}

TEST(Version, RecordYieldsTheVersionThroughTheCheckedCopy)
{
    const std::string strVersion = KR9_SDK_VERSION_TEXT;
    EXPECT_EQ(strVersion, "1.0.1.1751");
    size_t nSize = 0;
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), nullptr, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(nSize, strVersion.size() + 1);

    char szBuffer[32];
    memset(szBuffer, 'x', sizeof(szBuffer));
    nSize = sizeof(szBuffer);
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), szBuffer, &nSize), 0);
    EXPECT_STREQ(szBuffer, "1.0.1.1751");
    EXPECT_EQ(nSize, 11u);

    // The buffer is measured exactly: one byte short fails and writes nothing.
    memset(szBuffer, 'x', sizeof(szBuffer));
    nSize = 10;
    EXPECT_EQ(CodeOfVersion("SDK: X Version: 1.0.1.1751 mark", szBuffer, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(szBuffer[0], 'x');
}

TEST(Version, MalformedRecordsAreInternalErrors)
{
    for (const char* pszRecord : {"SDK: X Version:1.0 mark", "SDK: X 1.0.1 mark", "SDK: X Version: 1.0.1", ""}) {
        size_t nSize = 64;
        char szBuffer[64];
        EXPECT_EQ(CodeOfVersion(pszRecord, szBuffer, &nSize), ZRT_ERROR_INTERNAL) << pszRecord;
    }
    size_t nSize = 64;
    EXPECT_EQ(CodeOfVersion(nullptr, nullptr, &nSize), ZRT_ERROR_INTERNAL);
    // An empty version between the signature and the blank is still a version.
    char szBuffer[4];
    nSize = sizeof(szBuffer);
    EXPECT_EQ(CodeOfVersion("SDK: X Version:  mark", szBuffer, &nSize), 0);
    EXPECT_STREQ(szBuffer, "");
    EXPECT_EQ(CodeOfVersion("SDK: X Version: 1.0 mark", szBuffer, nullptr), ZRT_ERROR_TEMPLATE_SIZE_PTR);
}

TEST(CheckedCopy, WritesTheNeededSizeBeforeChecking)
{
    const char szSource[] = "abcdef";
    char szDestination[8] = {};
    size_t nSize = 3;
    try {
        ClSDKHelper::CheckedCopy(szDestination, &nSize, szSource, sizeof(szSource));
        FAIL();
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_TEMPLATE_SIZE);
    }
    EXPECT_EQ(nSize, sizeof(szSource));
    EXPECT_EQ(szDestination[0], '\0');
    ClSDKHelper::CheckedCopy(szDestination, &nSize, szSource, sizeof(szSource));
    EXPECT_STREQ(szDestination, "abcdef");
    // A null destination with enough room is a plain size query.
    nSize = 100;
    ClSDKHelper::CheckedCopy(nullptr, &nSize, szSource, sizeof(szSource));
    EXPECT_EQ(nSize, sizeof(szSource));
}

}  // namespace
