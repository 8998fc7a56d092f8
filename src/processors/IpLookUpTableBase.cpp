#include "processors/IpLookUpTableBase.h"

#include "sdk/Exception.h"
#include "processors/IpJoinPlanes.h"
#include "processors/IpSplitPlanes.h"
#include "processors/ProcessorSupport.h"

void ClIpLookUpTableBase::DescribeParameters(ClParameterInterface& list)
{
    list.AddImage(&m_pInImage, "InImage", "In: Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pOutImage, "OutImage", "Out: Stretched Imaged", ClParameterInterface::eDirectionOut, 1.0, 1.0);
}

void ClIpLookUpTableBase::RegisterParameters(ClParameterContainer& container)
{
    RegisterImageParameter(container, "pInImage", &m_pInImage, kParameterIn);
    RegisterImageParameter(container, "pOutImage", &m_pOutImage, kParameterOut);
}

int32_t ClIpLookUpTableBase::Prepare()
{
    BuildTable();
    return 0;
}

int32_t ClIpLookUpTableBase::Process()
{
    if (m_pInImage == nullptr)
        throw ClException("m_pInImage is not set.", ZRT_ERROR_PARAM_IS_MISSING, true, KR9_SITE);
    ClImage* pInImage = m_pInImage;
    ClImage* pOutImage = m_pOutImage != nullptr ? m_pOutImage : m_pInImage;

    if (pInImage->Planes() > 1) {
        ClImage aPlanes[4];
        ClImage aResults[4];
        ClIpSplitPlanes split;
        int32_t nStatus = split.Run(pInImage, &aPlanes[0], &aPlanes[1], &aPlanes[2], &aPlanes[3]);
        if (nStatus != 0)
            return nStatus;
        const int32_t nPlanes = pInImage->Planes();
        for (int32_t p = 0; p < nPlanes; ++p) {
            m_pInImage = &aPlanes[p];
            m_pOutImage = &aResults[p];
            try {
                nStatus = Process();
            } catch (...) {
                m_pInImage = pInImage;
                m_pOutImage = pOutImage;
                throw;
            }
            if (nStatus != 0)
                break;
        }
        m_pInImage = pInImage;
        m_pOutImage = pOutImage;
        if (nStatus != 0)
            return nStatus;
        ClIpJoinPlanes join;
        join.SetOutContent(pInImage->Content());
        join.SetPlaneCount(nPlanes);
        auto planeOrNull = [&](int32_t p) { return p < nPlanes ? &aResults[p] : nullptr; };
        return join.Run(pOutImage, planeOrNull(0), planeOrNull(1), planeOrNull(2), planeOrNull(3));
    }

    if (pOutImage != pInImage)
        pOutImage->CreateLike(*pInImage);
    if (pInImage->Data() != nullptr && pOutImage->Data() != nullptr) {
        // Both rows advance by the input's stride, which is the output's for
        // the aligned images the SDK makes.
        const int32_t nStride = pInImage->Stride();
        const int32_t nWidth = pInImage->Width();
        for (int32_t y = 0; y < pInImage->Height(); ++y) {
            const uint8_t* pIn = pInImage->Data() + int64_t(y) * nStride;
            uint8_t* pOut = pOutImage->Data() + int64_t(y) * nStride;
            for (int32_t x = 0; x < nWidth; ++x)
                pOut[x] = m_aTable[pIn[x]];
        }
    }
    m_bTableValid = true;
    return 0;
}
