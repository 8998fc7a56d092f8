#include "processors/IpFilterMid.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sdk/Exception.h"
#include "processors/FastPaths.h"
#include "processors/ProcessorSupport.h"
#include "imaging/SampleDispatch.h"

namespace FilterMid {

namespace {

// Slides the column sums of a square window of half-width nHalf down an 8-bit
// image. For each output row y, onRow(y, aColumnSums, nRows) sees the sum of
// every column over the rows y - h to y + h that exist, and their number.
// The sums wrap at the width of TSum: 16 bits hold 257 rows of 8-bit samples.
template <typename TSum = uint32_t, typename TOnRow>
void SlideColumnSums8(const uint8_t* pIn, int32_t nInStride, int32_t nWidth, int32_t nHeight, int32_t nHalf,
                      TOnRow&& onRow)
{
    std::vector<TSum> aColumnSums = AllocateWorkBuffer<TSum>(static_cast<size_t>(nWidth), 0);
    TSum* pSums = aColumnSums.data();
    // Primed with the rows 0 to h - 1; row y + h joins at row y.
    int32_t nRows = 0;
    for (int32_t r = 0; r < nHalf && r < nHeight; ++r, ++nRows) {
        const uint8_t* pRow = pIn + int64_t(r) * nInStride;
        for (int32_t x = 0; x < nWidth; ++x)
            pSums[x] = TSum(pSums[x] + pRow[x]);
    }
    for (int32_t y = 0; y < nHeight; ++y) {
        const int64_t nEntering = int64_t(y) + nHalf;
        const int64_t nLeaving = int64_t(y) - nHalf - 1;
        const bool bEnters = nEntering < nHeight;
        const bool bLeaves = nLeaving >= 0;
        const uint8_t* pEntering = bEnters ? pIn + nEntering * nInStride : nullptr;
        const uint8_t* pLeaving = bLeaves ? pIn + nLeaving * nInStride : nullptr;
        if (bEnters && bLeaves) {
            for (int32_t x = 0; x < nWidth; ++x)
                pSums[x] = TSum(pSums[x] + TSum(pEntering[x]) - TSum(pLeaving[x]));
        } else if (bEnters) {
            ++nRows;
            for (int32_t x = 0; x < nWidth; ++x)
                pSums[x] = TSum(pSums[x] + pEntering[x]);
        } else if (bLeaves) {
            --nRows;
            for (int32_t x = 0; x < nWidth; ++x)
                pSums[x] = TSum(pSums[x] - pLeaving[x]);
        }
        onRow(y, pSums, nRows);
    }
}

// One output row of the square mean: a running sum over 2h + 1 column sums,
// divided by the pixels of the window (columns in it times nRows).
void MeanRow8(const uint32_t* pSums, uint8_t* pOutRow, int32_t nWidth, int32_t nHalf,
              const std::vector<ClExactDivider>& aDividers)
{
    uint32_t nSum = 0;
    const int32_t nFirstWindowEnd = std::min(nHalf, nWidth - 1);
    for (int32_t i = 0; i <= nFirstWindowEnd; ++i)
        nSum += pSums[i];

    auto cutStep = [&](int32_t x) {
        pOutRow[x] = static_cast<uint8_t>(aDividers[CutWindowCount(x, nWidth, nHalf)].Divide(nSum));
        if (int64_t(x) + nHalf + 1 < nWidth)
            nSum += pSums[x + nHalf + 1];
        if (x >= nHalf)
            nSum -= pSums[x - nHalf];
    };
    int32_t x = 0;
    for (const int32_t nLeftEnd = std::min(nHalf, nWidth); x < nLeftEnd; ++x)
        cutStep(x);
    // Full windows whose successor is full too: no tests in the loop.
    const int64_t nInteriorEnd = int64_t(nWidth) - 1 - nHalf;
    if (x < nInteriorEnd) {
        const ClExactDivider& full = aDividers[2 * nHalf + 1];
        for (; x < nInteriorEnd; ++x) {
            pOutRow[x] = static_cast<uint8_t>(full.Divide(nSum));
            nSum += pSums[x + nHalf + 1];
            nSum -= pSums[x - nHalf];
        }
    }
    for (; x < nWidth; ++x)
        cutStep(x);
}

// The mean of 8-bit samples by a float division, truncated. Exact: a window
// of d pixels sums to at most 255 d, below 2^24 and so a float; the quotient
// is below 256, where floats lie 2^-16 apart, and a quotient that is not a
// whole number lies at least 1/d below the next one, more than the rounding
// can bridge while d < 2^17. kLargestFloatDivisor keeps both conditions.
constexpr int64_t kLargestFloatDivisor = 65536;

// The square mean by window sums from prefix differences and a float
// division per pixel, several pixels at a time. The column sums are 16 bits
// wide where the window's rows cannot overflow them.
template <typename TSum>
void MeanXYByFloat8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, int32_t nWidth,
                    int32_t nHeight, int32_t nHalf)
{
    std::vector<uint32_t> aPrefix = AllocateWorkBuffer<uint32_t>(size_t(nWidth) + 2 * size_t(nHalf) + 1);
    std::vector<float> aColumns = AllocateWorkBuffer<float>(size_t(nWidth));
    for (int32_t x = 0; x < nWidth; ++x)
        aColumns[x] = static_cast<float>(CutWindowCount(x, nWidth, nHalf));
    SlideColumnSums8<TSum>(pIn, nInStride, nWidth, nHeight, nHalf, [&](int32_t y, const TSum* pSums, int32_t nRows) {
        FastPaths::PaddedPrefixSums(pSums, aPrefix.data(), nWidth, nHalf);
        FastPaths::MeanRowByFloat(aPrefix.data(), 2 * nHalf + 1, aColumns.data(), static_cast<float>(nRows),
                                  pOut + int64_t(y) * nOutStride, nWidth);
    });
}

}  // namespace

