#include "processors/IpJoinPlanes.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "processors/ProcessorSupport.h"
#include "imaging/SafeConvert.h"
#include "imaging/SampleDispatch.h"

namespace {

// Planes of a joined image of that content; 0 or less when it cannot be joined.
int32_t PlanesForContent(int32_t nContent, int32_t nUnknownPlanes)
{
    switch (nContent) {
    case ClImage::eUnknown:
        return nUnknownPlanes;
    case ClImage::eGrayscale:
        return 1;
    case ClImage::eRGB:
    case ClImage::eHSV:
    case ClImage::eCIELUV:
    case 9:
        return 3;
    case ClImage::eRGBA:
        return 4;
    default:
        // eXYZ, eCIELab, 8 and everything beyond.
        return -1;
    }
}

template <typename T>
void CopyIntoPlane(const ClImage& plane, ClImage& out, int32_t nPlane)
{
    if (plane.Data() == nullptr || out.Data() == nullptr)
        return;
    const int32_t nPlanes = out.Planes();
    const int32_t nWidth = std::min(plane.Width(), out.Width());
    const int32_t nHeight = std::min(plane.Height(), out.Height());
    for (int32_t y = 0; y < nHeight; ++y) {
        const T* pIn = SamplesOf<T>(plane) + int64_t(y) * plane.SampleStride();
        T* pOut = SamplesOf<T>(out) + int64_t(y) * out.SampleStride() + nPlane;
        for (int32_t x = 0; x < nWidth; ++x)
            pOut[int64_t(x) * nPlanes] = pIn[x];
    }
}

template <typename T>
void FillPlane(ClImage& out, int32_t nPlane, double dValue)
{
    if (out.Data() == nullptr)
        return;
    const T value = DoubleToSample<T>(dValue);
    const int32_t nPlanes = out.Planes();
    for (int32_t y = 0; y < out.Height(); ++y) {
        T* pOut = SamplesOf<T>(out) + int64_t(y) * out.SampleStride() + nPlane;
        for (int32_t x = 0; x < out.Width(); ++x)
            pOut[int64_t(x) * nPlanes] = value;
    }
}

}  // namespace

ClIpJoinPlanes::ClIpJoinPlanes()
{
    SetDefaultParameters();
}

void ClIpJoinPlanes::SetDefaultParameters()
{
    std::fill(std::begin(m_adInFillColors), std::end(m_adInFillColors), std::numeric_limits<double>::quiet_NaN());
    m_eOutContent = ClImage::eUnknown;
    m_bFillEmptyPlanes = true;
}

ClProcessorBase* ClIpJoinPlanes::CreateInstance() const
{
    return NewProcessorInstance<ClIpJoinPlanes>();
}

void ClIpJoinPlanes::DescribeParameters(ClParameterInterface& list)
{
    list.AddImage(&m_pOutImage, "OutImage", "Out: Joined Image", ClParameterInterface::eDirectionOut, 3.0, 3.0);
}

void ClIpJoinPlanes::RegisterParameters(ClParameterContainer& container)
{
    char szName[32];
    for (int32_t i = 0; i < 4; ++i) {
        snprintf(szName, sizeof(szName), "pInPlane[%d]", i);
        RegisterImageParameter(container, szName, &m_apInPlanes[i], kParameterIn);
        snprintf(szName, sizeof(szName), "dInFillcolors[%d]", i);
        container.CreateParameter<TpParameterNumeric<double>>(szName)->Bind(&m_adInFillColors[i], kParameterIn);
    }
    auto* pContent = container.CreateParameter<TpParameterEnumPointer<ClImage::EContent>>("eOutContent");
    pContent->Bind(&m_eOutContent, kParameterIn);
    AddContentEntries(*pContent);
    auto* pFill = container.CreateParameter<TpParameterEnumPointer<bool>>("bFillEmptyPlanes");
    pFill->Bind(&m_bFillEmptyPlanes, kParameterIn);
    pFill->AddEntry(false, "False");
    pFill->AddEntry(true, "True");
    RegisterImageParameter(container, "pOutImage", &m_pOutImage, kParameterOut);
}

void ClIpJoinPlanes::SetFillColor(int32_t nPlane, double dValue)
{
    if (nPlane >= 0 && nPlane < 4)
        m_adInFillColors[nPlane] = dValue;
}

int32_t ClIpJoinPlanes::Process()
{
    const int32_t nPlanes = PlanesForContent(m_eOutContent, m_nPlaneCount);
    if (nPlanes < 0 && m_eOutContent != ClImage::eUnknown)
        return ZRT_ERROR_PARAM_OUT_OF_RANGE;
    if (nPlanes <= 0)
        return 0;
    if (m_pOutImage == nullptr)
        return ZRT_ERROR_PARAM_IS_MISSING;

    // Planes beyond the fourth have no image and count as empty.
    auto planeAt = [this](int32_t p) { return p < 4 ? m_apInPlanes[p] : nullptr; };
    const ClImage* pFirst = nullptr;
    for (int32_t p = 0; p < nPlanes && pFirst == nullptr; ++p)
        pFirst = planeAt(p);
    if (pFirst == nullptr)
        return 0;
    for (int32_t p = 0; p < nPlanes; ++p)
        if (planeAt(p) != nullptr && planeAt(p)->DataType() != pFirst->DataType())
            return ZRT_ERROR_INVALID_PARAMETER;

    // The output may be one of the planes: then it is built aside and swapped in.
    ClImage aside;
    bool bAliased = false;
    for (int32_t p = 0; p < nPlanes; ++p)
        bAliased = bAliased || planeAt(p) == m_pOutImage;
    ClImage& joined = bAliased ? aside : *m_pOutImage;
    joined.Create(pFirst->DataType(), pFirst->Width(), pFirst->Height(), nPlanes, pFirst->AuxX(), pFirst->AuxY(),
                  true);
    if (m_eOutContent != ClImage::eUnknown)
        joined.SetContent(m_eOutContent);
    VisitSampleType(joined.DataType(), [&](auto tag) {
        using T = typename decltype(tag)::Type;
        for (int32_t p = 0; p < nPlanes; ++p) {
            if (const ClImage* pPlane = planeAt(p))
                CopyIntoPlane<T>(*pPlane, joined, p);
            else if (m_bFillEmptyPlanes)
                FillPlane<T>(joined, p, p < 4 ? m_adInFillColors[p] : std::numeric_limits<double>::quiet_NaN());
        }
    });
    if (bAliased)
        m_pOutImage->Swap(aside);
    return 0;
}

int32_t ClIpJoinPlanes::Run(ClImage* pOutImage, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2,
                            ClImage* pPlane3)
{
    m_pOutImage = pOutImage;
    m_apInPlanes[0] = pPlane0;
    m_apInPlanes[1] = pPlane1;
    m_apInPlanes[2] = pPlane2;
    m_apInPlanes[3] = pPlane3;
    return Run();
}
