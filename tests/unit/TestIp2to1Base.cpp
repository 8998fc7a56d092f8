// Two-image arithmetic: overlap and offsets, saturation bounds, the dispatch
// over sample types, and the 8-bit table path with its differences.
#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ImageSamples.h"
#include "processors/IpAdd.h"
#include "processors/IpSubtract.h"
#include "imaging/SampleDispatch.h"

namespace {

// Result at (0, 0) of a over b on images of nSize x nSize, run through the processor.
template <typename TOut>
TOut PairResult(ClIp2to1Base& processor, uint8_t a, uint8_t b, int32_t nSize, ClImage::EDataType eOutType)
{
    ClImage in1, in2, out;
    FillSamples<uint8_t>(in1, ClImage::uint8, nSize, nSize, 1, a);
    FillSamples<uint8_t>(in2, ClImage::uint8, nSize, nSize, 1, b);
    EXPECT_EQ(processor.Run(&in1, &in2, &out, eOutType), 0);
    EXPECT_EQ(out.DataType(), eOutType == ClImage::default_ ? ClImage::uint8 : eOutType);
    EXPECT_EQ(SampleAt<TOut>(out, nSize - 1, nSize - 1), SampleAt<TOut>(out, 0, 0));
    return SampleAt<TOut>(out, 0, 0);
}

TEST(Ip2to1Base, EightBitResultsBelowAndAboveTheTableLimit)
{
    // 10 x 10 runs the per-type members, 400 x 400 (above 90000 pixels) the table.
    for (int32_t nSize : {10, 400}) {
        SCOPED_TRACE(nSize);
        ClIpSubtract subtract;
        EXPECT_EQ(PairResult<uint8_t>(subtract, 10, 20, nSize, ClImage::default_), 0);
        EXPECT_EQ(PairResult<uint8_t>(subtract, 20, 10, nSize, ClImage::default_), 10);
        EXPECT_EQ(PairResult<uint8_t>(subtract, 255, 0, nSize, ClImage::default_), 255) << "the last row of the table";
        // A signed input 1: the members send a negative difference to the low
        // limit, the table limits it to the output's range only.
        ClImage in1, in2, out;
        FillSamples<int8_t>(in1, ClImage::int8, nSize, nSize, 1, -10);
        FillSamples<uint8_t>(in2, ClImage::uint8, nSize, nSize, 1, 20);
        ASSERT_EQ(subtract.Run(&in1, &in2, &out, ClImage::default_), 0);
        EXPECT_EQ(SampleAt<int8_t>(out, 3, 3), nSize == 10 ? -128 : -30);
        ClIpAdd add;
        EXPECT_EQ(PairResult<uint8_t>(add, 200, 100, nSize, ClImage::default_), 150);
        EXPECT_EQ(PairResult<uint8_t>(add, 201, 100, nSize, ClImage::default_), 150);
        add.SetMode(ClIpAdd::ModeCut);
        EXPECT_EQ(PairResult<uint8_t>(add, 200, 100, nSize, ClImage::default_), 255);
        // The table knows no Enlarge: it writes 0 where the members add.
        add.SetMode(ClIpAdd::ModeEnlarge);
        EXPECT_EQ(PairResult<uint16_t>(add, 200, 100, nSize, ClImage::uint16), nSize == 10 ? 300 : 0);
        // Input-dependent bounds of an 8-bit output: low is -255 cut to a byte, 1.
        subtract.SetDataRange(ClIpSubtract::InputDependent);
        EXPECT_EQ(PairResult<uint8_t>(subtract, 10, 20, nSize, ClImage::default_), nSize == 10 ? 1 : 0);
    }
}

TEST(Ip2to1Base, BoundsAndTypesOfTheOutput)
{
    ClIpSubtract subtract;
    subtract.SetDataRange(ClIpSubtract::UserDependent);
    subtract.SetBounds(5.7, 40.2);
    ClImage in1, in2, out;
    FillSamples<uint8_t>(in1, ClImage::uint8, 4, 3, 1, 100);
    FillSamples<uint8_t>(in2, ClImage::uint8, 4, 3, 1, 20);
    ASSERT_EQ(subtract.Run(&in1, &in2, &out, ClImage::int16), 0);
    EXPECT_EQ(std::make_tuple(SampleAt<int16_t>(out, 0, 0), out.Min(), out.Max()),
              std::make_tuple(int16_t(40), 5.0, 40.0));
    FillSamples<uint8_t>(in1, ClImage::uint8, 4, 3, 1, 10);
    ASSERT_EQ(subtract.Run(&in1, &in2, &out, ClImage::int16), 0);
    EXPECT_EQ(SampleAt<int16_t>(out, 0, 0), 5);

    // Mixed triples compute in the widest type at work and limit to the output's range.
    ClIpAdd add;
    add.SetMode(ClIpAdd::ModeCut);
    FillSamples<int16_t>(in1, ClImage::int16, 5, 5, 1, -30000);
    FillSamples<int32_t>(in2, ClImage::int32, 5, 5, 1, -10000);
    ASSERT_EQ(add.Run(&in1, &in2, &out, ClImage::default_), 0);
    EXPECT_EQ(SampleAt<int16_t>(out, 2, 2), -32768);
    add.SetMode(ClIpAdd::ModeScale);
    ASSERT_EQ(add.Run(&in1, &in2, &out, ClImage::int32), 0);
    EXPECT_EQ(SampleAt<int32_t>(out, 2, 2), -20000);
    FillSamples<float>(in1, ClImage::float32, 5, 5, 1, 0.25f);
    FillSamples<double>(in2, ClImage::double64, 5, 5, 1, 0.5);
    ASSERT_EQ(add.Run(&in1, &in2, &out, ClImage::double64), 0);
    EXPECT_EQ(SampleAt<double>(out, 1, 1), 0.375);
    add.SetMode(ClIpAdd::ModeEnlarge);
    FillSamples<uint32_t>(in1, ClImage::uint32, 5, 5, 1, 4000000000u);
    FillSamples<uint32_t>(in2, ClImage::uint32, 5, 5, 1, 500000000u);
    ASSERT_EQ(add.Run(&in1, &in2, &out, ClImage::default_), 0);
    EXPECT_EQ(SampleAt<uint32_t>(out, 1, 1), 4500000000u - 4294967296u);

    // A sample type outside the eight.
    in1.Create(ClImage::EDataType(3), 5, 5, 1, 0, 0, true);
    EXPECT_EQ(add.Run(&in1, &in2, &out, ClImage::default_), ZRT_ERROR_INTERNAL);
}

TEST(Ip2to1Base, OffsetImagesShowWhateverLiesOutsideTheOverlap)
{
    ClImage in1, in2, out;
    FillSamples<uint8_t>(in1, ClImage::uint8, 10, 4, 1, 100);
    FillSamples<uint8_t>(in2, ClImage::uint8, 10, 4, 1, 30);
    ClIpSubtract subtract;
    subtract.SetOffset(2, 0);
    EXPECT_EQ(subtract.Run(&in1, &in2, &out, ClImage::default_), ZRT_ERROR_INVALID_PARAMETER);
    subtract.SetSizeMustBeEqual(false);
    ASSERT_EQ(subtract.Run(&in1, &in2, &out, ClImage::default_), 0);
    EXPECT_EQ(std::make_pair(out.Width(), subtract.GetOverlapWidth()), std::make_pair(12, 8));
    EXPECT_EQ(std::vector<uint8_t>(out.Data() + 3 * out.Stride(), out.Data() + 3 * out.Stride() + 12),
              (std::vector<uint8_t>{100, 100, 70, 70, 70, 70, 70, 70, 70, 70, 30, 30}));

    // Input 2 two to the left of and one below input 1: input 1 lies at
    // (2, 0), input 2 at (0, 1), and the corners that neither covers get the fill.
    subtract.SetOffset(-2, 1);
    subtract.SetFillColor(9.0);
    ASSERT_EQ(subtract.Run(&in1, &in2, &out, ClImage::default_), 0);
    EXPECT_EQ(std::make_pair(out.Width(), out.Height()), std::make_pair(12, 5));
    EXPECT_EQ(std::make_tuple(SampleAt<uint8_t>(out, 0, 0), SampleAt<uint8_t>(out, 11, 0), SampleAt<uint8_t>(out, 5, 2),
                              SampleAt<uint8_t>(out, 0, 4), SampleAt<uint8_t>(out, 11, 4)),
              std::make_tuple(9, 100, 70, 30, 9));
}

TEST(Ip2to1Base, OutputAsInputMissingImagesAndPlaneCounts)
{
    ClImage in1, in2, colour, out;
    FillSamples<uint8_t>(in1, ClImage::uint8, 6, 6, 1, 50);
    FillSamples<uint8_t>(in2, ClImage::uint8, 6, 6, 1, 8);
    ClIpSubtract subtract;
    ASSERT_EQ(subtract.Run(&in1, &in2, &in1, ClImage::default_), 0);
    EXPECT_EQ(std::make_pair(SampleAt<uint8_t>(in1, 5, 5), SampleAt<uint8_t>(in2, 5, 5)),
              std::make_pair(uint8_t(42), uint8_t(8)));
    EXPECT_EQ(subtract.Run(&in1, nullptr, &in1, ClImage::default_), ZRT_ERROR_PARAM_IS_MISSING);

    // 3 planes with 1: the subtraction takes input 2's sample for each plane,
    // the addition refuses.
    FillSamples<uint8_t>(colour, ClImage::uint8, 6, 6, 3, 200);
    ASSERT_EQ(subtract.Run(&colour, &in2, &out, ClImage::default_), 0);
    EXPECT_EQ(std::make_pair(out.Planes(), SampleAt<uint8_t>(out, 3, 3, 2)), std::make_pair(3, uint8_t(192)));
    ClIpAdd add;
    EXPECT_EQ(CodeOf([&] { add.Run(&colour, &in2, &out, ClImage::default_); }, "unequal plane count is not supported."),
              ZRT_ERROR_INVALID_PARAMETER);
}

}  // namespace
