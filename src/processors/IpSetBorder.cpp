#include "processors/IpSetBorder.h"

#include <algorithm>
#include <cstring>

#include "processors/ProcessorSupport.h"

ClIpSetBorder::ClIpSetBorder()
{
    SetDefaultParameters();
}

ClProcessorBase* ClIpSetBorder::CreateInstance() const
{
    return NewProcessorInstance<ClIpSetBorder>();
}

void ClIpSetBorder::SetDefaultParameters()
{
    m_nBorderWidth = 1;
    m_nGreyValue = 0;
}

void ClIpSetBorder::RegisterParameters(ClParameterContainer& container)
{
    RegisterImageParameter(container, "pInImage", &m_pInImage, kParameterIn);
    RegisterImageParameter(container, "pOutImage", &m_pOutImage, kParameterOut);
    container.CreateParameter<TpParameterNumeric<int>>("nBorderWidth")->Bind(&m_nBorderWidth, kParameterIn);
    container.CreateParameter<TpParameterNumeric<unsigned char>>("nGreyValue")->Bind(&m_nGreyValue, kParameterIn);
}

int32_t ClIpSetBorder::Process()
{
    if (m_pInImage == nullptr || m_pOutImage == nullptr)
        return ZRT_ERROR_PARAM_IS_MISSING;
    if (m_pOutImage != m_pInImage)
        *m_pOutImage = *m_pInImage;
    ClImage& image = *m_pOutImage;
    if (image.Data() == nullptr || m_nBorderWidth <= 0)
        return 0;
    // One byte per pixel of a row: the frame is measured in bytes.
    const int32_t nWidth = image.Width();
    const int32_t nHeight = image.Height();
    const int32_t nStride = image.Stride();
    const int32_t nBorder = m_nBorderWidth;
    auto row = [&](int32_t y) { return image.Data() + int64_t(y) * nStride; };
    const int32_t nTopRows = std::min(nHeight, nBorder);
    for (int32_t y = 0; y < nTopRows; ++y)
        memset(row(y), m_nGreyValue, static_cast<size_t>(nWidth));
    const int32_t nLeft = std::min(nWidth, nBorder);
    const int32_t nRight = std::max(0, nWidth - nBorder);
    const int32_t nBottomStart = std::max(nTopRows, nHeight - nBorder);
    for (int32_t y = nTopRows; y < nBottomStart; ++y) {
        memset(row(y), m_nGreyValue, static_cast<size_t>(nLeft));
        memset(row(y) + nRight, m_nGreyValue, static_cast<size_t>(nLeft));
    }
    for (int32_t y = nBottomStart; y < nHeight; ++y)
        memset(row(y), m_nGreyValue, static_cast<size_t>(nWidth));
    return 0;
}

int32_t ClIpSetBorder::Run(ClImage* pInImage, ClImage* pOutImage, int32_t nBorderWidth, unsigned char nGreyValue)
{
    m_pInImage = pInImage;
    m_pOutImage = pOutImage;
    m_nBorderWidth = nBorderWidth;
    m_nGreyValue = nGreyValue;
    return Run();
}
