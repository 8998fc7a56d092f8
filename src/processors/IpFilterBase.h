// ClIpFilterBase: the frame of the neighbourhood filters ClIpFilterMid and
// ClIpFilterMin. It owns the filter width and the direction mode, runs a
// one-plane filter over each plane of a colour image, and sends a one-plane
// image to the filter routine of its mode and signedness.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ProcessorBase.h"

class ClIpFilterBase : public ClProcessorBase
{
public:
    // A bit set of directions, of which these five values are accepted.
    enum EFilterMode : int32_t
    {
        eModeX = 1,
        eModeY = 2,
        eModeXY = 3,
        eModeDirected = 8,       // along the direction field (Dx, Dy)
        eModeDirectedOrtho = 16  // across it
    };

    ClIpFilterBase();

    bool CanProcess() override { return m_pInImage != nullptr && m_pOutImage != nullptr; }
    // "W[width] M[mode texts] S[Signed|Unsigned|Unknown]".
    void GetProcessingInfo(char* pszText, size_t nSize) const override;
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // A width of 1 or less copies the input. More than one plane goes plane
    // by plane (ProcessPlanes). The input as its own output gives ZRT_ERROR_BITMAP_PTR.
    // Otherwise ProcessPlane.
    int32_t Process() override;

    // Splits the input, filters the first three planes one by one and joins
    // the results with the input's content.
    virtual int32_t ProcessPlanes();
    // Sends the image by mode and signedness to the routines below; an input
    // missing raises ZRT_ERROR_BITMAP_PTR, a mode outside the five ZRT_ERROR_PARAM_OUT_OF_RANGE.
    virtual int32_t ProcessPlane();
    // The routines of the filter. Here they refuse with ZRT_ERROR_FORMAT_NOTSUPPORTED; the XY pair runs
    // X and then Y on its result.
    virtual int32_t FilterX();
    virtual int32_t FilterY();
    virtual int32_t FilterXY();
    virtual int32_t FilterSignedX();
    virtual int32_t FilterSignedY();
    virtual int32_t FilterSignedXY();
    virtual int32_t FilterDirected(bool bOrtho);
    virtual int32_t FilterSignedDirected(bool bOrtho);

    void SetInImage(ClImage* pImage) { m_pInImage = pImage; }
    void SetOutImage(ClImage* pImage) { m_pOutImage = pImage; }
    void SetFilterWidth(int32_t nWidth) { m_nFilterWidth = nWidth; }
    int32_t GetFilterWidth() const { return m_nFilterWidth; }
    void SetMode(EFilterMode eMode) { m_eMode = eMode; }
    EFilterMode GetMode() const { return m_eMode; }
    // The direction field for the directed modes: signed 8-bit components.
    void SetDxImage(ClImage* pImage) { m_pInDxImage = pImage; }
    void SetDyImage(ClImage* pImage) { m_pInDyImage = pImage; }

protected:
    // Runs routine with m_pOutImage standing for an intermediate image and
    // then nextRoutine with that image as input: the XY pairs.
    int32_t RunOneAfterOther(int32_t (ClIpFilterBase::*routine)(), int32_t (ClIpFilterBase::*nextRoutine)());

    ClImage* m_pInImage = nullptr;   // not owned
    ClImage* m_pOutImage = nullptr;  // not owned
    int32_t m_nFilterWidth = 3;
    EFilterMode m_eMode = eModeXY;
    ClImage* m_pInDxImage = nullptr;  // not owned
    ClImage* m_pInDyImage = nullptr;  // not owned
};

// Points a filter's image members elsewhere for a while and back on every way out.
class ClFilterImagesScope
{
public:
    ClFilterImagesScope(ClImage*& pInImage, ClImage*& pOutImage)
        : m_ppInImage(pInImage), m_ppOutImage(pOutImage), m_pSavedIn(pInImage), m_pSavedOut(pOutImage)
    {
    }
    ~ClFilterImagesScope()
    {
        m_ppInImage = m_pSavedIn;
        m_ppOutImage = m_pSavedOut;
    }
    ClFilterImagesScope(const ClFilterImagesScope&) = delete;
    ClFilterImagesScope& operator=(const ClFilterImagesScope&) = delete;

private:
    ClImage*& m_ppInImage;
    ClImage*& m_ppOutImage;
    ClImage* m_pSavedIn;
    ClImage* m_pSavedOut;
};
