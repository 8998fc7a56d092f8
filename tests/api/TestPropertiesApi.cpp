// The property exports refuse what is not a handle before looking at anything else.
#include <utility>

#include <gtest/gtest.h>

#include "QuorvaneTactiviewKR9.h"

namespace {

TEST(PropertiesApi, NullAndForeignHandlesAreRefusedSafely)
{
    char szValue[32];
    uint64_t uiSize = sizeof(szValue);
    TV_KR9Long nValue = 0;
    // Null, readable memory that is no handle, and an address that is not mapped at all.
    char szNotAHandle[64] = "TV_KR9";
    const int32_t nInvalid = ZRT_ERROR_INVALID_HANDLE;
    for (const auto& bad : {std::make_pair(static_cast<void*>(nullptr), ZRT_ERROR_NO_HANDLE),
                            {szNotAHandle, nInvalid}, {reinterpret_cast<void*>(0x10), nInvalid}}) {
        EXPECT_EQ(TV_KR9GetPropertyA(bad.first, "Version", szValue, &uiSize), bad.second);
        EXPECT_EQ(TV_KR9SetPropertyA(bad.first, "Version", "2"), bad.second);
        EXPECT_EQ(TV_KR9GetPropertyLongA(bad.first, "Version", &nValue), bad.second);
        EXPECT_EQ(TV_KR9SetPropertyLongA(bad.first, "Version", 2), bad.second);
    }
    EXPECT_EQ(uiSize, sizeof(szValue)) << "nothing is written for a bad handle";
}

}  // namespace