void MeanXY8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, int32_t nWidth,
             int32_t nHeight, int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    const int64_t nLargestColumns = std::min<int64_t>(2 * int64_t(nHalf) + 1, nWidth);
    const int64_t nLargestRows = std::min<int64_t>(2 * int64_t(nHalf) + 1, nHeight);
    if (FastPaths::Enabled() && nLargestColumns * nLargestRows <= kLargestFloatDivisor) {
        if (nLargestRows * 255 <= 65535)
            MeanXYByFloat8<uint16_t>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf);
        else
            MeanXYByFloat8<uint32_t>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf);
        return;
    }
    // Dividers by the number of window columns, for the present row count;
    // the row count changes only in the first and last h rows.
    std::vector<ClExactDivider> aDividers = AllocateWorkBuffer<ClExactDivider>(size_t(nLargestColumns) + 1);
    int32_t nDividerRows = -1;
    SlideColumnSums8(pIn, nInStride, nWidth, nHeight, nHalf, [&](int32_t y, const uint32_t* pSums, int32_t nRows) {
        if (nRows != nDividerRows) {
            for (int32_t nColumns = 1; nColumns <= nLargestColumns; ++nColumns)
                aDividers[nColumns] = ClExactDivider(uint32_t(nColumns) * uint32_t(nRows));
            nDividerRows = nRows;
        }
        MeanRow8(pSums, pOut + int64_t(y) * nOutStride, nWidth, nHalf, aDividers);
    });
}

