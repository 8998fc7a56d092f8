// ClIpFilterMid: the box mean (an average, not a median) over a square or a
// line of pixels, the smoothing step of the mask pipeline.
//
// The kernels below are written once per sample type and cost the same per
// pixel whatever the filter width: a running sum slides along each line, and
// in two dimensions a sum per image column slides down the image while the
// running sum slides along the column sums. Windows are cut at the image's
// edges and divided by the number of pixels they still hold.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "processors/FilterWindow.h"
#include "processors/IpFilterBase.h"
#include "imaging/SafeConvert.h"
#include "processors/WorkBuffer.h"

namespace FilterMid {

// The accumulator of a window sum of samples of type T. 8-bit samples sum in
// 32 bits, as the 8-bit code always has; the wider integer types in 64 bits so
// that no window can overflow; floating samples in double.
template <typename T>
struct TpMeanSum
{
    using Type = std::conditional_t<std::is_floating_point<T>::value, double,
                                    std::conditional_t<std::is_same<T, uint8_t>::value, uint32_t,
                                                       std::conditional_t<std::is_signed<T>::value, int64_t, uint64_t>>>;
};

template <typename T>
using MeanSum = typename TpMeanSum<T>::Type;

// 16-bit samples of a window of up to this many pixels sum within 32 bits,
// and their means can go through the multiplying divider too.
constexpr int64_t kLargestNarrowWindow16 = 65537;

// The mean of a window of a fixed pixel count, truncated toward zero for
// integer samples. Sums in 32 unsigned bits go through the multiplying divider.
template <typename T, typename TSum = MeanSum<T>>
class TpMeanDivisor
{
public:
    explicit TpMeanDivisor(int32_t nCount) : m_nCount(nCount), m_Divider(static_cast<uint32_t>(nCount)) {}

    T Mean(TSum sum) const
    {
        if constexpr (std::is_same<TSum, uint32_t>::value)
            return static_cast<T>(m_Divider.Divide(sum));
        else if constexpr (std::is_floating_point<T>::value)
            return DoubleToSample<T>(sum / m_nCount);
        else
            return static_cast<T>(sum / static_cast<TSum>(m_nCount));
    }

private:
    int32_t m_nCount;
    ClExactDivider m_Divider;
};

// Divisors for every window size from 0 to nLargest pixels.
template <typename T, typename TSum = MeanSum<T>>
std::vector<TpMeanDivisor<T, TSum>> MakeDivisors(int32_t nLargest)
{
    std::vector<TpMeanDivisor<T, TSum>> aDivisors;
    try {
        aDivisors.reserve(static_cast<size_t>(nLargest) + 1);
    } catch (const std::exception&) {
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
    }
    for (int32_t nCount = 0; nCount <= nLargest; ++nCount)
        aDivisors.emplace_back(nCount);
    return aDivisors;
}

// Box mean along the rows: each output pixel is the mean of the pixels x - h
// to x + h of its row, cut at the row's ends. Strides are in samples; in and
// out must not overlap.
template <typename T, typename TSum = MeanSum<T>>
void MeanX(const T* pIn, int32_t nInStride, T* pOut, int32_t nOutStride, int32_t nWidth, int32_t nHeight,
           int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    const int32_t nLargest = static_cast<int32_t>(std::min<int64_t>(2 * int64_t(nHalf) + 1, nWidth));
    const std::vector<TpMeanDivisor<T, TSum>> aDivisors = MakeDivisors<T, TSum>(nLargest);
    const int64_t nFirstWindowEnd = std::min<int64_t>(nHalf, nWidth - 1);
    for (int32_t y = 0; y < nHeight; ++y) {
        const T* pRow = pIn + int64_t(y) * nInStride;
        T* pOutRow = pOut + int64_t(y) * nOutStride;
        TSum sum = 0;
        for (int64_t i = 0; i <= nFirstWindowEnd; ++i)
            sum += pRow[i];
        for (int32_t x = 0; x < nWidth; ++x) {
            pOutRow[x] = aDivisors[CutWindowCount(x, nWidth, nHalf)].Mean(sum);
            const int64_t nEntering = int64_t(x) + nHalf + 1;
            if (nEntering < nWidth)
                sum += pRow[nEntering];
            const int64_t nLeaving = int64_t(x) - nHalf;
            if (nLeaving >= 0)
                sum -= pRow[nLeaving];
        }
    }
}

// Box mean along the columns. One sum per column slides down the image, so
// the image is read row by row.
template <typename T, typename TSum = MeanSum<T>>
void MeanY(const T* pIn, int32_t nInStride, T* pOut, int32_t nOutStride, int32_t nWidth, int32_t nHeight,
           int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    std::vector<TSum> aColumnSums = AllocateWorkBuffer<TSum>(static_cast<size_t>(nWidth), 0);
    auto addRow = [&](int64_t nRow) {
        const T* pRow = pIn + nRow * nInStride;
        for (int32_t x = 0; x < nWidth; ++x)
            aColumnSums[x] += pRow[x];
    };
    auto subtractRow = [&](int64_t nRow) {
        const T* pRow = pIn + nRow * nInStride;
        for (int32_t x = 0; x < nWidth; ++x)
            aColumnSums[x] -= pRow[x];
    };
    const int64_t nFirstWindowEnd = std::min<int64_t>(nHalf, nHeight - 1);
    for (int64_t r = 0; r <= nFirstWindowEnd; ++r)
        addRow(r);
    for (int32_t y = 0; y < nHeight; ++y) {
        const TpMeanDivisor<T, TSum> divisor(CutWindowCount(y, nHeight, nHalf));
        T* pOutRow = pOut + int64_t(y) * nOutStride;
        for (int32_t x = 0; x < nWidth; ++x)
            pOutRow[x] = divisor.Mean(aColumnSums[x]);
        const int64_t nEntering = int64_t(y) + nHalf + 1;
        if (nEntering < nHeight)
            addRow(nEntering);
        const int64_t nLeaving = int64_t(y) - nHalf;
        if (nLeaving >= 0)
            subtractRow(nLeaving);
    }
}

// The square box mean of 8-bit images: column sums of the rows y - h to
// y + h (cut at the top and bottom), a running sum of 2h + 1 of them along
// the row, divided by the pixels of the cut window, truncated.
void MeanXY8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, int32_t nWidth,
             int32_t nHeight, int32_t nHalf);

