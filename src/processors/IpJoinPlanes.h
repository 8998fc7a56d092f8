// ClIpJoinPlanes: up to four one-plane images interleaved into one image,
// the way back after ClIpSplitPlanes.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ProcessorBase.h"

class ClIpJoinPlanes : public ClProcessorBase
{
public:
    ClIpJoinPlanes();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpJoinPlanes"; }
    bool CanProcess() override { return m_pOutImage != nullptr; }
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // The plane count comes from the content: eUnknown takes SetPlaneCount's,
    // eGrayscale 1, eRGBA 4, eRGB, eHSV, eCIELUV (and the value 9) 3; eXYZ,
    // eCIELab and every other value cannot be joined and give ZRT_ERROR_PARAM_OUT_OF_RANGE. The first
    // non-null plane gives type, size and carried values of the output. A
    // null plane is filled with its fill value when empty planes are filled.
    // A count of 0 or less, or no plane at all, leaves the output as it was.
    // A plane of another sample type than the first gives ZRT_ERROR_INVALID_PARAMETER with the
    // output untouched; planes of other sizes give the part they share.
    int32_t Process() override;

    // Stores the images and runs; any plane may be null.
    int32_t Run(ClImage* pOutImage, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2, ClImage* pPlane3);
    using ClProcessorBase::Run;

    void SetOutContent(ClImage::EContent eContent) { m_eOutContent = eContent; }
    // Value of plane nPlane (0 to 3) where it is null; NaN by default.
    void SetFillColor(int32_t nPlane, double dValue);
    void SetFillEmptyPlanes(bool bFill) { m_bFillEmptyPlanes = bFill; }
    // The plane count for the content eUnknown.
    void SetPlaneCount(int32_t nPlanes) { m_nPlaneCount = nPlanes; }

protected:
    ClImage* m_apInPlanes[4] = {nullptr, nullptr, nullptr, nullptr};  // not owned; null is an empty plane
    double m_adInFillColors[4];
    ClImage* m_pOutImage = nullptr;  // not owned
    ClImage::EContent m_eOutContent = ClImage::eUnknown;
    bool m_bFillEmptyPlanes = true;
    int32_t m_nPlaneCount = 0;
};
