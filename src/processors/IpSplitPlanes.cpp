#include "processors/IpSplitPlanes.h"

#include <cstdio>

#include "sdk/Exception.h"
#include "processors/ProcessorSupport.h"

ClProcessorBase* ClIpSplitPlanes::CreateInstance() const
{
    return NewProcessorInstance<ClIpSplitPlanes>();
}

void ClIpSplitPlanes::DescribeParameters(ClParameterInterface& list)
{
    list.AddImage(&m_pInImage, "InImage", "In: Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
}

void ClIpSplitPlanes::RegisterParameters(ClParameterContainer& container)
{
    RegisterImageParameter(container, "pInImage", &m_pInImage, kParameterIn);
    for (int32_t i = 0; i < 4; ++i) {
        char szName[32];
        snprintf(szName, sizeof(szName), "pOutPlane[%d]", i);
        RegisterImageParameter(container, szName, &m_apOutPlanes[i], kParameterOut);
    }
}

int32_t ClIpSplitPlanes::Process()
{
    if (m_pInImage == nullptr)
        return ZRT_ERROR_PARAM_IS_MISSING;
    if (m_pInImage->Planes() > 4)
        throw ClException("Image has more than 4 planes.", ZRT_ERROR_PARAM_OUT_OF_RANGE, true, KR9_SITE);
    // A plane image may be the input itself: the input's samples stay
    // reachable through a second owner while it is reshaped.
    ClImage source;
    source.ShareFrom(*m_pInImage);
    for (int32_t p = 0; p < source.Planes(); ++p)
        if (m_apOutPlanes[p] != nullptr)
            ClImage::GetPlane(source, p, *m_apOutPlanes[p]);
    return 0;
}

int32_t ClIpSplitPlanes::Run(ClImage* pInImage, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2,
                             ClImage* pPlane3)
{
    m_pInImage = pInImage;
    m_apOutPlanes[0] = pPlane0;
    m_apOutPlanes[1] = pPlane1;
    m_apOutPlanes[2] = pPlane2;
    m_apOutPlanes[3] = pPlane3;
    return Run();
}
