// Conversions and integer arithmetic with one defined result for every input.
//
// The images of the SDK are defined to the bit, including the cases where a
// floating value does not fit the integer it is stored in: such a value (NaN,
// an infinity, anything out of range) becomes the "integer indefinite" value
// INT32_MIN that x86 conversion instructions produce. In C++ that conversion
// is undefined, and so is signed overflow, so every processor converts and
// wraps through the helpers here and nowhere else.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

// Truncates toward zero; a value without a 32-bit result gives INT32_MIN.
inline int32_t DoubleToInt32(double dValue)
{
    if (dValue > -2147483649.0 && dValue < 2147483648.0)
        return static_cast<int32_t>(dValue);
    return std::numeric_limits<int32_t>::min();
}

// Truncates toward zero; a value without a 64-bit result gives INT64_MIN.
inline int64_t DoubleToInt64(double dValue)
{
    if (dValue >= -9223372036854775808.0 && dValue < 9223372036854775808.0)
        return static_cast<int64_t>(dValue);
    return std::numeric_limits<int64_t>::min();
}

// Stores a double into a sample of type T, truncating toward zero. Integer
// samples of up to 32 signed bits keep the low bits of the 32-bit conversion,
// as a conversion instruction followed by a narrowing store does: 300.0 into
// an 8-bit sample is 44, -1.0 is 255, NaN is 0. Unsigned 32-bit samples keep
// the low half of the 64-bit conversion, so the whole unsigned range survives.
template <typename T>
inline T DoubleToSample(double dValue)
{
    if constexpr (std::is_same<T, double>::value) {
        return dValue;
    } else if constexpr (std::is_same<T, float>::value) {
        // Beyond the largest float plus half a unit in its last place the
        // nearest float is an infinity; the cast itself would be undefined.
        constexpr double dOverflow = 3.4028235677973366e38;
        if (dValue >= dOverflow)
            return std::numeric_limits<float>::infinity();
        if (dValue <= -dOverflow)
            return -std::numeric_limits<float>::infinity();
        // Between the largest float and that limit the value rounds to the
        // largest float; said explicitly, since the cast is not defined there.
        constexpr double dLargest = std::numeric_limits<float>::max();
        if (dValue > dLargest)
            return std::numeric_limits<float>::max();
        if (dValue < -dLargest)
            return -std::numeric_limits<float>::max();
        return static_cast<float>(dValue);
    } else if constexpr (std::is_same<T, uint32_t>::value) {
        return static_cast<uint32_t>(static_cast<uint64_t>(DoubleToInt64(dValue)));
    } else {
        static_assert(std::is_integral<T>::value && sizeof(T) <= 4, "not a sample type");
        return static_cast<T>(static_cast<uint32_t>(DoubleToInt32(dValue)));
    }
}

// Converts one sample type into another the way a plain assignment does,
// with the floating-to-integer case made safe: integers keep their low bits,
// floating values truncate as in DoubleToSample.
template <typename TTarget, typename TSource>
inline TTarget ConvertSample(TSource value)
{
    if constexpr (std::is_floating_point<TSource>::value && !std::is_floating_point<TTarget>::value)
        return DoubleToSample<TTarget>(static_cast<double>(value));
    else if constexpr (std::is_same<TTarget, float>::value && std::is_same<TSource, double>::value)
        return DoubleToSample<float>(value);
    else
        return static_cast<TTarget>(value);
}

// Integer arithmetic that wraps at the width of T (at least the width of
// int, as C++ promotes), the way the processors' integer sums are defined.
template <typename T>
using WrapUnsigned =
    std::conditional_t<(sizeof(T) < sizeof(unsigned int)), unsigned int, std::make_unsigned_t<T>>;

template <typename T>
inline T WrapAdd(T a, T b)
{
    static_assert(std::is_integral<T>::value, "integers only");
    return static_cast<T>(static_cast<WrapUnsigned<T>>(a) + static_cast<WrapUnsigned<T>>(b));
}

template <typename T>
inline T WrapSub(T a, T b)
{
    static_assert(std::is_integral<T>::value, "integers only");
    return static_cast<T>(static_cast<WrapUnsigned<T>>(a) - static_cast<WrapUnsigned<T>>(b));
}

template <typename T>
inline T WrapMul(T a, T b)
{
    static_assert(std::is_integral<T>::value, "integers only");
    return static_cast<T>(static_cast<WrapUnsigned<T>>(a) * static_cast<WrapUnsigned<T>>(b));
}
