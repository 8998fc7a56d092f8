#include "processors/FastPaths.h"

#include <emmintrin.h>
#include <immintrin.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace FastPaths {

namespace {

std::atomic<ELoops> g_eLoops{ELoops::eWidest};

// The wider loops below need AVX2 and the operating system's support for its
// registers, which the compiler's processor check includes (asked once per
// process), and a switch that leaves them on.
bool HasAvx2()
{
    static const bool bHasAvx2 = __builtin_cpu_supports("avx2");
    return bHasAvx2 && g_eLoops.load(std::memory_order_relaxed) == ELoops::eWidest;
}

__m128i LoadPair(const uint32_t* p)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}

__m128i Load4(const void* p)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

// Prefix sums of four 32-bit lanes continuing from carry (the sum so far in
// every lane); stores them and advances carry. The carry's chain is one
// addition per four values; the rest runs beside it.
void StorePrefix4(__m128i v, __m128i& carry, uint32_t* pOut)
{
    v = _mm_add_epi32(v, _mm_slli_si128(v, 4));
    v = _mm_add_epi32(v, _mm_slli_si128(v, 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut), _mm_add_epi32(v, carry));
    carry = _mm_add_epi32(carry, _mm_shuffle_epi32(v, 0xFF));
}

// The same for eight lanes.
__attribute__((target("avx2"))) void StorePrefix8(__m256i v, __m256i& carry, uint32_t* pOut)
{
    v = _mm256_add_epi32(v, _mm256_slli_si256(v, 4));
    v = _mm256_add_epi32(v, _mm256_slli_si256(v, 8));
    // The lower half's total into the upper half.
    const __m256i lowerTotal = _mm256_shuffle_epi32(v, 0xFF);
    v = _mm256_add_epi32(v, _mm256_permute2x128_si256(lowerTotal, lowerTotal, 0x08));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(pOut), _mm256_add_epi32(v, carry));
    carry = _mm256_add_epi32(carry, _mm256_permutevar8x32_epi32(v, _mm256_set1_epi32(7)));
}

template <typename T>
__attribute__((target("avx2"))) uint32_t PrefixSumsAvx(const T* pValues, uint32_t* pPrefix, int32_t nLength)
{
    __m256i carry = _mm256_setzero_si256();
    int32_t i = 0;
    if constexpr (sizeof(T) == 2) {
        for (; i + 16 <= nLength; i += 16) {
            const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pValues + i));
            StorePrefix8(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(v)), carry, pPrefix + i);
            StorePrefix8(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(v, 1)), carry, pPrefix + i + 8);
        }
    } else {
        for (; i + 8 <= nLength; i += 8)
            StorePrefix8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(pValues + i)), carry, pPrefix + i);
    }
    uint32_t nSum = static_cast<uint32_t>(_mm256_cvtsi256_si32(carry));
    for (; i < nLength; ++i)
        pPrefix[i] = nSum += pValues[i];
    return nSum;
}

template <typename T>
uint32_t PrefixSums(const T* pValues, uint32_t* pPrefix, int32_t nLength)
{
    if (HasAvx2())
        return PrefixSumsAvx(pValues, pPrefix, nLength);
    __m128i carry = _mm_setzero_si128();
    int32_t i = 0;
    if constexpr (sizeof(T) == 2) {
        const __m128i zero = _mm_setzero_si128();
        for (; i + 8 <= nLength; i += 8) {
            const __m128i v = Load4(pValues + i);
            StorePrefix4(_mm_unpacklo_epi16(v, zero), carry, pPrefix + i);
            StorePrefix4(_mm_unpackhi_epi16(v, zero), carry, pPrefix + i + 4);
        }
    } else {
        for (; i + 4 <= nLength; i += 4)
            StorePrefix4(Load4(pValues + i), carry, pPrefix + i);
    }
    uint32_t nSum = static_cast<uint32_t>(_mm_cvtsi128_si32(carry));
    for (; i < nLength; ++i)
        pPrefix[i] = nSum += pValues[i];
    return nSum;
}

