#include "processors/IpStretchRangeGlobal.h"

#include <algorithm>

#include "imaging/Histogram.h"
#include "processors/ProcessorSupport.h"
#include "imaging/SafeConvert.h"

ClIpStretchRangeGlobal::ClIpStretchRangeGlobal()
{
    SetDefaultParameters();
}

ClProcessorBase* ClIpStretchRangeGlobal::CreateInstance() const
{
    return NewProcessorInstance<ClIpStretchRangeGlobal>();
}

void ClIpStretchRangeGlobal::SetDefaultParameters()
{
    // A start above the end: the range comes from the image.
    m_nOldRangeFrom = 255;
    m_nOldRangeTo = 0;
    m_nNewRangeFrom = 0;
    m_nNewRangeTo = 255;
}

void ClIpStretchRangeGlobal::DescribeParameters(ClParameterInterface& list)
{
    ClIpLookUpTableBase::DescribeParameters(list);
    const auto eIn = ClParameterInterface::eDirectionIn;
    list.AddUInt8(&m_nOldRangeFrom, "OldRangeFrom", "In: Input Range Start", eIn, 0.0, 255.0);
    list.AddUInt8(&m_nOldRangeTo, "OldRangeTo", "In: Input Range End", eIn, 0.0, 255.0);
    list.AddUInt8(&m_nNewRangeFrom, "NewRangeFrom", "In: Stretch Range Start", eIn, 0.0, 255.0);
    list.AddUInt8(&m_nNewRangeTo, "NewRangeTo", "In: Stretch Range End", eIn, 0.0, 255.0);
}

void ClIpStretchRangeGlobal::RegisterParameters(ClParameterContainer& container)
{
    ClIpLookUpTableBase::RegisterParameters(container);
    const struct
    {
        const char* pszName;
        unsigned char* pValue;
    } aRanges[] = {{"OldRangeFrom", &m_nOldRangeFrom},
                   {"OldRangeTo", &m_nOldRangeTo},
                   {"NewRangeFrom", &m_nNewRangeFrom},
                   {"NewRangeTo", &m_nNewRangeTo}};
    for (const auto& range : aRanges)
        container.CreateParameter<TpParameterNumeric<unsigned char>>(range.pszName)->Bind(range.pValue, kParameterIn);
}

int32_t ClIpStretchRangeGlobal::Prepare()
{
    m_nActiveFrom = m_nOldRangeFrom;
    m_nActiveTo = m_nOldRangeTo;
    // Without an input there is no histogram; Process reports the missing input.
    if (m_nActiveFrom > m_nActiveTo && m_pInImage != nullptr) {
        if (m_pInImage->Planes() == 1) {
            ClHistogram histogram;
            histogram.Create(*m_pInImage);
            m_nActiveFrom = static_cast<unsigned char>(histogram.GetFirstBin());
            m_nActiveTo = static_cast<unsigned char>(histogram.GetLastBin());
        } else {
            m_nActiveFrom = 255;
            m_nActiveTo = 0;
            for (int32_t p = 0; p < m_pInImage->Planes(); ++p) {
                ClImage plane;
                ClImage::GetPlane(*m_pInImage, p, plane);
                ClHistogram histogram;
                histogram.Create(plane);
                m_nActiveFrom = std::min(m_nActiveFrom, static_cast<unsigned char>(histogram.GetFirstBin()));
                m_nActiveTo = std::max(m_nActiveTo, static_cast<unsigned char>(histogram.GetLastBin()));
            }
        }
    }
    BuildTable();
    return 0;
}

void ClIpStretchRangeGlobal::BuildTable()
{
    const int32_t nFrom = m_nNewRangeFrom;
    const int32_t nTo = m_nNewRangeTo;
    const int32_t nScale =
        DoubleToInt32((nTo + 0.9 - nFrom) * 4096.0 / static_cast<double>(int32_t(m_nActiveTo) - int32_t(m_nActiveFrom)));
    int32_t nValue = WrapMul(-int32_t(m_nActiveFrom), nScale);
    for (int32_t i = 0; i < 256; ++i) {
        int32_t nEntry = (nValue >> 12) + nFrom;
        if (nEntry < nFrom)
            nEntry = nFrom;
        if (nEntry > nTo)
            nEntry = nTo;
        m_aTable[i] = static_cast<unsigned char>(nEntry);
        nValue = WrapAdd(nValue, nScale);
    }
    m_bTableValid = true;
}

int32_t ClIpStretchRangeGlobal::Run(ClImage* pInImage, ClImage* pOutImage)
{
    m_pInImage = pInImage;
    m_pOutImage = pOutImage;
    return Run();
}
