#include "processors/IpInvert.h"

#include "processors/FastPaths.h"
#include "processors/ProcessorSupport.h"

ClIpInvert::ClIpInvert()
{
    static const ClImage::EDataType aeTypes[] = {ClImage::uint8,  ClImage::int8,  ClImage::uint16,  ClImage::int16,
                                                 ClImage::uint32, ClImage::int32, ClImage::float32, ClImage::double64};
    AddSupportedTypes(aeTypes, sizeof(aeTypes) / sizeof(aeTypes[0]));
    m_bInPlace = true;
}

ClProcessorBase* ClIpInvert::CreateInstance() const
{
    return NewProcessorInstance<ClIpInvert>();
}

double ClIpInvert::TransformPixel(const ClImage& in, const ClImage& out, double dValue) const
{
    const double dMin = in.Min();
    const double dMax = in.Max();
    return (dMax - (dValue - dMin) - dMin) * (out.Max() - out.Min()) / (dMax - dMin) + out.Min();
}

void ClIpInvert::ApplyByteTable(const uint8_t* pTable, const ClImage& in, ClImage& out)
{
    if (!FastPaths::Enabled() || in.Data() == nullptr || out.Data() == nullptr) {
        ClIp1to1Base::ApplyByteTable(pTable, in, out);
        return;
    }
    FastPaths::ApplyByteTable(pTable, in.Data(), in.SampleStride(), out.Data(), out.SampleStride(),
                              int64_t(in.Width()) * in.Planes(), in.Height());
}