// The padding of PaddedPrefixSums around the prefix sums of nLength values,
// which the caller wrote to pPadded + nHalf + 1.
void PadPrefix(uint32_t* pPadded, int32_t nLength, int32_t nHalf, uint32_t nTotal)
{
    std::fill(pPadded, pPadded + nHalf + 1, 0u);
    uint32_t* pEnd = pPadded + nHalf + 1 + nLength;
    std::fill(pEnd, pEnd + nHalf, nTotal);
}

void SlideSumsAndSquaresFrom(int32_t x, const uint8_t* pEntering, const uint8_t* pLeaving, uint32_t* pSums,
                             uint32_t* pSquares, int32_t nLength)
{
    for (; x < nLength; ++x) {
        const uint32_t nEnter = pEntering[x];
        const uint32_t nLeave = pLeaving[x];
        pSums[x] += nEnter - nLeave;
        pSquares[x] += nEnter * nEnter - nLeave * nLeave;
    }
}

// Adds one half (eight lanes) of sixteen 16-bit differences and squares to the 32-bit sums.
__attribute__((target("avx2"))) void AddHalf(__m128i difference, __m128i enterSquares, __m128i leaveSquares,
                                             uint32_t* pSums, uint32_t* pSquares)
{
    __m256i* pSumLanes = reinterpret_cast<__m256i*>(pSums);
    __m256i* pSquareLanes = reinterpret_cast<__m256i*>(pSquares);
    _mm256_storeu_si256(pSumLanes, _mm256_add_epi32(_mm256_loadu_si256(pSumLanes), _mm256_cvtepi16_epi32(difference)));
    const __m256i squares = _mm256_sub_epi32(_mm256_cvtepu16_epi32(enterSquares), _mm256_cvtepu16_epi32(leaveSquares));
    _mm256_storeu_si256(pSquareLanes, _mm256_add_epi32(_mm256_loadu_si256(pSquareLanes), squares));
}

__attribute__((target("avx2"))) void SlideSumsAndSquaresAvx(const uint8_t* pEntering, const uint8_t* pLeaving,
                                                            uint32_t* pSums, uint32_t* pSquares, int32_t nLength)
{
    int32_t x = 0;
    for (; x + 16 <= nLength; x += 16) {
        // Bytes as 16-bit lanes: differences from -255 to 255, squares up to 65025.
        const __m256i enter = _mm256_cvtepu8_epi16(Load4(pEntering + x));
        const __m256i leave = _mm256_cvtepu8_epi16(Load4(pLeaving + x));
        const __m256i difference = _mm256_sub_epi16(enter, leave);
        const __m256i enterSquares = _mm256_mullo_epi16(enter, enter);
        const __m256i leaveSquares = _mm256_mullo_epi16(leave, leave);
        AddHalf(_mm256_castsi256_si128(difference), _mm256_castsi256_si128(enterSquares),
                _mm256_castsi256_si128(leaveSquares), pSums + x, pSquares + x);
        AddHalf(_mm256_extracti128_si256(difference, 1), _mm256_extracti128_si256(enterSquares, 1),
                _mm256_extracti128_si256(leaveSquares, 1), pSums + x + 8, pSquares + x + 8);
    }
    SlideSumsAndSquaresFrom(x, pEntering, pLeaving, pSums, pSquares, nLength);
}

double VarianceOf(uint32_t nSum, uint32_t nSquares, double dCount)
{
    // The window sums are below 2^31; n = columns * rows is exact.
    const double dSum = static_cast<int32_t>(nSum);
    const double dSquares = static_cast<int32_t>(nSquares);
    return (dSquares - dSum * dSum / dCount) / (dCount - 1.0);
}

// The truncated mean of a window sum, as the vector loops compute it lane by lane.
uint8_t MeanOf(uint32_t nSum, float fCount)
{
    return static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(static_cast<int32_t>(nSum)) / fCount));
}

