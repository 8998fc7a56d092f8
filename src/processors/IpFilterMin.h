// ClIpFilterMin: the sliding minimum over a line or a square of pixels.
//
// The kernels give each pixel the smallest sample of the window x - h to
// x + h (rows, columns, or both one after the other), cut at the image's
// edges, so that the windows grow from the ends of each line towards the
// full width. A running minimum that is searched anew whenever it leaves the
// window costs the whole window per pixel on a rising ramp; the block minima
// of van Herk, Gil and Werman give every window's minimum with three
// comparisons per pixel whatever the width, and the same values.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "processors/IpFilterBase.h"
#include "processors/WorkBuffer.h"

namespace FilterMin {

// Samples outside the line: never smaller than a real sample.
template <typename T>
constexpr T Largest()
{
    if constexpr (std::is_floating_point<T>::value)
        return std::numeric_limits<T>::infinity();
    else
        return std::numeric_limits<T>::max();
}

// Scratch lines of nLength + 2h samples for MinLine.
template <typename T>
struct TpMinLineWork
{
    TpMinLineWork(int32_t nLength, int32_t nHalf)
        : aPadded(AllocateWorkBuffer<T>(size_t(nLength) + 2 * size_t(nHalf), Largest<T>())),
          aPrefix(AllocateWorkBuffer<T>(aPadded.size())),
          aSuffix(AllocateWorkBuffer<T>(aPadded.size()))
    {
    }
    std::vector<T> aPadded;
    std::vector<T> aPrefix;
    std::vector<T> aSuffix;
};

// The minimum of every cut window of one line of nLength samples, nStep
// samples apart. The line is padded with h samples of Largest() at either end
// and cut into blocks of 2h + 1; a window then spans at most two blocks, and
// its minimum is the smaller of the rest of the first block from the window's
// start (suffix minimum) and the second block up to the window's end (prefix
// minimum). The whole line is read before anything is written.
template <typename T>
void MinLine(const T* pLine, int64_t nStep, T* pOut, int64_t nOutStep, int32_t nLength, int32_t nHalf,
             TpMinLineWork<T>& work)
{
    T* pPadded = work.aPadded.data();
    T* pPrefix = work.aPrefix.data();
    T* pSuffix = work.aSuffix.data();
    for (int64_t i = 0; i < nLength; ++i)
        pPadded[nHalf + i] = pLine[i * nStep];
    const int64_t nBlock = 2 * int64_t(nHalf) + 1;
    const int64_t nPadded = int64_t(nLength) + 2 * nHalf;
    for (int64_t nStart = 0; nStart < nPadded; nStart += nBlock) {
        const int64_t nEnd = std::min(nStart + nBlock, nPadded);
        pPrefix[nStart] = pPadded[nStart];
        for (int64_t p = nStart + 1; p < nEnd; ++p)
            pPrefix[p] = std::min(pPrefix[p - 1], pPadded[p]);
        pSuffix[nEnd - 1] = pPadded[nEnd - 1];
        for (int64_t p = nEnd - 2; p >= nStart; --p)
            pSuffix[p] = std::min(pSuffix[p + 1], pPadded[p]);
    }
    for (int64_t i = 0; i < nLength; ++i)
        pOut[i * nOutStep] = std::min(pSuffix[i], pPrefix[i + 2 * nHalf]);
}

// A window wider than the line is the whole line for every pixel, so the
// half-width need never exceed the line's length; this also bounds the
// scratch memory.
inline int32_t EffectiveHalf(int32_t nHalf, int32_t nLength)
{
    return std::max(0, std::min(nHalf, nLength - 1));
}

// Minimum along the rows. in and out may be the same samples, since each row
// is first read whole into the scratch lines.
template <typename T>
void MinX(const T* pIn, int32_t nInStride, T* pOut, int32_t nOutStride, int32_t nWidth, int32_t nHeight, int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    nHalf = EffectiveHalf(nHalf, nWidth);
    TpMinLineWork<T> work(nWidth, nHalf);
    for (int32_t y = 0; y < nHeight; ++y)
        MinLine(pIn + int64_t(y) * nInStride, 1, pOut + int64_t(y) * nOutStride, 1, nWidth, nHalf, work);
}

// Minimum along the columns; in and out may be the same samples. The same
// block minima as along the rows, but over whole rows of a strip of columns
// at a time, so that the image is read row by row and each step covers many
// pixels.
template <typename T>
void MinY(const T* pIn, int32_t nInStride, T* pOut, int32_t nOutStride, int32_t nWidth, int32_t nHeight, int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    nHalf = EffectiveHalf(nHalf, nHeight);
    constexpr int32_t kStrip = 64;
    const int64_t nBlock = 2 * int64_t(nHalf) + 1;
    const int64_t nPadded = int64_t(nHeight) + 2 * nHalf;
    std::vector<T> aPrefix = AllocateWorkBuffer<T>(size_t(nPadded) * kStrip);
    std::vector<T> aSuffix = AllocateWorkBuffer<T>(size_t(nPadded) * kStrip);
    const std::vector<T> aOutside = AllocateWorkBuffer<T>(kStrip, Largest<T>());
    for (int32_t x0 = 0; x0 < nWidth; x0 += kStrip) {
        const int32_t nColumns = std::min(kStrip, nWidth - x0);
        // Row p of the padded strip: h rows of Largest() above and below the image.
        auto padded = [&](int64_t p) {
            const int64_t y = p - nHalf;
            return (y < 0 || y >= nHeight) ? aOutside.data() : pIn + y * nInStride + x0;
        };
        auto prefixRow = [&](int64_t p) { return aPrefix.data() + p * kStrip; };
        auto suffixRow = [&](int64_t p) { return aSuffix.data() + p * kStrip; };
        for (int64_t nStart = 0; nStart < nPadded; nStart += nBlock) {
            const int64_t nEnd = std::min(nStart + nBlock, nPadded);
            std::copy_n(padded(nStart), nColumns, prefixRow(nStart));
            for (int64_t p = nStart + 1; p < nEnd; ++p) {
                const T* pPrevious = prefixRow(p - 1);
                const T* pRow = padded(p);
                T* pPrefix = prefixRow(p);
                for (int32_t x = 0; x < nColumns; ++x)
                    pPrefix[x] = std::min(pPrevious[x], pRow[x]);
            }
            std::copy_n(padded(nEnd - 1), nColumns, suffixRow(nEnd - 1));
            for (int64_t p = nEnd - 2; p >= nStart; --p) {
                const T* pNext = suffixRow(p + 1);
                const T* pRow = padded(p);
                T* pSuffix = suffixRow(p);
                for (int32_t x = 0; x < nColumns; ++x)
                    pSuffix[x] = std::min(pNext[x], pRow[x]);
            }
        }
        // Every input row of the strip has been read: the output may be the input.
        for (int32_t y = 0; y < nHeight; ++y) {
            const T* pSuffix = suffixRow(y);
            const T* pPrefix = prefixRow(y + 2 * int64_t(nHalf));
            T* pOutRow = pOut + int64_t(y) * nOutStride + x0;
            for (int32_t x = 0; x < nColumns; ++x)
                pOutRow[x] = std::min(pSuffix[x], pPrefix[x]);
        }
    }
}

}  // namespace FilterMin

class ClIpFilterMin : public ClIpFilterBase
{
public:
    ClIpFilterMin() = default;

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpFilterMin"; }
    void DescribeParameters(ClParameterInterface& list) override;

    // Both images must be set (ZRT_ERROR_BAD_POINTER).
    int32_t Prepare() override;
    // An even width fails with ZRT_ERROR_INVALID_PARAMETER "Filter width has to be odd."; then one
    // member per sample type for the modes X, Y and XY (X, then Y on its
    // result). The directed modes give ZRT_ERROR_FORMAT_NOTSUPPORTED, other modes raise ZRT_ERROR_PARAM_OUT_OF_RANGE.
    int32_t ProcessPlane() override;

    int32_t Run(ClImage* pInImage, ClImage* pOutImage, int32_t nFilterWidth, EFilterMode eMode);
    using ClProcessorBase::Run;

private:
    template <typename T>
    int32_t FilterSamples();
};