void Mean3x3Rounded8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, int32_t nWidth,
                     int32_t nHeight)
{
    if (nWidth < 3 || nHeight < 3)
        return;
    std::vector<uint32_t> aColumnSums = AllocateWorkBuffer<uint32_t>(static_cast<size_t>(nWidth), 0);
    uint32_t* pSums = aColumnSums.data();
    const int32_t nLast = nWidth - 1;
    for (int32_t y = 0; y < nHeight; ++y) {
        const uint8_t* pRow = pIn + int64_t(y) * nInStride;
        const uint8_t* pAbove = y > 0 ? pRow - nInStride : nullptr;
        const uint8_t* pBelow = y + 1 < nHeight ? pRow + nInStride : nullptr;
        if (pAbove && pBelow) {
            for (int32_t x = 0; x < nWidth; ++x)
                pSums[x] = uint32_t(pAbove[x]) + pRow[x] + pBelow[x];
        } else {
            const uint8_t* pOther = pAbove ? pAbove : pBelow;
            for (int32_t x = 0; x < nWidth; ++x)
                pSums[x] = uint32_t(pOther[x]) + pRow[x];
        }
        uint8_t* pOutRow = pOut + int64_t(y) * nOutStride;
        const uint32_t nLeft = pSums[0] + pSums[1];
        const uint32_t nRight = pSums[nLast - 1] + pSums[nLast];
        if (pAbove && pBelow) {
            // 6 pixels at the left and right edges, 9 inside.
            pOutRow[0] = static_cast<uint8_t>(((nLeft + 3) * 682) >> 12);
            for (int32_t x = 1; x < nLast; ++x)
                pOutRow[x] = static_cast<uint8_t>(((pSums[x - 1] + pSums[x] + pSums[x + 1] + 4) * 455) >> 12);
            pOutRow[nLast] = static_cast<uint8_t>(((nRight + 3) * 682) >> 12);
        } else {
            // Top or bottom row: 4 pixels in the corners, 6 along the edge.
            pOutRow[0] = static_cast<uint8_t>((nLeft + 2) >> 2);
            for (int32_t x = 1; x < nLast; ++x)
                pOutRow[x] = static_cast<uint8_t>(((pSums[x - 1] + pSums[x] + pSums[x + 1] + 3) * 682) >> 12);
            pOutRow[nLast] = static_cast<uint8_t>((nRight + 2) >> 2);
        }
    }
}

void MeanXYWithFraction8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride,
                         uint8_t* pFraction, int32_t nFractionStride, int32_t nWidth, int32_t nHeight,
                         int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    SlideColumnSums8(pIn, nInStride, nWidth, nHeight, nHalf, [&](int32_t y, const uint32_t* pSums, int32_t nRows) {
        uint8_t* pOutRow = pOut + int64_t(y) * nOutStride;
        uint8_t* pFractionRow = pFraction + int64_t(y) * nFractionStride;
        // The sums of 8-bit samples are whole numbers far below 2^53, so
        // summing them as integers gives the same doubles.
        uint32_t nSum = 0;
        for (int32_t i = 0; i <= std::min(nHalf, nWidth - 1); ++i)
            nSum += pSums[i];
        for (int32_t x = 0; x < nWidth; ++x) {
            const double dMean = double(nSum) / double(CutWindowCount(x, nWidth, nHalf) * nRows);
            const int32_t nWhole = DoubleToInt32(dMean);
            pOutRow[x] = static_cast<uint8_t>(nWhole);
            pFractionRow[x] = static_cast<uint8_t>(DoubleToInt32((dMean - nWhole) * 256.0));
            if (int64_t(x) + nHalf + 1 < nWidth)
                nSum += pSums[x + nHalf + 1];
            if (x >= nHalf)
                nSum -= pSums[x - nHalf];
        }
    });
}

void MeanDirected8(const uint8_t* pIn, int32_t nInStride, uint8_t* pOut, int32_t nOutStride, const int8_t* pDx,
                   int32_t nDxStride, const int8_t* pDy, int32_t nDyStride, int32_t nWidth, int32_t nHeight,
                   int32_t nHalf, bool bOrtho)
{
    if (nHalf < 0)
        return;
    for (int32_t y = 0; y < nHeight; ++y) {
        const int8_t* pDxRow = pDx + int64_t(y) * nDxStride;
        const int8_t* pDyRow = pDy + int64_t(y) * nDyStride;
        uint8_t* pOutRow = pOut + int64_t(y) * nOutStride;
        for (int32_t x = 0; x < nWidth; ++x) {
            const int32_t nDx = pDxRow[x];
            const int32_t nDy = pDyRow[x];
            const int32_t nStepX = bOrtho ? 2 * nDy : 2 * nDx;
            const int32_t nStepY = bOrtho ? 2 * nDx : -2 * nDy;
            // A step moves at most one pixel per axis, so k steps either way
            // stay inside when k is no larger than the distance to any border.
            const int32_t nReach = std::min({nHalf, x, nWidth - 1 - x, y, nHeight - 1 - y});
            int64_t nPosX = int64_t(x) * 256 + 128 - int64_t(nReach) * nStepX;
            int64_t nPosY = int64_t(y) * 256 + 128 - int64_t(nReach) * nStepY;
            uint32_t nSum = 0;
            for (int32_t i = 0; i <= 2 * nReach; ++i) {
                nSum += pIn[(nPosY >> 8) * nInStride + (nPosX >> 8)];
                nPosX += nStepX;
                nPosY += nStepY;
            }
            pOutRow[x] = static_cast<uint8_t>(nSum / uint32_t(2 * nReach + 1));
        }
    }
}

}  // namespace FilterMid

