#include "processors/IpKR9Mask.h"

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <type_traits>

#include "sdk/Exception.h"
#include "imaging/Histogram.h"
#include "processors/FastPaths.h"
#include "processors/IpFilterMid.h"
#include "processors/IpFilterMin.h"
#include "processors/IpFilterVariance.h"
#include "processors/IpInvert.h"
#include "processors/IpSetBorder.h"
#include "processors/IpStretchRangeGlobal.h"
#include "processors/IpSubtract.h"
#include "processors/ProcessorSupport.h"
#include "imaging/SafeConvert.h"
#include "imaging/SampleDispatch.h"

namespace {

// The refusals of the pipeline, one function per kind of check, so that the
// line of an exception tells the kind. A kind that several stages share (the
// threshold's types, those of a scan for extremes) throws from its one site
// for all of them. CheckInputType refuses a missing image where it checks.
[[noreturn]] void FailFrameTypes()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailRemoveBackgroundType()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailClampType()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailVarianceTypes()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailThresholdTypes()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailScanType()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

[[noreturn]] void FailComposeTypes()
{
    throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
}

// The stages' view of an image: width * height samples one after the other.
int64_t RunLength(const ClImage& image)
{
    return image.Data() == nullptr ? 0 : int64_t(image.Width()) * image.Height();
}

bool IsPipelineType(ClImage::EDataType eType)
{
    return eType == ClImage::uint8 || eType == ClImage::uint16;
}

// VisitSampleType limited to the sample types a stage exists for: false,
// without calling, for any other.
template <typename... TAllowed, typename TVisitor>
bool VisitStageType(ClImage::EDataType eType, TVisitor&& visit)
{
    bool bVisited = false;
    VisitSampleType(eType, [&](auto tag) {
        if constexpr ((std::is_same<typename decltype(tag)::Type, TAllowed>::value || ...)) {
            visit(tag);
            bVisited = true;
        }
    });
    return bVisited;
}

// The sample types of the frame stages.
template <typename TVisitor>
bool VisitPipelineType(ClImage::EDataType eType, TVisitor&& visit)
{
    return VisitStageType<uint8_t, uint16_t>(eType, visit);
}

// The largest value of the sample type: the "on" value of a mask.
template <typename T>
constexpr T TopValue()
{
    return std::numeric_limits<T>::max();
}

// Starting values of the extremes scan. An empty scan reports them.
template <typename T>
constexpr T ScanStartMin()
{
    if constexpr (std::is_same<T, double>::value)
        return DBL_MAX;
    else
        return std::numeric_limits<T>::max();
}

// Results -1 (no samples) and -2 (shapes differ) of the stages that take two images.
int32_t CheckStageImages(const ClImage& in, const ClImage& out)
{
    if (in.Data() == nullptr || out.Data() == nullptr || in.Width() <= 0 || in.Height() <= 0 || out.Width() <= 0 ||
        out.Height() <= 0)
        return -1;
    if (in.Width() != out.Width() || in.Height() != out.Height() || in.Planes() != out.Planes())
        return -2;
    return 0;
}

}  // namespace

ClIpKR9Mask::ClIpKR9Mask()
    : m_nPreFilterWidth(3),
      m_nWidthSpare(15),
      m_nBorderWidth(12),
      m_nFilterWidth(15),
      m_nVarianceLow(20),
      m_nVarianceHigh(175),
      m_nMaskWidth1(49),
      m_nMaskWidth2(27),
      m_dMaskFactor(0.4),
      m_nMaskFloor(35),
      m_dFactorSpare(0.025),
      m_nFloorSpare(51)
{
    AddSupportedType(ClImage::uint8);
    AddSupportedType(ClImage::uint16);
}

ClProcessorBase* ClIpKR9Mask::CreateInstance() const
{
    return NewProcessorInstance<ClIpKR9Mask>();
}

