#include "processors/IpFilterMin.h"

#include "sdk/Exception.h"
#include "processors/ProcessorSupport.h"
#include "imaging/SampleDispatch.h"

ClProcessorBase* ClIpFilterMin::CreateInstance() const
{
    return NewProcessorInstance<ClIpFilterMin>();
}

void ClIpFilterMin::DescribeParameters(ClParameterInterface& list)
{
    list.AddImage(&m_pInImage, "InImage", "In: Original Image", ClParameterInterface::eDirectionIn, 1.0, 3.0);
    list.AddImage(&m_pOutImage, "OutImage", "Out: Rescaled Image", ClParameterInterface::eDirectionOut, 1.0, 1.0);
    list.AddInt32(&m_nFilterWidth, "FilterWidth", "In: Filter Width", ClParameterInterface::eDirectionIn, 3.0, 127.0);
}

int32_t ClIpFilterMin::Prepare()
{
    if (m_pInImage == nullptr)
        throw ClException("m_pInImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_pOutImage == nullptr)
        throw ClException("m_pOutImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    return 0;
}

int32_t ClIpFilterMin::Run(ClImage* pInImage, ClImage* pOutImage, int32_t nFilterWidth, EFilterMode eMode)
{
    m_pInImage = pInImage;
    m_pOutImage = pOutImage;
    m_nFilterWidth = nFilterWidth;
    m_eMode = eMode;
    return Run();
}

int32_t ClIpFilterMin::ProcessPlane()
{
    if (m_nFilterWidth % 2 == 0)
        throw ClException("Filter width has to be odd.", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    if (m_pInImage == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BITMAP_PTR, KR9_SITE);
    int32_t nStatus = 0;
    if (!VisitSampleType(m_pInImage->DataType(),
                         [&](auto tag) { nStatus = FilterSamples<typename decltype(tag)::Type>(); }))
        throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
    return nStatus;
}

template <typename T>
int32_t ClIpFilterMin::FilterSamples()
{
    if (m_eMode == eModeDirected || m_eMode == eModeDirectedOrtho)
        return ZRT_ERROR_FORMAT_NOTSUPPORTED;
    if (m_eMode != eModeX && m_eMode != eModeY && m_eMode != eModeXY)
        throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
    // The input as its own output is read through a second owner of its
    // samples, since the output gets a buffer of its own.
    ClImage source;
    if (m_pInImage == m_pOutImage)
        source.Swap(*m_pInImage);
    else
        source.ShareFrom(*m_pInImage);
    ClImage& out = *m_pOutImage;
    out.CreateLike(source);
    if (source.Data() == nullptr || out.Data() == nullptr)
        return 0;
    const int32_t nHalf = m_nFilterWidth / 2;
    const T* pIn = SamplesOf<T>(source);
    T* pOut = SamplesOf<T>(out);
    if (m_eMode == eModeY) {
        FilterMin::MinY(pIn, source.SampleStride(), pOut, out.SampleStride(), source.Width(), source.Height(), nHalf);
        return 0;
    }
    FilterMin::MinX(pIn, source.SampleStride(), pOut, out.SampleStride(), source.Width(), source.Height(), nHalf);
    if (m_eMode == eModeXY)
        FilterMin::MinY(pOut, out.SampleStride(), pOut, out.SampleStride(), source.Width(), source.Height(), nHalf);
    return 0;
}
