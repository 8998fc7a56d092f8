// The library-wide singleton, the version record and the checked copy.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "sdk/SDKBase.h"
#include "sdk/SDKHelper.h"
#include "sdk/SDKVersion.h"
#include "sdk/TactiviewKR9.h"

namespace {

int32_t CodeOfVersion(const char* pszRecord, char* pszBuffer, size_t* pSize)
{
    return CodeOf([&] { GetVersionFromRecord(pszRecord, pszBuffer, pSize); });
}

TEST(Singleton, CountsReferencesAndDestroysAtTheLastRelease)
{
    // (The counting as the C interface shows it is tested there; here the instance itself.)
    ASSERT_EQ(ClTactiviewKR9::GetInstance(), nullptr);
    ClTactiviewKR9* pFirst = ClTactiviewKR9::Acquire();
    EXPECT_EQ(ClTactiviewKR9::Acquire(), pFirst);
    ClTactiviewKR9::Release();
    EXPECT_EQ(ClTactiviewKR9::GetInstance(), pFirst);
    EXPECT_TRUE(ClTactiviewKR9::IsInitialized());
    ClTactiviewKR9::Release();
    EXPECT_EQ(ClTactiviewKR9::GetInstance(), nullptr);
    EXPECT_EQ(CodeOf([] { ClTactiviewKR9::Release(); }, "No Singleton Instance exist multiple delete."),
              ZRT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(ClTactiviewKR9::GetReferenceCount(), 0);
}

TEST(Version, RecordYieldsTheVersionThroughTheCheckedCopy)
{
    size_t nSize = 0;
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), nullptr, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(nSize, strlen(KR9_SDK_VERSION_TEXT) + 1);
    char szBuffer[32];
    nSize = sizeof(szBuffer);
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), szBuffer, &nSize), 0);
    EXPECT_STREQ(szBuffer, "1.0.1.1751");
    EXPECT_EQ(nSize, 11u);

    // The buffer is measured exactly: one byte short fails and writes nothing.
    memset(szBuffer, 'x', sizeof(szBuffer));
    nSize = 10;
    EXPECT_EQ(CodeOfVersion("SDK: X Version: 1.0.1.1751 mark", szBuffer, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(szBuffer[0], 'x');

    // Malformed records are internal errors; an empty version between the
    // signature and the blank is still a version.
    for (const char* pszRecord : {"SDK: X Version:1.0 mark", "SDK: X 1.0.1 mark", "SDK: X Version: 1.0.1", ""}) {
        nSize = sizeof(szBuffer);
        EXPECT_EQ(CodeOfVersion(pszRecord, szBuffer, &nSize), ZRT_ERROR_INTERNAL) << pszRecord;
    }
    EXPECT_EQ(CodeOfVersion(nullptr, nullptr, &nSize), ZRT_ERROR_INTERNAL);
    EXPECT_EQ(CodeOfVersion("SDK: X Version:  mark", szBuffer, &nSize), 0);
    EXPECT_STREQ(szBuffer, "");
    EXPECT_EQ(CodeOfVersion("SDK: X Version: 1.0 mark", szBuffer, nullptr), ZRT_ERROR_TEMPLATE_SIZE_PTR);
}

TEST(CheckedCopy, WritesTheNeededSizeBeforeChecking)
{
    const char szSource[] = "abcdef";
    char szDestination[8] = {};
    size_t nSize = 3;
    EXPECT_EQ(CodeOf([&] { ClSDKHelper::CheckedCopy(szDestination, &nSize, szSource, sizeof(szSource)); }),
              ZRT_ERROR_TEMPLATE_SIZE);
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