void ClIpKR9Mask::CheckInputType()
{
    if (m_pInImage == nullptr)
        throw ClException("Input image not assigned", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_pOutImage == nullptr)
        throw ClException("Output image not assigned", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    CheckType(*m_pInImage);
}

int32_t ClIpKR9Mask::Process()
{
    if (m_pInImage == nullptr || m_pOutImage == nullptr)
        return ZRT_ERROR_PARAM_IS_MISSING;
    const ClImage::EDataType eInType = m_pInImage->DataType();
    if (!(IsPipelineType(eInType) && m_pOutImage->DataType() == ClImage::uint8))
        FailFrameTypes();
    // The input may be the output: what the pipeline reads of the input it
    // reads before the output is reshaped, through a second owner.
    ClImage input;
    input.ShareFrom(*m_pInImage);
    const int32_t nWidth = input.Width();
    const int32_t nHeight = input.Height();

    ClImage aWork;
    ClImage aFeature;
    ClImage aResult;
    aWork.Create(ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);
    aFeature.Create(ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);
    m_Mask.Create(ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);
    m_Mask.Fill<unsigned char>(0);
    m_pOutImage->Create(ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);
    aResult.Create(ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);

    if (eInType == ClImage::uint8)
        return ProcessEightBit(input, *m_pOutImage, aWork, aFeature, aResult);
    return ProcessSixteenBit(input, *m_pOutImage, aWork, aFeature, aResult);
}

int32_t ClIpKR9Mask::ProcessEightBit(ClImage& in, ClImage& out, ClImage& aWork, ClImage& aFeature,
                                     ClImage& aResult)
{
    ClIpInvert invert;
    invert.Run(&in, &aWork);
    // The background removal leaves an 8-bit image as it is, and the two
    // inversions cancel: aWork is the frame again. The steps stay, as the
    // pipeline is defined by them.
    RemoveBackground(aWork, aWork, m_nFilterWidth, false);
    invert.Run(&aWork, &aWork);
    BuildVarianceImage(aWork, aFeature, m_nFilterWidth, 150, 3000);
    ThresholdCentral(aFeature, aFeature, true, m_nFilterWidth, 0.3, 45);
    SmoothMask(aFeature, m_Mask, m_nMaskWidth1, m_nMaskWidth2);
    Compose(aResult, m_Mask, aWork);
    return EnhanceContrast(aResult, out);
}

int32_t ClIpKR9Mask::ProcessSixteenBit(ClImage& in, ClImage& out, ClImage& aWork, ClImage& aFeature,
                                       ClImage& aResult)
{
    ClIpStretchRangeGlobal stretch;
    ClIpSetBorder border;

    ClImage aPrepared;
    aPrepared.Create(in.DataType(), in.Width(), in.Height(), 1, 0, 0, true);
    {
        ClImage filtered;
        ClIpFilterMid preFilter;
        preFilter.Run(&in, &filtered, m_nPreFilterWidth);
        aPrepared = filtered;
    }
    RemoveBackground(aPrepared, aPrepared, m_nFilterWidth, false);
    if (in.DataType() == ClImage::uint16)
        ConvertTo8Bit(aPrepared, aWork, true, m_dMaskFactor);
    ClampToCentralRange(aWork, aWork, 2 * m_nFilterWidth);
    BuildVarianceImage(aWork, aFeature, m_nFilterWidth, m_nVarianceLow, m_nVarianceHigh);
    {
        // 30, made odd by the filter: 31.
        ClImage filtered;
        ClIpFilterMid featureFilter;
        featureFilter.Run(&aFeature, &filtered, 2 * m_nFilterWidth);
        aFeature = filtered;
    }
    border.Run(&aFeature, &aFeature, m_nBorderWidth, 0);
    ThresholdCentral(aFeature, aFeature, true, m_nFilterWidth, m_dMaskFactor, m_nMaskFloor);
    SmoothMask(aFeature, aFeature, m_nMaskWidth1, m_nMaskWidth2);
    m_Mask = aFeature;
    stretch.Run(&aWork, &aResult);
    Compose(out, m_Mask, aResult);
    return 0;
}

// ---- Stages ---------------------------------------------------------------------------

template <typename T>
void ClIpKR9Mask::GetCentralRange(const ClImage& image, T& min, T& max, int32_t nWindow)
{
    min = ScanStartMin<T>();
    max = T(0);
    const int64_t nSamples = RunLength(image);
    int64_t nStart = 0;
    int64_t nEnd = nSamples;
    if (nWindow >= 0) {
        // One straight run from the corner of the central square, 2h times
        // 2h samples long, not the square itself: this is how the central
        // range is defined. A run that would leave the samples is cut to them.
        const int64_t nHalf = nWindow / 2;
        nStart = (int64_t(image.Height() / 2) - nHalf) * image.Width() + (image.Width() / 2 - nHalf);
        nEnd = nStart + 4 * nHalf * nHalf;
        nStart = std::max<int64_t>(nStart, 0);
        nEnd = std::min(nEnd, nSamples);
    }
    // A sample replaces an extreme only when it lies strictly beyond it. The
    // extremes stay in locals: written through the references they could
    // alias the samples and would be stored at every step.
    T lowest = min;
    T highest = max;
    const T* pSamples = SamplesOf<T>(image);
    if constexpr (std::is_floating_point<T>::value) {
        if (std::is_same<T, double>::value && FastPaths::Enabled() && nEnd > nStart) {
            FastPaths::DoubleExtremes(pSamples + nStart, nEnd - nStart, lowest, highest);
            nStart = nEnd;
        }
        for (int64_t i = nStart; i < nEnd; ++i) {
            if (pSamples[i] < lowest)
                lowest = pSamples[i];
            if (pSamples[i] > highest)
                highest = pSamples[i];
        }
    } else {
        // The same for integers, without branches.
        for (int64_t i = nStart; i < nEnd; ++i) {
            lowest = std::min(lowest, pSamples[i]);
            highest = std::max(highest, pSamples[i]);
        }
    }
    min = lowest;
    max = highest;
}

void ClIpKR9Mask::FindExtremes(const ClImage& image, double& dMin, double& dMax, int32_t nWindow)
{
    auto scan = [&](auto tag) {
        using T = typename decltype(tag)::Type;
        T min;
        T max;
        GetCentralRange<T>(image, min, max, nWindow);
        dMin = static_cast<double>(min);
        dMax = static_cast<double>(max);
    };
    if (!VisitStageType<uint8_t, uint16_t, double>(image.DataType(), scan))
        FailScanType();
}

int32_t ClIpKR9Mask::ClampToCentralRange(const ClImage& in, ClImage& out, int32_t nWindow)
{
    int32_t nResult = 0;
    if (in.DataType() != out.DataType() ||
        !VisitPipelineType(in.DataType(), [&](auto tag) {
            nResult = ClampToCentralRangeOf<typename decltype(tag)::Type>(in, out, nWindow);
        }))
        FailClampType();
    return nResult;
}

template <typename T>
int32_t ClIpKR9Mask::ClampToCentralRangeOf(const ClImage& in, ClImage& out, int32_t nWindow)
{
    const int32_t nCheck = CheckStageImages(in, out);
    if (nCheck != 0)
        return nCheck;
    T min;
    T max;
    GetCentralRange<T>(in, min, max, nWindow);
    const T lower = DoubleToSample<T>(min * 0.95);
    const T upper = max;
    const T* pIn = SamplesOf<T>(in);
    T* pOut = SamplesOf<T>(out);
    const int64_t nSamples = RunLength(in);
    for (int64_t i = 0; i < nSamples; ++i)
        pOut[i] = pIn[i] < lower ? lower : std::min(pIn[i], upper);
    return 0;
}

int32_t ClIpKR9Mask::RemoveBackground(ClImage& in, ClImage& out, int32_t nWidth, bool bUseMinimum)
{
    int32_t nResult = 0;
    if (!VisitPipelineType(in.DataType(), [&](auto tag) {
            nResult = RemoveBackgroundOf<typename decltype(tag)::Type>(in, out, nWidth, bUseMinimum);
        }))
        FailRemoveBackgroundType();
    return nResult;
}

template <typename T>
int32_t ClIpKR9Mask::RemoveBackgroundOf(ClImage& in, ClImage& out, int32_t nWidth, bool bUseMinimum)
{
    const int32_t nCheck = CheckStageImages(in, out);
    if (nCheck != 0)
        return nCheck;
    ClImage aSmooth;
    ClImage aConstant;
    for (ClImage* pImage : {&aSmooth, &aConstant})
        pImage->Create(in.DataType(), in.Width(), in.Height(), 1, 0, 0, true);

    if (bUseMinimum) {
        ClIpFilterMin minimum;
        minimum.Run(&in, &aSmooth, nWidth, ClIpFilterBase::eModeXY);
    } else {
        ClIpFilterMid mean;
        mean.Run(&in, &aSmooth, nWidth);
    }
    double dLowest;
    double dHighest;
    FindExtremes(aSmooth, dLowest, dHighest, -1);
    aConstant.Fill(static_cast<std::conditional_t<sizeof(T) == 1, unsigned char, unsigned short>>(dLowest));

    // No sample of aSmooth lies below its smallest, so every difference of
    // the first subtraction is zero or negative and saturates to 0, and the
    // second leaves in as it is. The images the SDK delivers are made with
    // exactly this order; the other one would take the background out.
    ClIpSubtract subtract;
    subtract.Run(&aConstant, &aSmooth, &aSmooth, ClImage::default_);
    subtract.Run(&in, &aSmooth, &out, ClImage::default_);
    return 0;
}

void ClIpKR9Mask::BuildVarianceImage(ClImage& in, ClImage& out, int32_t nWidth, int32_t nLow, int32_t nHigh)
{
    if (in.DataType() != out.DataType() || !VisitPipelineType(out.DataType(), [&](auto tag) {
            BuildVarianceImageOf<typename decltype(tag)::Type>(in, out, nWidth, nLow, nHigh);
        }))
        FailVarianceTypes();
}

template <typename T>
void ClIpKR9Mask::BuildVarianceImageOf(ClImage& in, ClImage& out, int32_t nWidth, int32_t nLow, int32_t nHigh)
{
    ClImage aVariance;
    aVariance.Create(ClImage::double64, in.Width(), in.Height(), 1, 0, 0, true);
    ClIpFilterVariance variance;
    variance.SetFilterWidth(nWidth);
    variance.SetOutImageType(ClImage::double64);
    variance.Run(&in, &aVariance);

    double dMin;
    double dMax;
    GetCentralRange<double>(aVariance, dMin, dMax, -1);
    const int32_t nMaxTrunc = DoubleToInt32(dMax);
    if (nMaxTrunc < nLow)
        nLow = 0;
    if (DoubleToInt32(dMin) > nHigh)
        nHigh = nMaxTrunc;
    const double dGain = double(TopValue<T>()) / nHigh;
    const double dLow = nLow;
    const double dHigh = nHigh;

    const int64_t nSamples = std::min(RunLength(aVariance), RunLength(out));
    const double* pVariance = SamplesOf<double>(aVariance);
    T* pOut = SamplesOf<T>(out);
    if constexpr (std::is_same<T, uint8_t>::value) {
        if (FastPaths::Enabled()) {
            FastPaths::ClipScaleToBytes(pVariance, pOut, nSamples, dLow, dHigh, dGain);
            return;
        }
    }
    for (int64_t i = 0; i < nSamples; ++i) {
        double dValue = pVariance[i];
        if (dValue < dLow)
            dValue = 0.0;
        else if (dValue > dHigh)
            dValue = dHigh;
        pOut[i] = DoubleToSample<T>(dGain * dValue);
    }
}

void ClIpKR9Mask::ThresholdCentral(const ClImage& in, ClImage& out, bool bBinary, int32_t nRadius, double dFactor,
                                   int32_t nFloor)
{
    if (in.DataType() != out.DataType() || !VisitPipelineType(in.DataType(), [&](auto tag) {
            ThresholdCentralOf<typename decltype(tag)::Type>(in, out, bBinary, nRadius, dFactor, nFloor);
        }))
        FailThresholdTypes();
}

template <typename T>
void ClIpKR9Mask::ThresholdCentralOf(const ClImage& in, ClImage& out, bool bBinary, int32_t nRadius, double dFactor,
                                     int32_t nFloor)
{
    T min;
    T max;
    GetCentralRange<T>(in, min, max, 2 * nRadius);
    T threshold = DoubleToSample<T>(static_cast<double>(max) * dFactor);
    const T floor = static_cast<T>(nFloor);
    if (threshold < floor)
        threshold = floor;
    if (threshold >= TopValue<T>())
        threshold = TopValue<T>();

    const int64_t nSamples = std::min(RunLength(in), RunLength(out));
    const T* pIn = SamplesOf<T>(in);
    T* pOut = SamplesOf<T>(out);
    if (bBinary) {
        for (int64_t i = 0; i < nSamples; ++i)
            pOut[i] = pIn[i] < threshold ? T(0) : TopValue<T>();
    } else {
        for (int64_t i = 0; i < nSamples; ++i)
            if (pIn[i] < threshold)
                pOut[i] = T(0);
    }
}

void ClIpKR9Mask::SmoothMask(ClImage& in, ClImage& out, int32_t nWidth1, int32_t nWidth2)
{
    if (!IsPipelineType(in.DataType()) || in.DataType() != out.DataType())
        FailThresholdTypes();
    ClImage local;
    local.Create(in.DataType(), in.Width(), in.Height(), 1, 0, 0, true);
    ClIpFilterMid firstMean;
    firstMean.Run(&in, &local, nWidth1);
    ThresholdCentral(local, local, true, nWidth1, 0.5, 120);
    ClIpFilterMid secondMean;
    secondMean.Run(&local, &out, nWidth2);
    ThresholdCentral(out, out, true, nWidth2, 0.5, 120);
}

void ClIpKR9Mask::ConvertTo8Bit(const ClImage& in, ClImage& out, bool bStretch, double dFactor)
{
    if (!VisitStageType<uint8_t, uint16_t, double>(in.DataType(), [&](auto tag) {
            ConvertTo8BitOf<typename decltype(tag)::Type>(in, out, bStretch, dFactor);
        }))
        FailScanType();
}

template <typename T>
void ClIpKR9Mask::ConvertTo8BitOf(const ClImage& in, ClImage& out, bool bStretch, double dFactor)
{
    double dGain = 0.00390625;
    double dOffset = 0.0;
    if (bStretch) {
        T min;
        T max;
        GetCentralRange<T>(in, min, max, -1);
        double dRange = static_cast<double>(max) - static_cast<double>(min);
        dRange = std::min(std::max(dRange, 1.0), 65536.0);
        dGain = 65536.0 / dRange * 0.00390625;
        if (!(dFactor > dGain))
            dGain = dFactor;
        dOffset = static_cast<double>(min) * dGain;
    }
    if (out.DataType() != ClImage::uint8)
        return;
    const int64_t nSamples = std::min(RunLength(in), RunLength(out));
    const T* pIn = SamplesOf<T>(in);
    uint8_t* pOut = out.Data();
    // The low byte, without saturation.
    for (int64_t i = 0; i < nSamples; ++i)
        pOut[i] = static_cast<uint8_t>(DoubleToInt32(static_cast<double>(pIn[i]) * dGain - dOffset));
}

int32_t ClIpKR9Mask::EnhanceContrast(const ClImage& in, ClImage& out)
{
    ClHistogram histogram;
    histogram.Create(in);
    uint32_t nTotal = 0;
    for (uint32_t nCount : histogram.m_aBins)
        nTotal += nCount;
    const uint32_t nWhite = histogram.m_aBins[254] + histogram.m_aBins[255];
    const uint32_t nRest = nTotal - nWhite;

    const uint32_t nUpperCount = std::min(nTotal / 4 + nWhite, nTotal);
    const int32_t nUpper = DoubleToInt32(histogram.GetUpperMean(nUpperCount));
    // Takes the painted white out of the bright mean, in 32-bit arithmetic.
    const int32_t nNumerator =
        WrapSub(WrapMul(nUpper, static_cast<int32_t>(nTotal)), WrapMul(255, static_cast<int32_t>(nWhite)));
    int32_t nHigh = nNumerator / std::max(static_cast<int32_t>(nRest), 1);
    const int32_t nLow = DoubleToInt32(histogram.GetLowerMean(nTotal / 16));
    if (nHigh < WrapAdd(nLow, 1))
        nHigh = WrapAdd(nLow, 1);
    int32_t nSpan = WrapSub(nHigh, nLow);
    if (nSpan < 63)
        nSpan = 63;
    const double dGain = 255.0 / nSpan;
    const double dOffset = 255.0 - nHigh * dGain;

    // Every 8-bit value has one result: a table of 256 instead of a
    // computation per pixel, with the same doubles.
    uint8_t aTable[256];
    for (int32_t i = 0; i < 256; ++i) {
        const double dValue = i * dGain + dOffset;
        if (dValue > 255.0)
            aTable[i] = 255;
        else if (!(dValue > 0.0))
            aTable[i] = 0;
        else
            aTable[i] = static_cast<uint8_t>(DoubleToInt32(dValue));
    }
    if (out.DataType() == ClImage::uint8) {
        const int64_t nSamples = std::min(RunLength(in), RunLength(out));
        const uint8_t* pIn = in.Data();
        uint8_t* pOut = out.Data();
        if (FastPaths::Enabled())
            FastPaths::ApplyByteTable(aTable, pIn, nSamples, pOut, nSamples, nSamples, 1);
        else
            for (int64_t i = 0; i < nSamples; ++i)
                pOut[i] = aTable[pIn[i]];
    }
    return 0;
}

void ClIpKR9Mask::Compose(ClImage& out, const ClImage& mask, const ClImage& source)
{
    const bool bAllEight = out.DataType() == ClImage::uint8 && mask.DataType() == ClImage::uint8 &&
                           source.DataType() == ClImage::uint8;
    const bool bAllSixteen = out.DataType() == ClImage::uint16 && mask.DataType() == ClImage::uint16 &&
                             source.DataType() == ClImage::uint16;
    if (!bAllEight && !bAllSixteen)
        FailComposeTypes();
    VisitPipelineType(out.DataType(), [&](auto tag) {
        using T = typename decltype(tag)::Type;
        const int64_t nSamples = std::min({RunLength(out), RunLength(mask), RunLength(source)});
        const T* pMask = SamplesOf<T>(mask);
        const T* pSource = SamplesOf<T>(source);
        T* pOut = SamplesOf<T>(out);
        // Both samples are read always, so that the choice needs no branch.
        for (int64_t i = 0; i < nSamples; ++i) {
            const T source = pSource[i];
            pOut[i] = pMask[i] != 0 ? source : T(255);
        }
    });
}
