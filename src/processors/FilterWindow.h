// Small pieces shared by the sliding-window filters: the size of a window
// cut at the image's edges, and a divider that turns the per-pixel integer
// division of a mean into one multiplication.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

// Pixels in a window of half-width nHalf around nPosition on a line of
// nLength pixels, with the parts outside the line cut off.
inline int32_t CutWindowCount(int32_t nPosition, int32_t nLength, int32_t nHalf)
{
    return std::min(nPosition, nHalf) + std::min(nLength - 1 - nPosition, nHalf) + 1;
}

// Exact unsigned 32-bit division by a divisor that stays the same for many
// numerators. A hardware division costs tens of cycles and a mean filter does
// one per pixel; multiplying by the 64-bit reciprocal ceil(2^64 / d) and
// keeping the high 64 bits of the product gives the truncated quotient for
// every 32-bit numerator and divisor (Lemire, Kaser and Kurz, "Faster
// remainder by direct computation", 2019).
class ClExactDivider
{
public:
    ClExactDivider() = default;
    explicit ClExactDivider(uint32_t nDivisor)
        : m_nReciprocal(nDivisor > 1 ? std::numeric_limits<uint64_t>::max() / nDivisor + 1 : 0),
          m_bIdentity(nDivisor <= 1)
    {
    }

    uint32_t Divide(uint32_t nNumerator) const
    {
        if (m_bIdentity)
            return nNumerator;
        __extension__ using Wide = unsigned __int128;
        return static_cast<uint32_t>((static_cast<Wide>(m_nReciprocal) * nNumerator) >> 64);
    }

private:
    uint64_t m_nReciprocal = 0;
    // A divisor of 1 has no 64-bit reciprocal; 0 never reaches a divider.
    bool m_bIdentity = true;
};

// Window sums along a line by differences of prefix sums: pWindow[x] is the
// sum of pValues over x - h to x + h, cut at the line's ends. pPrefix has
// nLength + 1 entries. The prefix sums wrap in 32 bits; a difference is right
// whenever the window's own sum fits 32 bits. The loop over the windows that
// are not cut has no tests and no dependence from one pixel to the next, so
// that it runs on several pixels at a time.
inline void WindowSumsFromPrefix(const uint32_t* pPrefix, uint32_t* pWindow, int32_t nLength, int32_t nHalf)
{
    const int32_t nLeftEnd = std::min(nHalf, nLength);
    int32_t x = 0;
    for (; x < nLeftEnd; ++x)
        pWindow[x] = pPrefix[std::min<int64_t>(nLength, int64_t(x) + nHalf + 1)];
    const int32_t nInteriorEnd = nLength - nHalf;
    const uint32_t* pUpper = pPrefix + nHalf + 1;
    const uint32_t* pLower = pPrefix - nHalf;
    for (; x < nInteriorEnd; ++x)
        pWindow[x] = pUpper[x] - pLower[x];
    for (; x < nLength; ++x)
        pWindow[x] = pPrefix[nLength] - pPrefix[std::max(0, x - nHalf)];
}

inline void WindowSumsByPrefix(const uint32_t* pValues, uint32_t* pPrefix, uint32_t* pWindow, int32_t nLength,
                               int32_t nHalf)
{
    pPrefix[0] = 0;
    for (int32_t x = 0; x < nLength; ++x)
        pPrefix[x + 1] = pPrefix[x] + pValues[x];
    WindowSumsFromPrefix(pPrefix, pWindow, nLength, nHalf);
}

// The same for two lines at once, whose prefix sums then run side by side.
inline void WindowSumsByPrefix2(const uint32_t* pValuesA, const uint32_t* pValuesB, uint32_t* pPrefixA,
                                uint32_t* pPrefixB, uint32_t* pWindowA, uint32_t* pWindowB, int32_t nLength,
                                int32_t nHalf)
{
    uint32_t nSumA = 0;
    uint32_t nSumB = 0;
    pPrefixA[0] = 0;
    pPrefixB[0] = 0;
    for (int32_t x = 0; x < nLength; ++x) {
        nSumA += pValuesA[x];
        nSumB += pValuesB[x];
        pPrefixA[x + 1] = nSumA;
        pPrefixB[x + 1] = nSumB;
    }
    WindowSumsFromPrefix(pPrefixA, pWindowA, nLength, nHalf);
    WindowSumsFromPrefix(pPrefixB, pWindowB, nLength, nHalf);
}
