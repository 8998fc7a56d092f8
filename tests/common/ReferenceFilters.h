// Brute-force references for the window filters: the samples of the window
// around (x, y), cut at the plane's edges, visited one by one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include "common/RandomSamples.h"

// Calls check(T()) for each of the eight sample types.
template <typename TCheck>
void ForEachSampleType(TCheck check)
{
    std::apply([&](auto... samples) { (check(samples), ...); },
               std::tuple<uint8_t, int8_t, uint16_t, int16_t, uint32_t, int32_t, float, double>());
}

// Calls visit(sample) for every sample of the window of half-widths (nHalfX, nHalfY); returns their count.
template <typename T, typename TVisit>
int32_t VisitWindow(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalfX, int32_t nHalfY, TVisit visit)
{
    int32_t nCount = 0;
    for (int32_t v = std::max(0, y - nHalfY); v <= std::min(in.nHeight - 1, y + nHalfY); ++v)
        for (int32_t u = std::max(0, x - nHalfX); u <= std::min(in.nWidth - 1, x + nHalfX); ++u, ++nCount)
            visit(in.At(u, v));
    return nCount;
}

// The window's mean as the filters define it: an integer quotient truncated toward zero, or a plain division.
template <typename T>
long double WindowMean(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalfX, int32_t nHalfY)
{
    using Sum = std::conditional_t<std::is_floating_point<T>::value, long double, int64_t>;
    Sum sum = 0;
    const int32_t nCount = VisitWindow(in, x, y, nHalfX, nHalfY, [&](T sample) { sum += static_cast<Sum>(sample); });
    return static_cast<long double>(sum / static_cast<Sum>(nCount));
}

template <typename T>
T WindowMinimum(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalfX, int32_t nHalfY)
{
    T minimum = in.At(x, y);
    VisitWindow(in, x, y, nHalfX, nHalfY, [&](T sample) { minimum = std::min(minimum, sample); });
    return minimum;
}

// The sample variance of the square window, summed in TSum.
template <typename T, typename TSum = double>
TSum WindowVariance(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalf)
{
    TSum sum = 0, squares = 0;
    const int32_t nCount = VisitWindow(in, x, y, nHalf, nHalf, [&](T sample) {
        sum += TSum(sample);
        squares += TSum(sample) * TSum(sample);
    });
    return (squares - sum * sum / nCount) / (nCount - 1);
}

// Whether out.At(x, y) is expected(x, y) at every pixel, within dTolerance * (1 + |expected|); NaN matches NaN.
template <typename T, typename TExpected>
::testing::AssertionResult EveryPixelIs(const TpTestPlane<T>& out, TExpected expected, long double dTolerance = 0)
{
    for (int32_t y = 0; y < out.nHeight; ++y)
        for (int32_t x = 0; x < out.nWidth; ++x) {
            const long double dActual = out.At(x, y), dExpected = expected(x, y);
            const bool bBothNaN = std::isnan(dActual) && std::isnan(dExpected);
            if (!bBothNaN && !(std::fabs(dActual - dExpected) <= dTolerance * (1 + std::fabs(dExpected))))
                return ::testing::AssertionFailure() << dActual << " instead of " << dExpected << " at " << x << ","
                                                     << y;
        }
    return ::testing::AssertionSuccess();
}
