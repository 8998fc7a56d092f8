// The version record and the checked copy that hands it out. (The library's
// reference counting is tested through the C interface.)
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "sdk/SDKBase.h"
#include "sdk/SDKVersion.h"
#include "sdk/TactiviewKR9.h"

namespace {

int32_t CodeOfVersion(const char* pszRecord, char* pszBuffer, size_t* pSize)
{
    return CodeOf([&] { GetVersionFromRecord(pszRecord, pszBuffer, pSize); });
}

TEST(Version, RecordYieldsTheVersionThroughTheCheckedCopy)
{
    // A null buffer is a size query: an error when the room is too small, a plain answer otherwise.
    size_t nSize = 0;
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), nullptr, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(nSize, strlen(KR9_SDK_VERSION_TEXT) + 1);
    nSize = 100;
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), nullptr, &nSize), 0);
    EXPECT_EQ(nSize, 11u);
    char szBuffer[32];
    EXPECT_EQ(CodeOfVersion(ClTactiviewKR9::GetVersionRecord(), szBuffer, &nSize), 0);
    EXPECT_STREQ(szBuffer, "1.0.1.1751");

    // The buffer is measured exactly: one byte short fails and writes nothing.
    memset(szBuffer, 'x', sizeof(szBuffer));
    nSize = 10;
    EXPECT_EQ(CodeOfVersion("SDK: X Version: 1.0.1.1751 mark", szBuffer, &nSize), ZRT_ERROR_TEMPLATE_SIZE);
    EXPECT_EQ(std::make_pair(szBuffer[0], nSize), std::make_pair('x', size_t(11)));

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

}  // namespace
