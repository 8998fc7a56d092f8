// Random sample planes for the processor tests: reproducible, any sample
// type, with row padding so that strides differ from widths.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

// A plane of nWidth x nHeight samples, rows nStride samples apart.
template <typename T>
struct TpTestPlane
{
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    int32_t nStride = 0;
    std::vector<T> aSamples;

    T& At(int32_t x, int32_t y) { return aSamples[size_t(y) * nStride + x]; }
    const T& At(int32_t x, int32_t y) const { return aSamples[size_t(y) * nStride + x]; }
    T* Data() { return aSamples.data(); }
    const T* Data() const { return aSamples.data(); }
};

// Samples spread over the whole range of T; floating samples in -1000..1000.
template <typename T>
TpTestPlane<T> RandomPlane(int32_t nWidth, int32_t nHeight, uint32_t nSeed, int32_t nPadding = 3)
{
    TpTestPlane<T> plane;
    plane.nWidth = nWidth;
    plane.nHeight = nHeight;
    plane.nStride = nWidth + nPadding;
    plane.aSamples.resize(size_t(plane.nStride) * nHeight);
    std::mt19937 random(nSeed);
    for (T& sample : plane.aSamples) {
        if constexpr (std::is_floating_point<T>::value) {
            sample = static_cast<T>(std::uniform_real_distribution<double>(-1000.0, 1000.0)(random));
        } else {
            using Wide = std::conditional_t<std::is_signed<T>::value, int64_t, uint64_t>;
            sample = static_cast<T>(std::uniform_int_distribution<Wide>(std::numeric_limits<T>::min(),
                                                                         std::numeric_limits<T>::max())(random));
        }
    }
    return plane;
}

template <typename T>
TpTestPlane<T> EmptyPlaneLike(const TpTestPlane<T>& plane)
{
    return {plane.nWidth, plane.nHeight, plane.nStride, std::vector<T>(plane.aSamples.size())};
}
