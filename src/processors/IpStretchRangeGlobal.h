// ClIpStretchRangeGlobal: stretches a range of 8-bit values linearly onto
// another through a table of 256 entries. The range to stretch comes from
// the settings or, by default, from the occupied histogram bins of the image.
#pragma once

#include <cstdint>

#include "processors/IpLookUpTableBase.h"

class ClIpStretchRangeGlobal : public ClIpLookUpTableBase
{
public:
    ClIpStretchRangeGlobal();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpStretchRangeGlobal"; }
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // The old range as set when its start is not above its end; otherwise
    // the first and last occupied bins of the image (over all planes).
    int32_t Prepare() override;
    // In 20.12 fixed point: the scale (new end + 0.9 - new start) * 4096 /
    // (old end - old start), and entry i = ((i - old start) * scale >> 12) +
    // new start, limited to the new range. An empty old range divides by
    // zero; the scale is then the most negative 32-bit value.
    void BuildTable() override;

    // Stores the images and runs; no output maps the input in place.
    int32_t Run(ClImage* pInImage, ClImage* pOutImage);
    using ClProcessorBase::Run;

    void SetOldRange(unsigned char nFrom, unsigned char nTo)
    {
        m_nOldRangeFrom = nFrom;
        m_nOldRangeTo = nTo;
    }
    void SetNewRange(unsigned char nFrom, unsigned char nTo)
    {
        m_nNewRangeFrom = nFrom;
        m_nNewRangeTo = nTo;
    }

protected:
    unsigned char m_nOldRangeFrom = 255;
    unsigned char m_nOldRangeTo = 0;
    unsigned char m_nNewRangeFrom = 0;
    unsigned char m_nNewRangeTo = 255;
    // The old range in use by the table.
    unsigned char m_nActiveFrom = 255;
    unsigned char m_nActiveTo = 0;
};