// ---- ClIpFilterMid ------------------------------------------------------------------

ClProcessorBase* ClIpFilterMid::CreateInstance() const
{
    return NewProcessorInstance<ClIpFilterMid>();
}

int32_t ClIpFilterMid::Prepare()
{
    m_nFilterWidth |= 1;
    return 0;
}

int32_t ClIpFilterMid::Run(ClImage* pInImage, ClImage* pOutImage, int32_t nFilterWidth)
{
    m_pInImage = pInImage;
    m_pOutImage = pOutImage;
    m_nFilterWidth = nFilterWidth;
    return Run();
}

int32_t ClIpFilterMid::ProcessPlane()
{
    if (m_pInImage == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BITMAP_PTR, KR9_SITE);
    if (m_pInImage->DataType() == ClImage::uint8)
        return ClIpFilterBase::ProcessPlane();
    int32_t nStatus = 0;
    if (!VisitSampleType(m_pInImage->DataType(),
                         [&](auto tag) { nStatus = FilterSamples<typename decltype(tag)::Type>(); }))
        throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
    return nStatus;
}

template <typename T>
int32_t ClIpFilterMid::FilterSamples()
{
    switch (m_eMode) {
    case eModeX:
        return FilterLines<T>(true);
    case eModeY:
        return FilterLines<T>(false);
    case eModeXY: {
        // Each direction with its own truncation.
        ClImage intermediate;
        const ClFilterImagesScope scope(m_pInImage, m_pOutImage);
        ClImage* pOutImage = m_pOutImage;
        m_pOutImage = &intermediate;
        const int32_t nStatus = FilterLines<T>(true);
        if (nStatus != 0)
            return nStatus;
        m_pInImage = &intermediate;
        m_pOutImage = pOutImage;
        return FilterLines<T>(false);
    }
    case eModeDirected:
    case eModeDirectedOrtho:
        return ZRT_ERROR_FORMAT_NOTSUPPORTED;
    default:
        throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
    }
}

template <typename T>
int32_t ClIpFilterMid::FilterLines(bool bAlongRows)
{
    const ClImage& in = *m_pInImage;
    ClImage& out = *m_pOutImage;
    out.CreateLike(in);
    // A window as long as the line or longer shrinks to the longest odd
    // window shorter than the line, and the filter keeps that width.
    const int32_t nLength = bAlongRows ? in.Width() : in.Height();
    if (m_nFilterWidth >= nLength) {
        m_nFilterWidth = nLength - 1;
        if (m_nFilterWidth % 2 == 0)
            m_nFilterWidth = nLength - 2;
    }
    if (m_nFilterWidth <= 0)
        return ZRT_ERROR_INTERNAL;
    if (m_nFilterWidth == 1) {
        out = in;
        return 0;
    }
    if (in.Data() == nullptr || out.Data() == nullptr)
        return 0;
    const int32_t nHalf = m_nFilterWidth / 2;
    const auto filter = [&](auto sumTag) {
        using TSum = typename decltype(sumTag)::Type;
        if (bAlongRows)
            FilterMid::MeanX<T, TSum>(SamplesOf<T>(in), in.SampleStride(), SamplesOf<T>(out), out.SampleStride(),
                                      in.Width(), in.Height(), nHalf);
        else
            FilterMid::MeanY<T, TSum>(SamplesOf<T>(in), in.SampleStride(), SamplesOf<T>(out), out.SampleStride(),
                                      in.Width(), in.Height(), nHalf);
    };
    // Windows of 16-bit samples that sum within 32 bits take the faster divider.
    if constexpr (std::is_same<T, uint16_t>::value) {
        if (2 * int64_t(nHalf) + 1 <= FilterMid::kLargestNarrowWindow16) {
            filter(StSampleTag<uint32_t>());
            return 0;
        }
    }
    filter(StSampleTag<FilterMid::MeanSum<T>>());
    return 0;
}

