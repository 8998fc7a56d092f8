// The vector loops of the processors and the switch that turns them off.
//
// Every loop here computes exactly what the plain loop beside its caller
// computes, to the bit: the same IEEE operations on the same values in the
// same order, only several pixels at a time. They use SSE2, which every
// x86-64 processor has, and take AVX2 where the processor running the SDK
// offers it (chosen at run time; the build targets plain x86-64). Floating
// point is never contracted or reordered, so both give the same bits.
//
// The switch is for the tests: with the fast paths off, every processor takes
// its plain loop, and with SSE2 only the vector loops leave AVX2 aside, so
// that a test can run the same frames every way and compare every byte. The
// SDK itself never touches it.
#pragma once

#include <cstdint>

namespace FastPaths {

enum class ELoops
{
    eWidest,  // the widest vector loops the processor offers: the default
    eSse2,    // the vector loops without AVX2
    ePlain    // no vector loops: the processors' plain ones
};
void SetLoops(ELoops eLoops);

// Whether the processors take their vector loops (not ePlain).
bool Enabled();

// Sums over windows of 2h + 1 values along a line, cut at the line's ends,
// by differences of prefix sums: fills pPadded (nLength + 2h + 1 entries) so
// that the window around x sums to pPadded[x + 2h + 1] - pPadded[x]. The
// prefix sums wrap in 32 bits, which leaves every window sum right that fits
// 32 bits itself.
void PaddedPrefixSums(const uint32_t* pValues, uint32_t* pPadded, int32_t nLength, int32_t nHalf);
void PaddedPrefixSums(const uint16_t* pValues, uint32_t* pPadded, int32_t nLength, int32_t nHalf);

// Column sums of 8-bit rows and of their squares sliding down an image: adds
// the nLength bytes of pEntering and takes those of pLeaving out, in 32-bit
// sums that wrap.
void SlideSumsAndSquares(const uint8_t* pEntering, const uint8_t* pLeaving, uint32_t* pSums, uint32_t* pSquares,
                         int32_t nLength);

// One row of the sample variance from padded prefix sums (window sums below
// 2^31): with n = pColumns[x] * dRows, (squares - sum * sum / n) / (n - 1).
void VarianceRow(const uint32_t* pSumPrefix, const uint32_t* pSquarePrefix, int32_t nSpan, const double* pColumns,
                 double dRows, double* pOut, int32_t nLength);

// One row of a box mean of 8-bit samples from padded prefix sums: the window
// sum divided by pColumns[x] * fRows as floats and truncated. Exact for
// window sums and pixel counts below 2^24 with counts up to 2^16, where the
// float quotient cannot reach the next whole number.
void MeanRowByFloat(const uint32_t* pPrefix, int32_t nSpan, const float* pColumns, float fRows, uint8_t* pOut,
                    int32_t nLength);

// The smallest and the largest of nCount doubles, each replaced only by a
// value strictly beyond it (so NaN is passed over). Compared as the scalar
// scan compares; of a +0.0 and a -0.0 either may be reported.
void DoubleExtremes(const double* pValues, int64_t nCount, double& dLowest, double& dHighest);

// Each value below dLow becomes 0, else above dHigh becomes dHigh; the result
// is the low byte of dGain * value truncated to 32 bits (INT32_MIN for values
// without a 32-bit result, as the conversion instruction gives).
void ClipScaleToBytes(const double* pValues, uint8_t* pOut, int64_t nCount, double dLow, double dHigh, double dGain);

// The byte table of a point operation applied to nRows rows of nLength bytes
// (strides in bytes). A table that equals a formula the vector unit has (the
// identity, 255 - value), checked once per call, is applied by it; every other
// table is looked up, sixteen equal bytes at once.
void ApplyByteTable(const uint8_t* pTable, const uint8_t* pIn, int64_t nInStride, uint8_t* pOut,
                    int64_t nOutStride, int64_t nLength, int32_t nRows);

// Saturating a - b and a + b of bytes, 0 to 255.
void SubtractSaturated(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);
void AddSaturated(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);

}  // namespace FastPaths
