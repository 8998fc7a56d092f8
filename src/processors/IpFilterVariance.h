// ClIpFilterVariance: the local sample variance over a square window, the
// feature from which the mask pipeline tells ridges from background.
//
// Two passes of running sums, first along the rows and then down the
// columns, give each pixel the sum and the sum of squares of its window (cut
// at the image's edges, n pixels), and the output is the sample variance
// (sum of squares - sum * sum / n) / (n - 1). The sums run in the output's
// sample type: exact in double64 for integer images, wrapping in the integer
// types, which is only of use for tests of small images.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "processors/FilterWindow.h"
#include "imaging/FpImage.h"
#include "imaging/SafeConvert.h"
#include "processors/WorkBuffer.h"
#include "params/Ip1to1Base.h"

namespace FilterVariance {

// Arithmetic of the sums in the output type T: plain for floating types,
// wrapping at T's width for integers.
template <typename T>
T Add(T a, T b)
{
    if constexpr (std::is_floating_point<T>::value)
        return a + b;
    else
        return WrapAdd(a, b);
}

template <typename T>
T Subtract(T a, T b)
{
    if constexpr (std::is_floating_point<T>::value)
        return a - b;
    else
        return WrapSub(a, b);
}

template <typename T>
T Square(T a)
{
    if constexpr (std::is_floating_point<T>::value)
        return a * a;
    else
        return WrapMul(a, a);
}

// (sum of squares - sum * sum / n) / (n - 1) for the output type T. Integer
// types narrower than int compute as C++ would, in (wrapping) 32-bit signed
// integers, and keep the low bits; the 32-bit types in their own type.
// A window of one pixel divides by n - 1 = 0: infinity or NaN in the floating
// types, and 0 in the integer types, which have no such value.
template <typename T>
T SampleVariance(T sum, T sumOfSquares, int32_t nCount)
{
    if constexpr (std::is_floating_point<T>::value) {
        return (sumOfSquares - sum * sum / static_cast<T>(nCount)) / static_cast<T>(nCount - 1);
    } else {
        if (nCount <= 1)
            return 0;
        using Wide = std::conditional_t<(sizeof(T) < 4), int32_t, T>;
        const Wide wideSum = static_cast<Wide>(sum);
        const Wide nMean = WrapMul(wideSum, wideSum) / static_cast<Wide>(nCount);
        return static_cast<T>(WrapSub(static_cast<Wide>(sumOfSquares), nMean) / static_cast<Wide>(nCount - 1));
    }
}

// Sums of one output row: sum and sum of squares of every window column.
template <typename T>
struct TpVarianceRows
{
    std::vector<T> aSums;
    std::vector<T> aSquares;
};

// The variance of every window of half-width nHalf. in and out must not
// overlap.
template <typename TIn, typename TOut>
void Variance(const TIn* pIn, int32_t nInStride, TOut* pOut, int32_t nOutStride, int32_t nWidth, int32_t nHeight,
              int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    const size_t nPixels = size_t(nWidth) * size_t(nHeight);
    // First pass: window sums along each row.
    std::vector<TOut> aRowSums = AllocateWorkBuffer<TOut>(nPixels);
    std::vector<TOut> aRowSquares = AllocateWorkBuffer<TOut>(nPixels);
    const int64_t nFirstX = std::min<int64_t>(nHalf, nWidth - 1);
    for (int32_t y = 0; y < nHeight; ++y) {
        const TIn* pRow = pIn + int64_t(y) * nInStride;
        TOut* pSums = aRowSums.data() + size_t(y) * nWidth;
        TOut* pSquares = aRowSquares.data() + size_t(y) * nWidth;
        TOut sum = 0;
        TOut squares = 0;
        for (int64_t i = 0; i <= nFirstX; ++i) {
            const TOut value = ConvertSample<TOut>(pRow[i]);
            sum = Add(sum, value);
            squares = Add(squares, Square(value));
        }
        for (int32_t x = 0; x < nWidth; ++x) {
            pSums[x] = sum;
            pSquares[x] = squares;
            const int64_t nEntering = int64_t(x) + nHalf + 1;
            if (nEntering < nWidth) {
                const TOut value = ConvertSample<TOut>(pRow[nEntering]);
                sum = Add(sum, value);
                squares = Add(squares, Square(value));
            }
            const int64_t nLeaving = int64_t(x) - nHalf;
            if (nLeaving >= 0) {
                const TOut value = ConvertSample<TOut>(pRow[nLeaving]);
                sum = Subtract(sum, value);
                squares = Subtract(squares, Square(value));
            }
        }
    }
    // Second pass: window sums of the row sums down each column, one running
    // sum per column sliding down the image.
    std::vector<TOut> aSums = AllocateWorkBuffer<TOut>(size_t(nWidth));
    std::vector<TOut> aSquares = AllocateWorkBuffer<TOut>(size_t(nWidth));
    auto addRow = [&](int64_t nRow, bool bSubtract) {
        const TOut* pRowSums = aRowSums.data() + size_t(nRow) * nWidth;
        const TOut* pRowSquares = aRowSquares.data() + size_t(nRow) * nWidth;
        for (int32_t x = 0; x < nWidth; ++x) {
            aSums[x] = bSubtract ? Subtract(aSums[x], pRowSums[x]) : Add(aSums[x], pRowSums[x]);
            aSquares[x] = bSubtract ? Subtract(aSquares[x], pRowSquares[x]) : Add(aSquares[x], pRowSquares[x]);
        }
    };
    const int64_t nFirstY = std::min<int64_t>(nHalf, nHeight - 1);
    for (int64_t r = 0; r <= nFirstY; ++r)
        addRow(r, false);
    for (int32_t y = 0; y < nHeight; ++y) {
        const int32_t nRows = CutWindowCount(y, nHeight, nHalf);
        TOut* pOutRow = pOut + int64_t(y) * nOutStride;
        for (int32_t x = 0; x < nWidth; ++x)
            pOutRow[x] = SampleVariance(aSums[x], aSquares[x], CutWindowCount(x, nWidth, nHalf) * nRows);
        const int64_t nEntering = int64_t(y) + nHalf + 1;
        if (nEntering < nHeight)
            addRow(nEntering, false);
        const int64_t nLeaving = int64_t(y) - nHalf;
        if (nLeaving >= 0)
            addRow(nLeaving, true);
    }
}

// The variance of an 8-bit image as doubles, the pipeline's case. The window
// sums of 8-bit samples and their squares are whole numbers that a double
// holds exactly, so they are summed as integers (the column sums sliding down
// the image, sums along each row by prefix differences) and only the final
// formula runs in double, several pixels at a time: the result is the same to
// the bit as summing in double. The fast path of the processor; needs
// 2h + 1 <= kLargestIntegerWindow, so that the sums fit 32 bits.
constexpr int32_t kLargestIntegerWindow = 181;
void Variance8ToDouble(const uint8_t* pIn, int32_t nInStride, double* pOut, int32_t nOutStride, int32_t nWidth,
                       int32_t nHeight, int32_t nHalf);

}  // namespace FilterVariance

class ClIpFilterVariance : public NewIpBase::ClIp1to1Base
{
public:
    // Accepts one-plane images of all eight sample types; width 11, output double64.
    ClIpFilterVariance();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpFilterVariance"; }
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // The output becomes a one-plane image of the output type at the input's
    // size, with the input's carried values, holding the variance of every
    // window. An output type outside the eight (also default) gives ZRT_ERROR_FORMAT_NOTSUPPORTED; a
    // width below -1 has no window and gives ZRT_ERROR_PARAM_OUT_OF_RANGE.
    int32_t Process() override;

    void SetFilterWidth(int32_t nWidth) { m_nFilterWidth = nWidth; }
    int32_t GetFilterWidth() const { return m_nFilterWidth; }
    void SetOutImageType(ClImage::EDataType eType) { m_eOutImageType = static_cast<unsigned char>(eType); }

protected:
    // The input check of the frame, then one plane only (ZRT_ERROR_INVALID_PARAMETER) and an output
    // (ZRT_ERROR_BAD_POINTER).
    void CheckInputType() override;

    int32_t m_nFilterWidth = 11;
    unsigned char m_eOutImageType = ClImage::double64;
};
