// ClHistogram: the distribution of the sample values of an 8-bit, one-plane
// image (or a rectangle of it) in 256 bins. The mask pipeline, the automatic
// contrast range and the finger decision make one per frame on the stack, so
// it is plain data and never allocates.
#pragma once

#include <cstdint>

class ClImage;

class ClHistogram
{
public:
    ClHistogram();
    virtual ~ClHistogram() = default;

    // Counts the whole image.
    void Create(const ClImage& image);
    // Counts the rectangle from (x0, y0) up to but excluding (x1, y1). The
    // corners must be ordered; parts outside the image are left out.
    void Create(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

    // Lowest occupied value, looking at bins 0 to 254 only.
    int32_t GetFirstBin() const;
    // Highest occupied value, looking at bins 255 down to 1 only.
    int32_t GetLastBin() const;
    // Mean bin index of the nCount lowest (highest) samples; NaN for 0 samples.
    double GetLowerMean(uint32_t nCount) const;
    double GetUpperMean(uint32_t nCount) const;

    int32_t BinOffset() const { return m_nBinOffset; }

    // Samples per bin; the bin of a value is value + BinOffset(). Users that
    // sum ranges of bins read this directly.
    uint32_t m_aBins[256];

private:
    uint64_t SampleCount() const;

    // 0 for an unsigned image, 128 for a signed one.
    int32_t m_nBinOffset;
};
