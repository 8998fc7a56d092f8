#include "imaging/Histogram.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "sdk/Exception.h"
#include "imaging/FpImage.h"

namespace {

// Counts nRows rows of nLength bytes into pBins, which it overwrites. nFlip
// turns a signed byte into its bin: value + 128 is the byte with its top bit
// flipped. A run of equal bytes (the white paper around a finger) makes each
// increment wait for the previous one to the same bin, so four interleaved
// partial tables are counted and summed at the end, and sixteen equal bytes
// in a row are counted at once.
void CountRows(uint32_t* pBins, const uint8_t* pFirstRow, int64_t nStride, int32_t nRows, int64_t nLength,
               uint8_t nFlip)
{
    uint32_t aPartial[4][256] = {};
    for (int32_t y = 0; y < nRows; ++y) {
        const uint8_t* pRow = pFirstRow + y * nStride;
        int64_t i = 0;
        for (; i + 16 <= nLength; i += 16) {
            const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pRow + i));
            const __m128i first = _mm_set1_epi8(static_cast<char>(pRow[i]));
            if (_mm_movemask_epi8(_mm_cmpeq_epi8(chunk, first)) == 0xFFFF) {
                aPartial[0][pRow[i] ^ nFlip] += 16;
                continue;
            }
            for (int64_t j = i; j < i + 16; j += 4) {
                ++aPartial[0][pRow[j] ^ nFlip];
                ++aPartial[1][pRow[j + 1] ^ nFlip];
                ++aPartial[2][pRow[j + 2] ^ nFlip];
                ++aPartial[3][pRow[j + 3] ^ nFlip];
            }
        }
        for (; i < nLength; ++i)
            ++aPartial[0][pRow[i] ^ nFlip];
    }
    for (int nBin = 0; nBin < 256; ++nBin)
        pBins[nBin] = aPartial[0][nBin] + aPartial[1][nBin] + aPartial[2][nBin] + aPartial[3][nBin];
}

}  // namespace

ClHistogram::ClHistogram() : m_nBinOffset(0)
{
    std::memset(m_aBins, 0, sizeof(m_aBins));
}

void ClHistogram::Create(const ClImage& image)
{
    Create(image, 0, 0, image.Width(), image.Height());
}

void ClHistogram::Create(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1)
{
    std::memset(m_aBins, 0, sizeof(m_aBins));
    m_nBinOffset = 0;

    if (image.Planes() != 1)
        throw ClException("Color-image not supported in ClHistogram::Create.", ZRT_ERROR_INTERNAL, true, "Unknown", -1);
    // The order of the corners is checked as given, before they are cut to the
    // image: a rectangle lying wholly outside is accepted and counts nothing.
    if (x0 >= x1 || y0 >= y1)
        throw ClException("invalid Range in ClHistogram::Create.", ZRT_ERROR_INTERNAL, true, "Unknown", -1);

    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min(x1, image.Width());
    y1 = std::min(y1, image.Height());

    const bool bSigned = ClImage::IsSignedType(image.DataType());
    m_nBinOffset = bSigned ? 128 : 0;
    const uint8_t nFlip = bSigned ? 0x80 : 0x00;

    // One byte per pixel whatever the sample size: an image of wider samples
    // yields the distribution of the first bytes of each row.
    const uint8_t* pData = image.Data();
    if (pData == nullptr || x0 >= x1 || y0 >= y1)
        return;
    const int64_t nStride = image.Stride();
    CountRows(m_aBins, pData + y0 * nStride + x0, nStride, y1 - y0, int64_t(x1) - x0, nFlip);
}

int32_t ClHistogram::GetFirstBin() const
{
    // Bin 255 is never looked at: an empty scan ends there.
    int32_t nBin = 0;
    while (nBin < 255 && m_aBins[nBin] == 0)
        ++nBin;
    return nBin - m_nBinOffset;
}

int32_t ClHistogram::GetLastBin() const
{
    // Bin 0 is never looked at: an empty scan ends there.
    int32_t nBin = 255;
    while (nBin > 0 && m_aBins[nBin] == 0)
        --nBin;
    return nBin - m_nBinOffset;
}

uint64_t ClHistogram::SampleCount() const
{
    uint64_t nAll = 0;
    for (uint32_t nBinCount : m_aBins)
        nAll += nBinCount;
    return nAll;
}

double ClHistogram::GetLowerMean(uint32_t nCount) const
{
    if (nCount > SampleCount())
        throw ClException("Amount of pixels too high.", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    if (nCount == 0)
        return std::numeric_limits<double>::quiet_NaN();

    uint64_t nSeen = 0;
    uint64_t nWeighted = 0;
    int32_t nBin = 0;
    for (;; ++nBin) {
        nSeen += m_aBins[nBin];
        nWeighted += uint64_t(nBin) * m_aBins[nBin];
        if (nSeen >= nCount)
            break;
    }
    // The last bin may hold more samples than were asked for.
    nWeighted -= (nSeen - nCount) * uint64_t(nBin);
    return double(nWeighted) / double(nCount);
}

double ClHistogram::GetUpperMean(uint32_t nCount) const
{
    if (nCount > SampleCount())
        throw ClException("Amount of pixels too high.", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    if (nCount == 0)
        return std::numeric_limits<double>::quiet_NaN();

    uint64_t nSeen = 0;
    uint64_t nWeighted = 0;
    int32_t nBin = 255;
    for (;; --nBin) {
        nSeen += m_aBins[nBin];
        nWeighted += uint64_t(nBin) * m_aBins[nBin];
        if (nSeen >= nCount)
            break;
    }
    nWeighted -= (nSeen - nCount) * uint64_t(nBin);
    return double(nWeighted) / double(nCount);
}
