#include "processors/ProcessorSupport.h"

#include <cstdio>

void FormatProcessingInfo(char* pszText, size_t nSize, const char* pszFormat, ...)
{
    if (nSize == 0)
        throw ClException("Unexpected zero-length string", ZRT_ERROR_INTERNAL, false, "Unknown", -1);
    if (pszText == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    va_list arguments;
    va_start(arguments, pszFormat);
    const int nLength = vsnprintf(pszText, nSize, pszFormat, arguments);
    va_end(arguments);
    if (nLength < 0 || static_cast<size_t>(nLength) >= nSize)
        throw ClException("String-Length exceeded available size", ZRT_ERROR_INTERNAL, true, KR9_SITE);
}

void AddDataTypeEntries(TpParameterEnumPointer<unsigned char>& parameter)
{
    parameter.AddEntry(ClImage::uint8, "unsigned char");
    parameter.AddEntry(ClImage::int8, "signed char");
    parameter.AddEntry(ClImage::uint16, "unsigned short");
    parameter.AddEntry(ClImage::int16, "signed short");
    parameter.AddEntry(ClImage::uint32, "unsigned int");
    parameter.AddEntry(ClImage::int32, "signed int");
    parameter.AddEntry(ClImage::float32, "float");
    parameter.AddEntry(ClImage::double64, "double");
    parameter.AddEntry(ClImage::default_, "default");
}

void AddContentEntries(TpParameterEnumPointer<ClImage::EContent>& parameter)
{
    parameter.AddEntry(ClImage::eUnknown, "eUnknown");
    parameter.AddEntry(ClImage::eGrayscale, "eGrayscale");
    parameter.AddEntry(ClImage::eRGB, "eRGB");
    parameter.AddEntry(ClImage::eRGBA, "eRGBA");
    parameter.AddEntry(ClImage::eHSV, "eHSV");
    parameter.AddEntry(ClImage::eXYZ, "eXYZ");
    parameter.AddEntry(ClImage::eCIELab, "eCIELab");
    parameter.AddEntry(ClImage::eCIELUV, "eCIELUV");
}
