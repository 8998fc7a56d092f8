// ClIp2to1Base: the frame of an operation on two images that may be offset
// against each other, with an output of any sample type.
//
// The pieces below work without the processor object: laying the two inputs
// over each other (the overlap), walking the pairs of samples of the overlap
// with one template instance per triple of sample types, and the 64-kilobyte
// table that replaces the arithmetic for large 8-bit images.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

#include "imaging/FpImage.h"
#include "imaging/SafeConvert.h"
#include "imaging/SampleDispatch.h"
#include "processors/FastPaths.h"
#include "processors/WorkBuffer.h"
#include "params/ProcessorBase.h"

namespace TwoToOne {

// Where the two inputs meet in the output. Starts and strides in samples.
struct StOverlap
{
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    int32_t nPlanes1 = 0;
    int32_t nPlanes2 = 0;
    int32_t nIn1Start = 0;
    int32_t nIn1Stride = 0;
    int32_t nIn2Start = 0;
    int32_t nIn2Stride = 0;
    int32_t nOutStart = 0;
    int32_t nOutStride = 0;
};

// Shapes target (whose sample type is already set) to hold both inputs, input
// 2 displaced by (nOffsetX, nOffsetY) against input 1, and describes the
// overlap. With equal sizes and no offset the target is only shaped. Otherwise
// it is filled (dFillColor for one plane, adFillColors per plane for more),
// input 1 and then input 2 are copied into it, converted to its sample type,
// so that outside the overlap the output shows whichever input lies there.
// Returns false, with the target shaped but not filled, when a sample type
// is none of the eight.
bool PrepareOverlap(const ClImage& in1, const ClImage& in2, ClImage& target, int32_t nOffsetX, int32_t nOffsetY,
                    double dFillColor, const double (&adFillColors)[4], StOverlap& overlap);

// Arithmetic type of a triple: double when any of the three is double64,
// float when any is float32, else 64-bit integers, wide enough for every sum
// and difference of two 32-bit samples.
template <typename T1, typename T2, typename TOut>
using ComputeType = std::conditional_t<
    std::is_same<T1, double>::value || std::is_same<T2, double>::value || std::is_same<TOut, double>::value, double,
    std::conditional_t<std::is_same<T1, float>::value || std::is_same<T2, float>::value ||
                           std::is_same<TOut, float>::value,
                       float, int64_t>>;

// Pairs the samples of the overlap: equal plane counts sample by sample, a
// 3-plane input 1 with a 1-plane input 2 by taking input 2's sample for all
// three planes. Any other combination has no pairing: nothing is written
// and the result is false.
template <typename T1, typename T2, typename TOut, typename TOperation>
bool ForEachOverlapPair(const T1* pIn1, const T2* pIn2, TOut* pOut, const StOverlap& overlap, TOperation&& operation)
{
    const bool bEqualPlanes = overlap.nPlanes1 == overlap.nPlanes2;
    const bool bThreeWithOne = overlap.nPlanes1 == 3 && overlap.nPlanes2 == 1;
    if (!bEqualPlanes && !bThreeWithOne)
        return false;
    if (overlap.nWidth <= 0 || overlap.nHeight <= 0)
        return true;
    for (int32_t y = 0; y < overlap.nHeight; ++y) {
        const T1* pRow1 = pIn1 + overlap.nIn1Start + int64_t(y) * overlap.nIn1Stride;
        const T2* pRow2 = pIn2 + overlap.nIn2Start + int64_t(y) * overlap.nIn2Stride;
        TOut* pOutRow = pOut + overlap.nOutStart + int64_t(y) * overlap.nOutStride;
        if (bEqualPlanes) {
            const int64_t nSamples = int64_t(overlap.nWidth) * overlap.nPlanes1;
            for (int64_t i = 0; i < nSamples; ++i)
                pOutRow[i] = operation(pRow1[i], pRow2[i]);
        } else {
            for (int32_t x = 0; x < overlap.nWidth; ++x)
                for (int32_t p = 0; p < 3; ++p)
                    pOutRow[3 * x + p] = operation(pRow1[3 * x + p], pRow2[x]);
        }
    }
    return true;
}

// Calls visit(tag1, tag2, tagOut) with the C++ types of three sample type
// values; false for a value that is none of the eight.
template <typename TVisitor>
bool VisitSampleTypes3(ClImage::EDataType eType1, ClImage::EDataType eType2, ClImage::EDataType eTypeOut,
                       TVisitor&& visit)
{
    bool bKnown = false;
    VisitSampleType(eType1, [&](auto tag1) {
        VisitSampleType(eType2, [&](auto tag2) {
            bKnown = VisitSampleType(eTypeOut, [&](auto tagOut) { visit(tag1, tag2, tagOut); });
        });
    });
    return bKnown;
}

// The table path: applies when input 2 is uint8, input 1 has 1-byte samples
// and the overlap holds more than kTableThreshold pixels.
constexpr int64_t kTableThreshold = 90000;
bool TablePathApplies(const ClImage& in1, const ClImage& in2, const StOverlap& overlap);

// Looks every overlap pair up in the table.
template <typename T1, typename TOut>
bool ApplyPairTable(const T1* pIn1, const uint8_t* pIn2, TOut* pOut, const StOverlap& overlap,
                    const std::vector<TOut>& aTable)
{
    const TOut* pTable = aTable.data();
    // The 8-bit samples of input 1 index from their type's lowest value.
    constexpr int32_t nLowest1 = std::is_signed<T1>::value ? -128 : 0;
    return ForEachOverlapPair(pIn1, pIn2, pOut, overlap,
                              [pTable](T1 a, uint8_t b) { return pTable[(int32_t(a) - nLowest1) * 256 + b]; });
}

// First sample value of the table's rows for input 1 (0 or -128) and of its
// columns for input 2 (0).
int32_t TableLowest(const ClImage& image);

// The 65536 results of pairOperation(a, b) for every 8-bit a and b of the two
// inputs, converted to TOut: entry (a - lowest a) * 256 + (b - lowest b).
// Values are taken from each input's range (Min() to Max()) as far as its
// 8-bit samples reach; entries outside stay 0.
template <typename TOut, typename TPairOperation>
std::vector<TOut> BuildPairTable(const ClImage& in1, const ClImage& in2, TPairOperation&& pairOperation)
{
    std::vector<TOut> aTable = AllocateWorkBuffer<TOut>(65536, TOut());
    const int32_t nLowest1 = TableLowest(in1);
    const int32_t nLowest2 = TableLowest(in2);
    for (int32_t i = 0; i < 256; ++i) {
        const double a = nLowest1 + i;
        if (!(a >= in1.Min() && a <= in1.Max()))
            continue;
        for (int32_t j = 0; j < 256; ++j) {
            const double b = nLowest2 + j;
            if (b >= in2.Min() && b <= in2.Max())
                aTable[size_t(i) * 256 + j] = DoubleToSample<TOut>(pairOperation(a, b));
        }
    }
    return aTable;
}

// The table path: every overlap pair looked up in the 65536 results of
// pairOperation(a, b), converted to the output's sample type. Returns false
// for an output type outside the eight; plane counts pair as in
// ForEachOverlapPair, and an unpaired combination writes nothing.
template <typename TPairOperation>
bool RunTablePath(const ClImage& in1, const ClImage& in2, ClImage& out, const StOverlap& overlap,
                  TPairOperation&& pairOperation)
{
    return VisitSampleType(out.DataType(), [&](auto outTag) {
        using TOut = typename decltype(outTag)::Type;
        const std::vector<TOut> aTable = BuildPairTable<TOut>(in1, in2, pairOperation);
        const uint8_t* pIn2 = SamplesOf<uint8_t>(in2);
        TOut* pOut = SamplesOf<TOut>(out);
        if (in1.DataType() == ClImage::int8)
            ApplyPairTable(SamplesOf<int8_t>(in1), pIn2, pOut, overlap, aTable);
        else
            ApplyPairTable(SamplesOf<uint8_t>(in1), pIn2, pOut, overlap, aTable);
    });
}

// What the result of a pair operation depends on.
enum class EPairShape
{
    eDifference,  // on a - b alone
    eSum          // on a + b alone
};

// When the 511 results of an 8-bit operation on a - b (or a + b) are the
// saturating difference (or sum), applies that to the overlap sixteen pairs
// at a time and returns true; otherwise, or for unequal plane counts, false.
bool ApplySaturatedLine(const uint8_t (&aLine)[511], bool bDifference, const ClImage& in1, const ClImage& in2,
                        ClImage& out, const StOverlap& overlap);

// The table path for an operation whose result depends on a - b or on a + b
// alone. The 65536 entries of its table then hold only 511 different values,
// one per diagonal: the operation runs once per diagonal, and every pair is
// looked up in that line of 511 results, which stays in the first-level
// cache. The results are those of RunTablePath; inputs whose range does not
// span the whole 8-bit range, or a signed input 1, take RunTablePath itself.
template <typename TPairOperation>
bool RunTablePathOnDiagonals(const ClImage& in1, const ClImage& in2, ClImage& out, const StOverlap& overlap,
                             EPairShape eShape, TPairOperation&& pairOperation)
{
    const auto spansAll = [](const ClImage& image) {
        return image.DataType() == ClImage::uint8 && image.Min() <= 0.0 && image.Max() >= 255.0;
    };
    if (!FastPaths::Enabled() || !spansAll(in1) || !spansAll(in2))
        return RunTablePath(in1, in2, out, overlap, pairOperation);
    const bool bDifference = eShape == EPairShape::eDifference;
    return VisitSampleType(out.DataType(), [&](auto outTag) {
        using TOut = typename decltype(outTag)::Type;
        // Entry k holds the result for a - b = k - 255, or for a + b = k.
        TOut aLine[511];
        for (int32_t k = 0; k < 511; ++k) {
            const int32_t a = bDifference ? std::max(0, k - 255) : std::min(k, 255);
            const int32_t b = bDifference ? a - (k - 255) : k - a;
            aLine[k] = DoubleToSample<TOut>(pairOperation(double(a), double(b)));
        }
        if constexpr (std::is_same<TOut, uint8_t>::value) {
            if (ApplySaturatedLine(aLine, bDifference, in1, in2, out, overlap))
                return;
        }
        const TOut* pLine = aLine;
        if (bDifference)
            ForEachOverlapPair(SamplesOf<uint8_t>(in1), SamplesOf<uint8_t>(in2), SamplesOf<TOut>(out), overlap,
                               [pLine](uint8_t a, uint8_t b) { return pLine[int32_t(a) - int32_t(b) + 255]; });
        else
            ForEachOverlapPair(SamplesOf<uint8_t>(in1), SamplesOf<uint8_t>(in2), SamplesOf<TOut>(out), overlap,
                               [pLine](uint8_t a, uint8_t b) { return pLine[int32_t(a) + int32_t(b)]; });
    });
}

// The generic path: pairOperation on every overlap pair as doubles, the
// result converted to the output's sample type. Returns false for a type
// outside the eight.
bool RunPixelPath(const ClImage& in1, const ClImage& in2, ClImage& out, const StOverlap& overlap,
                  const std::function<double(double, double)>& pairOperation);

}  // namespace TwoToOne

