// ClIpSetBorder: paints a frame of a given width and grey value around an
// 8-bit image, in place or into a copy.
#pragma once

#include <cstdint>

#include "imaging/FpImage.h"
#include "params/ProcessorBase.h"

class ClIpSetBorder : public ClProcessorBase
{
public:
    ClIpSetBorder();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpSetBorder"; }
    bool CanProcess() override { return m_pInImage != nullptr && m_pOutImage != nullptr; }
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // Copies the input into the output unless they are one image, then
    // paints the top and bottom border rows and the left and right border of
    // the rows between. Counts are bytes, so on wider samples the frame is
    // narrower. A border wider than the image paints all of it; a negative
    // width paints nothing. Missing images give ZRT_ERROR_PARAM_IS_MISSING.
    int32_t Process() override;

    int32_t Run(ClImage* pInImage, ClImage* pOutImage, int32_t nBorderWidth, unsigned char nGreyValue);
    using ClProcessorBase::Run;

protected:
    ClImage* m_pOutImage = nullptr;  // not owned
    ClImage* m_pInImage = nullptr;   // not owned
    int32_t m_nBorderWidth = 1;
    unsigned char m_nGreyValue = 0;
};
