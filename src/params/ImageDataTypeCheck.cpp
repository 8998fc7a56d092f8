#include "params/ImageDataTypeCheck.h"

#include <string>

#include "sdk/Exception.h"

namespace NewIpBase {

void ClImageDataTypeCheck::AddSupportedType(ClImage::EDataType eDataType)
{
    if (!IsSupportedType(eDataType))
        m_aSupportedTypes.Add(eDataType);
}

void ClImageDataTypeCheck::AddSupportedTypes(const ClImage::EDataType* peDataTypes, size_t nCount)
{
    for (size_t i = 0; i < nCount; ++i)
        AddSupportedType(peDataTypes[i]);
}

bool ClImageDataTypeCheck::IsSupportedType(ClImage::EDataType eDataType) const
{
    for (uint64_t i = 0; i < m_aSupportedTypes.GetCount(); ++i)
        if (m_aSupportedTypes[i] == eDataType)
            return true;
    return false;
}

void ClImageDataTypeCheck::CheckType(const ClImage& image) const
{
    if (IsSupportedType(image.DataType()))
        return;
    const std::string strMessage =
        std::string("Input pixel type \"") + GetDataTypeName(image.DataType()) + "\" not supported by processor.";
    throw ClException(strMessage.c_str(), ZRT_ERROR_FORMAT_NOTSUPPORTED, true, KR9_SITE);
}

const char* ClImageDataTypeCheck::GetDataTypeName(ClImage::EDataType eDataType)
{
    switch (eDataType) {
    case ClImage::unknown:
        return "unknown";
    case ClImage::uint8:
        return "uint8";
    case ClImage::uint16:
        return "uint16";
    case ClImage::uint32:
        return "uint32";
    case ClImage::int8:
        return "int8";
    case ClImage::int16:
        return "int16";
    case ClImage::int32:
        return "int32";
    case ClImage::float32:
        return "float32";
    case ClImage::double64:
        return "double64";
    case ClImage::default_:
        return "default";
    }
    return "not valid";
}

}  // namespace NewIpBase
