// What the image processors share beyond the framework: making a new
// instance, the summary line for the reporter, and the parameter entries of a
// sample type setting.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <new>

#include "sdk/Exception.h"
#include "imaging/FpImage.h"
#include "params/TypedParameter.h"

// A new default-constructed processor for CreateInstance; the caller owns it.
template <typename TProcessor>
TProcessor* NewProcessorInstance()
{
    TProcessor* pInstance = new (std::nothrow) TProcessor();
    if (pInstance == nullptr)
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, KR9_SITE);
    return pInstance;
}

// Formats a processor's summary into the reporter's buffer; a summary that
// does not fit raises ZRT_ERROR_INTERNAL "String-Length exceeded available size".
void FormatProcessingInfo(char* pszText, size_t nSize, const char* pszFormat, ...)
    __attribute__((format(printf, 3, 4)));

// The nine names of the sample types ("unsigned char", ..., "default") as
// entries of an output-type parameter.
void AddDataTypeEntries(TpParameterEnumPointer<unsigned char>& parameter);

// The eight names of the image contents ("eUnknown", ..., "eCIELUV").
void AddContentEntries(TpParameterEnumPointer<ClImage::EContent>& parameter);