__attribute__((target("avx2"))) void VarianceRowAvx(const uint32_t* pSumPrefix, const uint32_t* pSquarePrefix,
                                                    int32_t nSpan, const double* pColumns, double dRows,
                                                    double* pOut, int32_t nLength)
{
    const __m256d rows = _mm256_set1_pd(dRows);
    const __m256d one = _mm256_set1_pd(1.0);
    int32_t x = 0;
    for (; x + 4 <= nLength; x += 4) {
        const __m128i sums = _mm_sub_epi32(Load4(pSumPrefix + x + nSpan), Load4(pSumPrefix + x));
        const __m128i squares = _mm_sub_epi32(Load4(pSquarePrefix + x + nSpan), Load4(pSquarePrefix + x));
        const __m256d dSum = _mm256_cvtepi32_pd(sums);
        const __m256d dSquares = _mm256_cvtepi32_pd(squares);
        const __m256d dCount = _mm256_mul_pd(_mm256_loadu_pd(pColumns + x), rows);
        const __m256d dMean = _mm256_div_pd(_mm256_mul_pd(dSum, dSum), dCount);
        _mm256_storeu_pd(pOut + x, _mm256_div_pd(_mm256_sub_pd(dSquares, dMean), _mm256_sub_pd(dCount, one)));
    }
    for (; x < nLength; ++x)
        pOut[x] = VarianceOf(pSumPrefix[x + nSpan] - pSumPrefix[x], pSquarePrefix[x + nSpan] - pSquarePrefix[x],
                             pColumns[x] * dRows);
}

__attribute__((target("avx2"))) void MeanRowByFloatAvx(const uint32_t* pPrefix, int32_t nSpan, const float* pColumns,
                                                       float fRows, uint8_t* pOut, int32_t nLength)
{
    const __m256 rows = _mm256_set1_ps(fRows);
    int32_t x = 0;
    for (; x + 8 <= nLength; x += 8) {
        const __m256i upper = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pPrefix + x + nSpan));
        const __m256i lower = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pPrefix + x));
        const __m256 sums = _mm256_cvtepi32_ps(_mm256_sub_epi32(upper, lower));
        const __m256 counts = _mm256_mul_ps(_mm256_loadu_ps(pColumns + x), rows);
        const __m256i means = _mm256_cvttps_epi32(_mm256_div_ps(sums, counts));
        const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(means), _mm256_extracti128_si256(means, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pOut + x), _mm_packus_epi16(words, words));
    }
    for (; x < nLength; ++x)
        pOut[x] = MeanOf(pPrefix[x + nSpan] - pPrefix[x], pColumns[x] * fRows);
}

// Widens [dLowest, dHighest] to the values the vector loop left over.
void ScalarExtremes(const double* pValues, int64_t nCount, double& dLowest, double& dHighest)
{
    for (int64_t i = 0; i < nCount; ++i) {
        if (pValues[i] < dLowest)
            dLowest = pValues[i];
        if (pValues[i] > dHighest)
            dHighest = pValues[i];
    }
}

__attribute__((target("avx2"))) void DoubleExtremesAvx(const double* pValues, int64_t nCount, double& dLowest,
                                                       double& dHighest)
{
    __m256d lowest = _mm256_set1_pd(dLowest);
    __m256d highest = _mm256_set1_pd(dHighest);
    int64_t i = 0;
    for (; i + 4 <= nCount; i += 4) {
        const __m256d v = _mm256_loadu_pd(pValues + i);
        lowest = _mm256_min_pd(v, lowest);
        highest = _mm256_max_pd(v, highest);
    }
    double aLowest[4];
    double aHighest[4];
    _mm256_storeu_pd(aLowest, lowest);
    _mm256_storeu_pd(aHighest, highest);
    for (int32_t k = 0; k < 4; ++k) {
        if (aLowest[k] < dLowest)
            dLowest = aLowest[k];
        if (aHighest[k] > dHighest)
            dHighest = aHighest[k];
    }
    ScalarExtremes(pValues + i, nCount - i, dLowest, dHighest);
}