// The 3 x 3 mean of 8-bit images without division: the window sum s of 4
// (corner), 6 (edge) or 9 (interior) pixels becomes (s + 2) >> 2,
// ((s + 3) * 682) >> 12 or ((s + 4) * 455) >> 12. This rounds, where the
// general path truncates. Needs an image of at least 3 x 3.
void Mean3x3Rounded8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, int32_t nWidth,
                     int32_t nHeight);

// The square box mean of 8-bit images with a fraction: pOut receives the
// integer part of each mean, pFraction the part after the point times 256,
// truncated.
void MeanXYWithFraction8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride,
                         uint8_t* pFraction, int32_t nFractionStride, int32_t nWidth, int32_t nHeight,
                         int32_t nHalf);

// The mean along a line through each pixel, the line's direction given per
// pixel by a field of signed 8-bit components (dx, dy). The step along the
// line, in 1/256 pixel, is (2 dx, -2 dy), or (2 dy, 2 dx) across the field
// with bOrtho. 2k + 1 samples are taken at the integer parts of the
// positions, k being h or, near a border, the largest half-length that stays
// inside. Unlike the box means this costs 2k + 1 reads per pixel, since the
// line turns from pixel to pixel.
void MeanDirected8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, const int8_t* pDx,
                   int32_t nDxStride, const int8_t* pDy, int32_t nDyStride, int32_t nWidth, int32_t nHeight,
                   int32_t nHalf, bool bOrtho);

}  // namespace FilterMid

class ClIpFilterMid : public ClIpFilterBase
{
public:
    ClIpFilterMid() = default;

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpFilterMid"; }

    // Makes the width odd by setting its lowest bit: 30 runs as 31.
    int32_t Prepare() override;
    // 8-bit unsigned images go through the mode dispatch of the frame to the
    // routines below; the seven other sample types to one member per type.
    int32_t ProcessPlane() override;

    // The 8-bit routines. X and Y take a width not below the image's as the
    // image's less one (less two when that is even) and keep it; XY copies an
    // image smaller than the window and otherwise runs the column sums, the
    // rounding 3 x 3 path, or with a fraction image the fraction path.
    int32_t FilterX() override;
    int32_t FilterY() override;
    int32_t FilterXY() override;
    int32_t FilterSignedX() override;
    int32_t FilterSignedY() override;
    int32_t FilterSignedXY() override;
    // Along (or across) the direction field; both Dx and Dy must be set.
    // A window reaching across the image's width copies it and gives ZRT_ERROR_BITMAP_DIMENSION.
    int32_t FilterDirected(bool bOrtho) override;

    // Stores the images and the width and runs; the mode stays as it is.
    int32_t Run(ClImage* pInImage, ClImage* pOutImage, int32_t nFilterWidth);
    using ClProcessorBase::Run;

    // With a fraction image the 8-bit XY mean also gives the part after the
    // point, times 256. Not published as a parameter.
    void SetFractionImage(ClImage* pImage) { m_pFractionImage = pImage; }

protected:
    ClImage* m_pFractionImage = nullptr;  // not owned

private:
    // The member of one sample type for the modes X, Y and XY.
    template <typename T>
    int32_t FilterSamples();
    // A line mean over the rows (bAlongRows) or the columns of one sample type.
    template <typename T>
    int32_t FilterLines(bool bAlongRows);
};
