// The property exports refuse what is not a handle before looking at anything else.
#include <gtest/gtest.h>

#include "QuorvaneTactiviewKR9.h"

namespace {

TEST(PropertiesApi, NullAndForeignHandlesAreRefusedSafely)
{
    char szValue[32];
    uint64_t uiSize = sizeof(szValue);
    TV_KR9Long nValue = 0;
    EXPECT_EQ(TV_KR9GetPropertyA(nullptr, "Version", szValue, &uiSize), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(TV_KR9SetPropertyA(nullptr, "Version", "2"), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(TV_KR9GetPropertyLongA(nullptr, "Version", &nValue), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(TV_KR9SetPropertyLongA(nullptr, "Version", 2), ZRT_ERROR_NO_HANDLE);

    // Readable memory that is no handle, and an address that is not mapped at all.
    char szNotAHandle[64] = "TV_KR9";
    for (void* hForeign : {static_cast<void*>(szNotAHandle), reinterpret_cast<void*>(0x10)}) {
        EXPECT_EQ(TV_KR9GetPropertyA(hForeign, "Version", szValue, &uiSize), ZRT_ERROR_INVALID_HANDLE);
        EXPECT_EQ(TV_KR9SetPropertyA(hForeign, "Version", "2"), ZRT_ERROR_INVALID_HANDLE);
        EXPECT_EQ(TV_KR9GetPropertyLongA(hForeign, "Version", &nValue), ZRT_ERROR_INVALID_HANDLE);
        EXPECT_EQ(TV_KR9SetPropertyLongA(hForeign, "Version", 2), ZRT_ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(uiSize, sizeof(szValue)) << "nothing is written for a bad handle";
}

}  // namespace