uint8_t ClipScaleOne(double dValue, double dLow, double dHigh, double dGain)
{
    if (dValue < dLow)
        dValue = 0.0;
    else if (dValue > dHigh)
        dValue = dHigh;
    const double dScaled = dGain * dValue;
    // The conversion instruction's rule, as DoubleToInt32 states it.
    const int32_t nScaled = (dScaled > -2147483649.0 && dScaled < 2147483648.0) ? static_cast<int32_t>(dScaled)
                                                                                  : INT32_MIN;
    return static_cast<uint8_t>(nScaled);
}

// Four values as four 32-bit lanes of their low bytes: below low 0, else
// above high high, then the conversion, which gives INT32_MIN where the
// instruction does.
__attribute__((target("avx2"))) __m128i ClipScale4Avx(const double* p, __m256d low, __m256d high, __m256d gain)
{
    const __m256d v = _mm256_loadu_pd(p);
    const __m256d below = _mm256_cmp_pd(v, low, _CMP_LT_OQ);
    const __m256d above = _mm256_andnot_pd(below, _mm256_cmp_pd(v, high, _CMP_GT_OQ));
    __m256d clipped = _mm256_andnot_pd(below, v);
    clipped = _mm256_or_pd(_mm256_and_pd(above, high), _mm256_andnot_pd(above, clipped));
    return _mm_and_si128(_mm256_cvttpd_epi32(_mm256_mul_pd(gain, clipped)), _mm_set1_epi32(0xFF));
}

__attribute__((target("avx2"))) void ClipScaleToBytesAvx(const double* pValues, uint8_t* pOut, int64_t nCount,
                                                         double dLow, double dHigh, double dGain)
{
    const __m256d low = _mm256_set1_pd(dLow);
    const __m256d high = _mm256_set1_pd(dHigh);
    const __m256d gain = _mm256_set1_pd(dGain);
    int64_t i = 0;
    for (; i + 8 <= nCount; i += 8) {
        const __m128i words = _mm_packs_epi32(ClipScale4Avx(pValues + i, low, high, gain),
                                              ClipScale4Avx(pValues + i + 4, low, high, gain));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pOut + i), _mm_packus_epi16(words, words));
    }
    for (; i < nCount; ++i)
        pOut[i] = ClipScaleOne(pValues[i], dLow, dHigh, dGain);
}

bool TableIs(const uint8_t* pTable, uint8_t nXor)
{
    for (int32_t i = 0; i < 256; ++i)
        if (pTable[i] != uint8_t(i ^ nXor))
            return false;
    return true;
}

template <typename TBytes>
void ForEach16Bytes(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount, TBytes bytes,
                    uint8_t (*one)(uint8_t, uint8_t))
{
    int64_t i = 0;
    for (; i + 16 <= nCount; i += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + i), bytes(Load4(pA + i), Load4(pB + i)));
    for (; i < nCount; ++i)
        pOut[i] = one(pA[i], pB[i]);
}

}  // namespace

bool Enabled()
{
    return g_eLoops.load(std::memory_order_relaxed) != ELoops::ePlain;
}

void SetLoops(ELoops eLoops)
{
    g_eLoops.store(eLoops, std::memory_order_relaxed);
}

void PaddedPrefixSums(const uint32_t* pValues, uint32_t* pPadded, int32_t nLength, int32_t nHalf)
{
    PadPrefix(pPadded, nLength, nHalf, PrefixSums(pValues, pPadded + nHalf + 1, nLength));
}

void PaddedPrefixSums(const uint16_t* pValues, uint32_t* pPadded, int32_t nLength, int32_t nHalf)
{
    PadPrefix(pPadded, nLength, nHalf, PrefixSums(pValues, pPadded + nHalf + 1, nLength));
}

void SlideSumsAndSquares(const uint8_t* pEntering, const uint8_t* pLeaving, uint32_t* pSums, uint32_t* pSquares,
                         int32_t nLength)
{
    if (HasAvx2())
        SlideSumsAndSquaresAvx(pEntering, pLeaving, pSums, pSquares, nLength);
    else
        SlideSumsAndSquaresFrom(0, pEntering, pLeaving, pSums, pSquares, nLength);
}

