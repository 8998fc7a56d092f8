// Test helper: images filled with given samples, and samples read back, for
// every sample type, with planes interleaved and rows padded to the stride.
#pragma once

#include <cstdint>
#include <vector>

#include "imaging/FpImage.h"
#include "imaging/SampleDispatch.h"

// An image of nWidth x nHeight x nPlanes samples, every one of them value.
template <typename T>
ClImage& FillSamples(ClImage& image, ClImage::EDataType eType, int32_t nWidth, int32_t nHeight, int32_t nPlanes,
                     T value)
{
    image.Create(eType, nWidth, nHeight, nPlanes, 0, 0, true);
    for (int32_t y = 0; y < nHeight; ++y)
        for (int32_t i = 0; i < nWidth * nPlanes; ++i)
            SamplesOf<T>(image)[y * image.SampleStride() + i] = value;
    return image;
}

// An image whose samples are the given values, row by row.
template <typename T>
void FillImage(ClImage& image, ClImage::EDataType eType, int32_t nWidth, const std::vector<T>& values,
               int32_t nPlanes = 1)
{
    const int32_t nHeight = static_cast<int32_t>(values.size()) / (nWidth * nPlanes);
    image.Create(eType, nWidth, nHeight, nPlanes, 0, 0, true);
    for (size_t i = 0; i < values.size(); ++i)
        SamplesOf<T>(image)[(i / (nWidth * nPlanes)) * image.SampleStride() + i % (nWidth * nPlanes)] = values[i];
}

// Sample p of pixel (x, y).
template <typename T>
T SampleAt(const ClImage& image, int32_t x, int32_t y, int32_t p = 0)
{
    return SamplesOf<T>(image)[int64_t(y) * image.SampleStride() + int64_t(x) * image.Planes() + p];
}
