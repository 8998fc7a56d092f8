// ClIpKR9Mask: turns one raw sensor frame into the image the user gets and a
// binary mask of where the finger lies.
//
// Ridges are areas of high local variance: the variance image, thresholded
// against its strongest value in the centre and smoothed twice by a wide
// mean, is the finger area. Outside it the image is painted white; inside,
// the fingerprint is stretched so that its darkest sixteenth and its
// brightest part fill the range. The capture thread owns one instance and
// runs it once per frame; the 8-bit path is the one it takes, the 16-bit
// path is chosen by a 16-bit input.
//
// Every stage walks the samples of its images as one contiguous run of
// width * height values, without regard to row padding: right for the
// sensor's width of 256 and memory-safe for any other.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/Ip1to1Base.h"

class ClIpKR9Mask : public NewIpBase::ClIp1to1Base
{
public:
    // Accepts uint8 and uint16 frames.
    ClIpKR9Mask();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpKR9Mask"; }

    // Makes the output a uint8 image of the input's size holding the
    // processed frame, and m_Mask a uint8 image of 255 inside the finger
    // area and 0 outside. The output must be a uint8 image on entry.
    int32_t Process() override;

protected:
    // The input check of the frame, then an output (ZRT_ERROR_BAD_POINTER), then the input's type.
    void CheckInputType() override;

    // The paths and their stages are open to a subclass, so that a benchmark
    // can time the stages one by one.

    // The two paths, from the input frame to the output and m_Mask.
    int32_t ProcessEightBit(ClImage& in, ClImage& out, ClImage& aWork, ClImage& aFeature, ClImage& aResult);
    int32_t ProcessSixteenBit(ClImage& in, ClImage& out, ClImage& aWork, ClImage& aFeature, ClImage& aResult);

    // The stages, each dispatched over the sample types it exists for.
    // Smallest and largest sample of the central run of (window / 2 * 2)^2
    // samples, or of all samples for a negative window.
    template <typename T>
    void GetCentralRange(const ClImage& image, T& min, T& max, int32_t nWindow);
    // GetCentralRange for any of its types, as doubles.
    void FindExtremes(const ClImage& image, double& dMin, double& dMax, int32_t nWindow);
    // Raises the samples to 0.95 of the central minimum, lowers them to the central maximum.
    int32_t ClampToCentralRange(const ClImage& in, ClImage& out, int32_t nWindow);
    template <typename T>
    int32_t ClampToCentralRangeOf(const ClImage& in, ClImage& out, int32_t nWindow);
    // Subtracts the background the mean filter sees, saturating; see the body.
    int32_t RemoveBackground(ClImage& in, ClImage& out, int32_t nWidth, bool bUseMinimum);
    template <typename T>
    int32_t RemoveBackgroundOf(ClImage& in, ClImage& out, int32_t nWidth, bool bUseMinimum);
    // The local variance, clipped to low and high and scaled to the output type.
    void BuildVarianceImage(ClImage& in, ClImage& out, int32_t nWidth, int32_t nLow, int32_t nHigh);
    template <typename T>
    void BuildVarianceImageOf(ClImage& in, ClImage& out, int32_t nWidth, int32_t nLow, int32_t nHigh);
    // Samples below factor times the central maximum (at least floor) become
    // 0, the others the top value (bBinary) or stay as they are.
    void ThresholdCentral(const ClImage& in, ClImage& out, bool bBinary, int32_t nRadius, double dFactor,
                          int32_t nFloor);
    template <typename T>
    void ThresholdCentralOf(const ClImage& in, ClImage& out, bool bBinary, int32_t nRadius, double dFactor,
                            int32_t nFloor);
    // Two rounds of a wide mean, each thresholded at half its central maximum.
    void SmoothMask(ClImage& in, ClImage& out, int32_t nWidth1, int32_t nWidth2);
    // The low byte of in * gain - offset, the gain stretching the range or capped by the factor.
    void ConvertTo8Bit(const ClImage& in, ClImage& out, bool bStretch, double dFactor);
    template <typename T>
    void ConvertTo8BitOf(const ClImage& in, ClImage& out, bool bStretch, double dFactor);
    // The final contrast: nHigh (the bright mean without the painted white) to 255, the darkest sixteenth down.
    int32_t EnhanceContrast(const ClImage& in, ClImage& out);
    // out = source where the mask is set, 255 elsewhere.
    void Compose(ClImage& out, const ClImage& mask, const ClImage& source);

private:
    int32_t m_nPreFilterWidth;
    int32_t m_nWidthSpare;
    int32_t m_nBorderWidth;
    int32_t m_nFilterWidth;
    int32_t m_nVarianceLow;
    int32_t m_nVarianceHigh;
    int32_t m_nMaskWidth1;
    int32_t m_nMaskWidth2;
    double m_dMaskFactor;
    int32_t m_nMaskFloor;
    double m_dFactorSpare;
    int32_t m_nFloorSpare;

public:
    // The mask of the last run, for the owner to read after Run returned.
    ClImage m_Mask;
};
