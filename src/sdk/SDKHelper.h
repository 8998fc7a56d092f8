// Copies that tell the caller the size they need: the size is written back
// before the capacity is checked, so a failing call still answers the question.
#pragma once

#include <cstddef>

class ClSDKHelper
{
public:
    // pDestination may be null to ask only for the size. Raises
    // ZRT_ERROR_TEMPLATE_SIZE_PTR for a null size pointer and
    // ZRT_ERROR_TEMPLATE_SIZE when *pSize (on entry) is less than nBytes.
    static void CheckedCopy(void* pDestination, size_t* pSize, const void* pSource, size_t nBytes);
};