int32_t ClIpFilterMid::FilterX()
{
    return FilterLines<uint8_t>(true);
}

int32_t ClIpFilterMid::FilterY()
{
    return FilterLines<uint8_t>(false);
}

int32_t ClIpFilterMid::FilterSignedX()
{
    return FilterLines<int8_t>(true);
}

int32_t ClIpFilterMid::FilterSignedY()
{
    return FilterLines<int8_t>(false);
}

int32_t ClIpFilterMid::FilterSignedXY()
{
    return RunOneAfterOther(&ClIpFilterBase::FilterSignedX, &ClIpFilterBase::FilterSignedY);
}

int32_t ClIpFilterMid::FilterXY()
{
    const ClImage& in = *m_pInImage;
    ClImage& out = *m_pOutImage;
    if (in.Width() < m_nFilterWidth || in.Height() < m_nFilterWidth) {
        out = in;
        return 0;
    }
    out.CreateLike(in);
    if (in.Data() == nullptr || out.Data() == nullptr)
        return 0;
    const int32_t nHalf = m_nFilterWidth / 2;
    if (m_pFractionImage != nullptr) {
        ClImage& fraction = *m_pFractionImage;
        if (&fraction == &in || &fraction == &out)
            return ZRT_ERROR_INVALID_PARAMETER;
        fraction.CreateLike(in);
        FilterMid::MeanXYWithFraction8(in.Data(), in.SampleStride(), out.Data(), out.SampleStride(), fraction.Data(),
                                       fraction.SampleStride(), in.Width(), in.Height(), nHalf);
    } else if (m_nFilterWidth == 3) {
        FilterMid::Mean3x3Rounded8(in.Data(), in.SampleStride(), out.Data(), out.SampleStride(), in.Width(),
                                   in.Height());
    } else {
        FilterMid::MeanXY8(in.Data(), in.SampleStride(), out.Data(), out.SampleStride(), in.Width(), in.Height(),
                           nHalf);
    }
    return 0;
}

int32_t ClIpFilterMid::FilterDirected(bool bOrtho)
{
    if (m_pInDxImage == nullptr)
        throw ClException("m_pInDxImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_pInDyImage == nullptr)
        throw ClException("m_pInDyImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    const ClImage& in = *m_pInImage;
    ClImage& out = *m_pOutImage;
    const int32_t nHalf = m_nFilterWidth / 2;
    if (2 * int64_t(nHalf) >= in.Width()) {
        out = in;
        return ZRT_ERROR_BITMAP_DIMENSION;
    }
    // The field is read at every pixel of the input.
    for (const ClImage* pField : {m_pInDxImage, m_pInDyImage})
        if (ClImage::SampleBytes(pField->DataType()) != 1 || pField->Planes() != 1 ||
            pField->Width() < in.Width() || pField->Height() < in.Height() ||
            (pField->Data() == nullptr && in.Data() != nullptr))
            return ZRT_ERROR_INVALID_PARAMETER;
    out.CreateLike(in);
    if (in.Data() == nullptr || out.Data() == nullptr)
        return 0;
    FilterMid::MeanDirected8(in.Data(), in.SampleStride(), out.Data(), out.SampleStride(),
                             SamplesOf<int8_t>(*m_pInDxImage), m_pInDxImage->SampleStride(),
                             SamplesOf<int8_t>(*m_pInDyImage), m_pInDyImage->SampleStride(), in.Width(), in.Height(),
                             nHalf, bOrtho);
    return 0;
}