void VarianceRow(const uint32_t* pSumPrefix, const uint32_t* pSquarePrefix, int32_t nSpan, const double* pColumns,
                 double dRows, double* pOut, int32_t nLength)
{
    if (HasAvx2()) {
        VarianceRowAvx(pSumPrefix, pSquarePrefix, nSpan, pColumns, dRows, pOut, nLength);
        return;
    }
    const __m128d rows = _mm_set1_pd(dRows);
    const __m128d one = _mm_set1_pd(1.0);
    int32_t x = 0;
    for (; x + 2 <= nLength; x += 2) {
        const __m128i sums = _mm_sub_epi32(LoadPair(pSumPrefix + x + nSpan), LoadPair(pSumPrefix + x));
        const __m128i squares = _mm_sub_epi32(LoadPair(pSquarePrefix + x + nSpan), LoadPair(pSquarePrefix + x));
        const __m128d dSum = _mm_cvtepi32_pd(sums);
        const __m128d dSquares = _mm_cvtepi32_pd(squares);
        const __m128d dCount = _mm_mul_pd(_mm_loadu_pd(pColumns + x), rows);
        const __m128d dMean = _mm_div_pd(_mm_mul_pd(dSum, dSum), dCount);
        _mm_storeu_pd(pOut + x, _mm_div_pd(_mm_sub_pd(dSquares, dMean), _mm_sub_pd(dCount, one)));
    }
    for (; x < nLength; ++x)
        pOut[x] = VarianceOf(pSumPrefix[x + nSpan] - pSumPrefix[x], pSquarePrefix[x + nSpan] - pSquarePrefix[x],
                             pColumns[x] * dRows);
}

void MeanRowByFloat(const uint32_t* pPrefix, int32_t nSpan, const float* pColumns, float fRows, uint8_t* pOut,
                    int32_t nLength)
{
    if (HasAvx2()) {
        MeanRowByFloatAvx(pPrefix, nSpan, pColumns, fRows, pOut, nLength);
        return;
    }
    const __m128 rows = _mm_set1_ps(fRows);
    auto means = [&](int32_t x) {
        const __m128 sums = _mm_cvtepi32_ps(_mm_sub_epi32(Load4(pPrefix + x + nSpan), Load4(pPrefix + x)));
        const __m128 counts = _mm_mul_ps(_mm_loadu_ps(pColumns + x), rows);
        return _mm_cvttps_epi32(_mm_div_ps(sums, counts));
    };
    int32_t x = 0;
    for (; x + 8 <= nLength; x += 8) {
        const __m128i words = _mm_packs_epi32(means(x), means(x + 4));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pOut + x), _mm_packus_epi16(words, words));
    }
    for (; x < nLength; ++x)
        pOut[x] = MeanOf(pPrefix[x + nSpan] - pPrefix[x], pColumns[x] * fRows);
}

void DoubleExtremes(const double* pValues, int64_t nCount, double& dLowest, double& dHighest)
{
    if (HasAvx2()) {
        DoubleExtremesAvx(pValues, nCount, dLowest, dHighest);
        return;
    }
    __m128d lowest = _mm_set1_pd(dLowest);
    __m128d highest = _mm_set1_pd(dHighest);
    int64_t i = 0;
    for (; i + 2 <= nCount; i += 2) {
        const __m128d v = _mm_loadu_pd(pValues + i);
        lowest = _mm_min_pd(v, lowest);
        highest = _mm_max_pd(v, highest);
    }
    for (const double dLane : {_mm_cvtsd_f64(lowest), _mm_cvtsd_f64(_mm_unpackhi_pd(lowest, lowest))})
        if (dLane < dLowest)
            dLowest = dLane;
    for (const double dLane : {_mm_cvtsd_f64(highest), _mm_cvtsd_f64(_mm_unpackhi_pd(highest, highest))})
        if (dLane > dHighest)
            dHighest = dLane;
    ScalarExtremes(pValues + i, nCount - i, dLowest, dHighest);
}

