#include "processors/IpFilterBase.h"

#include "sdk/Exception.h"
#include "processors/IpJoinPlanes.h"
#include "processors/IpSplitPlanes.h"
#include "processors/ProcessorSupport.h"

ClIpFilterBase::ClIpFilterBase()
{
    SetDefaultParameters();
}

void ClIpFilterBase::SetDefaultParameters()
{
    m_nFilterWidth = 3;
    m_eMode = eModeXY;
}

void ClIpFilterBase::GetProcessingInfo(char* pszText, size_t nSize) const
{
    const char* pszSign = "Unknown";
    if (m_pInImage != nullptr)
        pszSign = ClImage::IsSignedType(m_pInImage->DataType()) ? "Signed" : "Unsigned";
    FormatProcessingInfo(pszText, nSize, "W[%ld] M[%s%s%s%s] S[%s]", static_cast<long>(m_nFilterWidth),
                         (m_eMode & eModeX) ? "X" : "", (m_eMode & eModeY) ? "Y" : "",
                         (m_eMode & eModeDirected) ? "Directed" : "", (m_eMode & eModeDirectedOrtho) ? "DirectedOrtho" : "",
                         pszSign);
}

void ClIpFilterBase::DescribeParameters(ClParameterInterface& list)
{
    static const char* const apszModeNames[] = {"Mode X", "Mode Y", "Mode XY", "MODE_DIRECTED",
                                                "MODE_DIRECTED_ORTHO"};
    static const uint32_t auiModeValues[] = {eModeX, eModeY, eModeXY, eModeDirected, eModeDirectedOrtho};
    list.AddImage(&m_pInImage, "InImage", "In: Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pOutImage, "OutImage", "Out: Output Image", ClParameterInterface::eDirectionOut, 1.0, 1.0);
    list.AddInt32(&m_nFilterWidth, "nFilterWidth", "in: Filter Width", ClParameterInterface::eDirectionIn, 1.0, -1.0);
    // The mode, published under this name.
    ClParameterInterface::ClParameter* pMode =
        list.AddEnum(&m_eMode, "eFilterWidth", "in: Filter Width", ClParameterInterface::eDirectionIn, apszModeNames, 5);
    pMode->SetEnumEntries(apszModeNames, auiModeValues, 5);
    list.AddImage(&m_pInDxImage, "InDxImage", "in: Dx Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pInDyImage, "InDyImage", "in: Dy Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
}

void ClIpFilterBase::RegisterParameters(ClParameterContainer& container)
{
    RegisterImageParameter(container, "pInImage", &m_pInImage, kParameterIn);
    RegisterImageParameter(container, "pOutImage", &m_pOutImage, kParameterOut);
    container.CreateParameter<TpParameterNumeric<int>>("nFilterWidth")->Bind(&m_nFilterWidth, kParameterIn);
    auto* pMode = container.CreateParameter<TpParameterEnumPointer<EFilterMode>>("nMode");
    pMode->Bind(&m_eMode, kParameterIn);
    pMode->AddEntry(eModeX, "Mode X");
    pMode->AddEntry(eModeY, "Mode Y");
    pMode->AddEntry(eModeXY, "Mode XY");
    pMode->AddEntry(eModeDirected, "MODE_DIRECTED");
    pMode->AddEntry(eModeDirectedOrtho, "MODE_DIRECTED_ORTHO");
    // Both names reach the x component; the y component is set directly only.
    RegisterImageParameter(container, "pInDxImage", &m_pInDxImage, kParameterIn);
    RegisterImageParameter(container, "pInDyImage", &m_pInDxImage, kParameterIn);
}

int32_t ClIpFilterBase::Process()
{
    if (m_pInImage == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BITMAP_PTR, KR9_SITE);
    if (m_pOutImage == nullptr)
        throw ClException("m_pOutImage is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    if (m_nFilterWidth <= 1) {
        *m_pOutImage = *m_pInImage;
        return 0;
    }
    if (m_pInImage->Planes() > 1)
        return ProcessPlanes();
    if (m_pInImage == m_pOutImage)
        return ZRT_ERROR_BITMAP_PTR;
    return ProcessPlane();
}

int32_t ClIpFilterBase::ProcessPlanes()
{
    ClImage* pInImage = m_pInImage;
    ClImage* pOutImage = m_pOutImage;
    ClImage aPlanes[3];
    ClImage aResults[3];
    ClIpSplitPlanes split;
    int32_t nStatus = split.Run(pInImage, &aPlanes[0], &aPlanes[1], &aPlanes[2], nullptr);
    if (nStatus != 0)
        return nStatus;
    {
        const ClFilterImagesScope scope(m_pInImage, m_pOutImage);
        for (int32_t p = 0; p < 3; ++p) {
            m_pInImage = &aPlanes[p];
            m_pOutImage = &aResults[p];
            nStatus = Process();
            if (nStatus != 0)
                return nStatus;
        }
    }
    ClIpJoinPlanes join;
    join.SetOutContent(pInImage->Content());
    nStatus = join.Run(pOutImage, &aResults[0], &aResults[1], &aResults[2], nullptr);
    pOutImage->SetAuxTag(pInImage->AuxTag());
    return nStatus;
}

int32_t ClIpFilterBase::ProcessPlane()
{
    if (m_pInImage == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BITMAP_PTR, KR9_SITE);
    const bool bSigned = ClImage::IsSignedType(m_pInImage->DataType());
    switch (m_eMode) {
    case eModeX:
        return bSigned ? FilterSignedX() : FilterX();
    case eModeY:
        return bSigned ? FilterSignedY() : FilterY();
    case eModeXY:
        return bSigned ? FilterSignedXY() : FilterXY();
    case eModeDirected:
    case eModeDirectedOrtho:
        return bSigned ? FilterSignedDirected(m_eMode == eModeDirectedOrtho)
                       : FilterDirected(m_eMode == eModeDirectedOrtho);
    default:
        throw ClExQuorvane(ZRT_ERROR_PARAM_OUT_OF_RANGE, KR9_SITE);
    }
}

int32_t ClIpFilterBase::RunOneAfterOther(int32_t (ClIpFilterBase::*routine)(), int32_t (ClIpFilterBase::*nextRoutine)())
{
    ClImage intermediate;
    const ClFilterImagesScope scope(m_pInImage, m_pOutImage);
    ClImage* pOutImage = m_pOutImage;
    m_pOutImage = &intermediate;
    const int32_t nStatus = (this->*routine)();
    if (nStatus != 0)
        return nStatus;
    m_pInImage = &intermediate;
    m_pOutImage = pOutImage;
    return (this->*nextRoutine)();
}

int32_t ClIpFilterBase::FilterX()
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}

int32_t ClIpFilterBase::FilterY()
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}

int32_t ClIpFilterBase::FilterXY()
{
    return RunOneAfterOther(&ClIpFilterBase::FilterX, &ClIpFilterBase::FilterY);
}

int32_t ClIpFilterBase::FilterSignedX()
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}

int32_t ClIpFilterBase::FilterSignedY()
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}

int32_t ClIpFilterBase::FilterSignedXY()
{
    return RunOneAfterOther(&ClIpFilterBase::FilterSignedX, &ClIpFilterBase::FilterSignedY);
}

int32_t ClIpFilterBase::FilterDirected(bool /*bOrtho*/)
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}

int32_t ClIpFilterBase::FilterSignedDirected(bool /*bOrtho*/)
{
    return ZRT_ERROR_FORMAT_NOTSUPPORTED;
}
