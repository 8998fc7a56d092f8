// From a run-time sample type to a compile-time one. Every processor writes
// its algorithm once as a template over the sample type and reaches the
// instance for an image through one switch over the type value here; pairs
// and triples of types nest the switch.
#pragma once

#include <cstdint>
#include <type_traits>

#include "imaging/FpImage.h"

// Stands for the sample type T in a generic lambda: [&](auto tag) { using T = typename decltype(tag)::Type; }
template <typename T>
struct StSampleTag
{
    using Type = T;
};

// Calls visit(StSampleTag<T>()) with the C++ type of the sample type value.
// Returns false, without calling, for a value that is none of the eight.
template <typename TVisitor>
bool VisitSampleType(ClImage::EDataType eDataType, TVisitor&& visit)
{
    switch (eDataType) {
    case ClImage::uint8:
        visit(StSampleTag<uint8_t>());
        return true;
    case ClImage::int8:
        visit(StSampleTag<int8_t>());
        return true;
    case ClImage::uint16:
        visit(StSampleTag<uint16_t>());
        return true;
    case ClImage::int16:
        visit(StSampleTag<int16_t>());
        return true;
    case ClImage::uint32:
        visit(StSampleTag<uint32_t>());
        return true;
    case ClImage::int32:
        visit(StSampleTag<int32_t>());
        return true;
    case ClImage::float32:
        visit(StSampleTag<float>());
        return true;
    case ClImage::double64:
        visit(StSampleTag<double>());
        return true;
    default:
        return false;
    }
}

// The sample type value of a C++ sample type.
template <typename T>
constexpr ClImage::EDataType SampleTypeOf()
{
    if constexpr (std::is_same<T, uint8_t>::value)
        return ClImage::uint8;
    else if constexpr (std::is_same<T, int8_t>::value)
        return ClImage::int8;
    else if constexpr (std::is_same<T, uint16_t>::value)
        return ClImage::uint16;
    else if constexpr (std::is_same<T, int16_t>::value)
        return ClImage::int16;
    else if constexpr (std::is_same<T, uint32_t>::value)
        return ClImage::uint32;
    else if constexpr (std::is_same<T, int32_t>::value)
        return ClImage::int32;
    else if constexpr (std::is_same<T, float>::value)
        return ClImage::float32;
    else {
        static_assert(std::is_same<T, double>::value, "not a sample type");
        return ClImage::double64;
    }
}

// Typed access to the samples of an image. The sample type must match the
// image's; callers reach these through VisitSampleType.
template <typename T>
T* SamplesOf(ClImage& image)
{
    return reinterpret_cast<T*>(image.Data());
}

template <typename T>
const T* SamplesOf(const ClImage& image)
{
    return reinterpret_cast<const T*>(image.Data());
}