void ClipScaleToBytes(const double* pValues, uint8_t* pOut, int64_t nCount, double dLow, double dHigh, double dGain)
{
    if (HasAvx2()) {
        ClipScaleToBytesAvx(pValues, pOut, nCount, dLow, dHigh, dGain);
        return;
    }
    const __m128d low = _mm_set1_pd(dLow);
    const __m128d high = _mm_set1_pd(dHigh);
    const __m128d gain = _mm_set1_pd(dGain);
    const __m128i lowByte = _mm_set1_epi32(0xFF);
    // Two values as two 32-bit lanes: below low 0, else above high high,
    // then the conversion, which gives INT32_MIN where the instruction does.
    auto scaled = [&](const double* p) {
        const __m128d v = _mm_loadu_pd(p);
        const __m128d below = _mm_cmplt_pd(v, low);
        const __m128d above = _mm_andnot_pd(below, _mm_cmpgt_pd(v, high));
        __m128d clipped = _mm_andnot_pd(below, v);
        clipped = _mm_or_pd(_mm_and_pd(above, high), _mm_andnot_pd(above, clipped));
        return _mm_cvttpd_epi32(_mm_mul_pd(gain, clipped));
    };
    int64_t i = 0;
    for (; i + 4 <= nCount; i += 4) {
        const __m128i lanes = _mm_and_si128(_mm_unpacklo_epi64(scaled(pValues + i), scaled(pValues + i + 2)), lowByte);
        const __m128i words = _mm_packs_epi32(lanes, lanes);
        const int32_t nBytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(pOut + i, &nBytes, 4);
    }
    for (; i < nCount; ++i)
        pOut[i] = ClipScaleOne(pValues[i], dLow, dHigh, dGain);
}

void ApplyByteTable(const uint8_t* pTable, const uint8_t* pIn, int64_t nInStride, uint8_t* pOut,
                    int64_t nOutStride, int64_t nLength, int32_t nRows)
{
    for (const uint8_t nXor : {uint8_t(0xFF), uint8_t(0)}) {
        if (!TableIs(pTable, nXor))
            continue;
        const __m128i mask = _mm_set1_epi8(static_cast<char>(nXor));
        for (int32_t y = 0; y < nRows; ++y, pIn += nInStride, pOut += nOutStride) {
            int64_t i = 0;
            for (; i + 16 <= nLength; i += 16)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + i), _mm_xor_si128(Load4(pIn + i), mask));
            for (; i < nLength; ++i)
                pOut[i] = pIn[i] ^ nXor;
        }
        return;
    }
    // Sixteen equal bytes (the white around a finger) have one result.
    for (int32_t y = 0; y < nRows; ++y, pIn += nInStride, pOut += nOutStride) {
        int64_t i = 0;
        for (; i + 16 <= nLength; i += 16) {
            const __m128i chunk = Load4(pIn + i);
            if (_mm_movemask_epi8(_mm_cmpeq_epi8(chunk, _mm_set1_epi8(static_cast<char>(pIn[i])))) == 0xFFFF) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + i), _mm_set1_epi8(static_cast<char>(pTable[pIn[i]])));
                continue;
            }
            for (int64_t j = i; j < i + 16; ++j)
                pOut[j] = pTable[pIn[j]];
        }
        for (; i < nLength; ++i)
            pOut[i] = pTable[pIn[i]];
    }
}

void SubtractSaturated(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount)
{
    ForEach16Bytes(
        pA, pB, pOut, nCount, [](__m128i a, __m128i b) { return _mm_subs_epu8(a, b); },
        [](uint8_t a, uint8_t b) { return uint8_t(a > b ? a - b : 0); });
}

void AddSaturated(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount)
{
    ForEach16Bytes(
        pA, pB, pOut, nCount, [](__m128i a, __m128i b) { return _mm_adds_epu8(a, b); },
        [](uint8_t a, uint8_t b) { return uint8_t(std::min(255, a + b)); });
}

}  // namespace FastPaths
