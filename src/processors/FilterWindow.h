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
