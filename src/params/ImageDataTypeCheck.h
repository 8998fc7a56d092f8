// The pixel types an image processor accepts, and the check of an input
// against them.
#pragma once

#include <cstddef>

#include "imaging/FpImage.h"
#include "support/Array.h"

namespace NewIpBase {

class ClImageDataTypeCheck
{
public:
    ClImageDataTypeCheck() = default;
    ClImageDataTypeCheck(const ClImageDataTypeCheck&) = delete;
    ClImageDataTypeCheck& operator=(const ClImageDataTypeCheck&) = delete;
    virtual ~ClImageDataTypeCheck() = default;

    // Raises when the processor's input is missing or of a type it does not accept.
    virtual void CheckInputType() = 0;

    // Adds the type unless it is accepted already.
    void AddSupportedType(ClImage::EDataType eDataType);
    void AddSupportedTypes(const ClImage::EDataType* peDataTypes, size_t nCount);
    bool IsSupportedType(ClImage::EDataType eDataType) const;
    // Raises ZRT_ERROR_FORMAT_NOTSUPPORTED "Input pixel type "<name>" not supported by
    // processor." for a type not accepted.
    void CheckType(const ClImage& image) const;

    // The name a message gives a pixel type: "uint8", "float32", ..., "not valid" for no type at all.
    static const char* GetDataTypeName(ClImage::EDataType eDataType);

private:
    TpArrayDynamic<ClImage::EDataType, 8> m_aSupportedTypes;
};

}  // namespace NewIpBase