class ClIp2to1Base : public ClProcessorBase
{
public:
    ClIp2to1Base();

    // All three images set and both inputs holding samples.
    bool CanProcess() override;
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // ZRT_ERROR_PARAM_IS_MISSING when CanProcess is false; ZRT_ERROR_INVALID_PARAMETER when the sizes must be equal and
    // differ, or an offset is set.
    int32_t Prepare() override;
    // Shapes the output from input 1 with the output type (default: input
    // 1's), lays the inputs over each other and runs Calculate over the
    // overlap. The output may be one of the inputs. A sample type outside
    // the eight gives ZRT_ERROR_INTERNAL.
    int32_t Process() override;

    // The arithmetic over the overlap; starts and strides in samples. Here:
    // CalculatePixel for every pair, through a table for two 8-bit unsigned
    // inputs when m_bUseTable is set.
    virtual int32_t Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth, int32_t nHeight,
                              int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start, int32_t nIn1Stride,
                              int32_t nIn2Start, int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride);
    // The arithmetic of one pair of samples; 0.0 here.
    virtual double CalculatePixel(const ClImage& in1, const ClImage& in2, const ClImage& out, double a, double b);

    // Stores the images and the output type (ClImage::default_: input 1's) and runs.
    int32_t Run(ClImage* pInImage1, ClImage* pInImage2, ClImage* pOutImage, ClImage::EDataType eOutImageType);
    using ClProcessorBase::Run;

    void SetSizeMustBeEqual(bool bEqual) { m_bSizeMustBeEqual = bEqual; }
    void SetOffset(int32_t nOffsetX, int32_t nOffsetY)
    {
        m_nOffsetX = nOffsetX;
        m_nOffsetY = nOffsetY;
    }
    void SetFillColor(double dFillColor) { m_dFillColor = dFillColor; }
    // Fill of plane nPlane (0 to 3) of an output of 2 to 4 planes.
    void SetFillColors(int32_t nPlane, double dFillColor);
    void SetUseTable(bool bUseTable) { m_bUseTable = bUseTable; }
    int32_t GetOverlapWidth() const { return m_nOverlapWidth; }
    int32_t GetOverlapHeight() const { return m_nOverlapHeight; }

protected:
    // Calculate's arguments as one record.
    static TwoToOne::StOverlap MakeOverlap(int32_t nWidth, int32_t nHeight, int32_t nPlanes1, int32_t nPlanes2,
                                           int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                                           int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride);

    ClImage* m_pInImage1 = nullptr;  // not owned
    ClImage* m_pInImage2 = nullptr;  // not owned
    ClImage* m_pOutImage = nullptr;  // not owned
    unsigned char m_eOutImageType = ClImage::default_;
    bool m_bSizeMustBeEqual = true;
    double m_dFillColor = 0.0;
    double m_adFillColors[4] = {0.0, 0.0, 0.0, 0.0};
    int32_t m_nOffsetX = 0;
    int32_t m_nOffsetY = 0;
    int32_t m_nOverlapWidth = 0;
    int32_t m_nOverlapHeight = 0;
    int32_t m_nOutStart = 0;
    int32_t m_nIn1Start = 0;
    int32_t m_nIn2Start = 0;
    bool m_bUseTable = false;
};
