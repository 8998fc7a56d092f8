#include "params/Ip1to1Base.h"

#include <type_traits>

#include "sdk/Exception.h"
#include "imaging/SafeConvert.h"
#include "params/TypedParameter.h"

template class TpParameterEnumPointer<ClImage*, ClParameter>;

void RegisterImageParameter(ClParameterContainer& container, const char* pszName, ClImage** ppImage,
                            uint32_t uiAccess)
{
    auto* pImage = container.CreateParameter<TpParameterEnumPointer<ClImage*>>(pszName);
    pImage->Bind(ppImage, uiAccess);
    pImage->SetPointer(true);
}

namespace NewIpBase {

namespace {

// How a sample becomes a double; the way back is DoubleToSample: truncated
// toward zero and cut to the sample's width, never clamped.
template <typename TSample>
double SampleToDouble(TSample value)
{
    return static_cast<double>(value);
}

template <>
double SampleToDouble<uint32_t>(uint32_t value)
{
    return static_cast<double>(static_cast<int64_t>(value));
}

bool HasSameShape(const ClImage& first, const ClImage& second)
{
    return first.DataType() == second.DataType() && first.Width() == second.Width() &&
           first.Height() == second.Height() && first.Planes() == second.Planes();
}

}  // namespace

// ---- ClIpProcessorBase ------------------------------------------------------------

bool ClIpProcessorBase::CanProcess()
{
    try {
        CheckInputType();
        return true;
    } catch (const ClException&) {
        return false;
    }
}

int32_t ClIpProcessorBase::Prepare()
{
    CheckInputType();
    return 0;
}

// ---- ClIp1to1Base -------------------------------------------------------------------

void ClIp1to1Base::DescribeParameters(ClParameterInterface& list)
{
    list.AddImage(&m_pInImage, "InImage", "In: Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pOutImage, "OutImage", "Out: Output Image", ClParameterInterface::eDirectionOut, 1.0, 1.0);
}

void ClIp1to1Base::RegisterParameters(ClParameterContainer& container)
{
    RegisterImageParameter(container, "pInImage", &m_pInImage, kParameterIn);
    RegisterImageParameter(container, "pOutImage", &m_pOutImage, kParameterOut);
}

void ClIp1to1Base::CheckInputType()
{
    if (m_pInImage == nullptr)
        throw ClException("Input image not assigned", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    CheckType(*m_pInImage);
}

int32_t ClIp1to1Base::Process()
{
    if (m_pInImage == nullptr)
        throw ClException("m_pInImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_pOutImage == nullptr)
        throw ClException("m_pOutImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_pInImage->Data() == nullptr)
        throw ClException("m_pInImage->Data() is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);

    // Receives the result when the input is also the output and the
    // transformation cannot work in place.
    ClImage localImage;
    if (m_bInPlace) {
        if (m_pOutImage != m_pInImage)
            PrepareOutput(*m_pOutImage);
        return ProcessImage(*m_pInImage, *m_pOutImage);
    }
    ClImage& target = (m_pInImage == m_pOutImage) ? localImage : *m_pOutImage;
    PrepareOutput(target);
    const int32_t nStatus = ProcessImage(*m_pInImage, target);
    *m_pOutImage = target;  // does nothing when the target is the output itself
    return nStatus;
}

void ClIp1to1Base::PrepareOutput(ClImage& out)
{
    if (m_pInImage == nullptr)
        throw ClException("m_pInImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    out.CreateLike(*m_pInImage);
}

double ClIp1to1Base::TransformPixel(const ClImage& /*in*/, const ClImage& /*out*/, double /*dValue*/) const
{
    return 0.0;
}

int32_t ClIp1to1Base::Run(ClImage* pInImage, ClImage* pOutImage)
{
    m_pInImage = pInImage;
    m_pOutImage = pOutImage;
    return Run();
}

int32_t ClIp1to1Base::ProcessImage(ClImage& in, ClImage& out)
{
    // The loops write samples of the input's type into the output: anything
    // but an output of the input's shape would be written out of bounds.
    if (!HasSameShape(in, out))
        return ZRT_ERROR_INTERNAL;
    switch (in.DataType()) {
    case ClImage::uint8:
        return m_bUseLookUpTable ? TransformByTable(in, out) : TransformRows<uint8_t>(in, out);
    case ClImage::int8:
        return TransformRows<int8_t>(in, out);
    case ClImage::uint16:
        return TransformRows<uint16_t>(in, out);
    case ClImage::int16:
        return TransformRows<int16_t>(in, out);
    case ClImage::uint32:
        return TransformRows<uint32_t>(in, out);
    case ClImage::int32:
        return TransformRows<int32_t>(in, out);
    case ClImage::float32:
        return TransformRows<float>(in, out);
    case ClImage::double64:
        return TransformRows<double>(in, out);
    default:
        return ZRT_ERROR_INTERNAL;
    }
}

template <typename TSample>
int32_t ClIp1to1Base::TransformRows(const ClImage& in, ClImage& out)
{
    if (in.Data() == nullptr || out.Data() == nullptr)
        return 0;  // an image without area
    const int32_t nWidth = in.Width();
    const int32_t nInStep = in.SampleStride();
    const int32_t nOutStep = out.SampleStride();
    const TSample* pInRow = reinterpret_cast<const TSample*>(in.Data());
    TSample* pOutRow = reinterpret_cast<TSample*>(out.Data());
    // One sample per pixel: the first plane of an interleaved image.
    for (int32_t y = 0; y < in.Height(); ++y, pInRow += nInStep, pOutRow += nOutStep)
        for (int32_t x = 0; x < nWidth; ++x)
            pOutRow[x] = DoubleToSample<TSample>(TransformPixel(in, out, SampleToDouble(pInRow[x])));
    return 0;
}

int32_t ClIp1to1Base::TransformByTable(const ClImage& in, ClImage& out)
{
    // 256 calls of TransformPixel instead of one per pixel.
    uint8_t aTable[256];
    for (int32_t i = 0; i < 256; ++i)
        aTable[i] = DoubleToSample<uint8_t>(TransformPixel(in, out, static_cast<double>(i)));
    ApplyByteTable(aTable, in, out);
    return 0;
}

void ClIp1to1Base::ApplyByteTable(const uint8_t* pTable, const ClImage& in, ClImage& out)
{
    if (in.Data() == nullptr || out.Data() == nullptr)
        return;  // an image without area
    const int32_t nSamples = in.Width() * in.Planes();
    const int32_t nInStep = in.SampleStride();
    const int32_t nOutStep = out.SampleStride();
    const uint8_t* pInRow = in.Data();
    uint8_t* pOutRow = out.Data();
    // Every sample of every plane goes through the table.
    for (int32_t y = 0; y < in.Height(); ++y, pInRow += nInStep, pOutRow += nOutStep)
        for (int32_t x = 0; x < nSamples; ++x)
            pOutRow[x] = pTable[pInRow[x]];
}

}  // namespace NewIpBase
