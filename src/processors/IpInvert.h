// ClIpInvert: turns the sample range of an image around; 8-bit samples
// become 255 minus themselves.
#pragma once

#include "params/Ip1to1Base.h"

class ClIpInvert : public NewIpBase::ClIp1to1Base
{
public:
    // All eight sample types; input and output may be one image.
    ClIpInvert();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpInvert"; }

    // (max - (value - min) - min) * (output max - output min) / (max - min)
    // + output min, with the ranges of the input and the output images.
    double TransformPixel(const ClImage& in, const ClImage& out, double dValue) const override;
    // The table of 8-bit images, 255 - value for the full range, sixteen
    // samples at a time.
    void ApplyByteTable(const uint8_t* pTable, const ClImage& in, ClImage& out) override;
};
