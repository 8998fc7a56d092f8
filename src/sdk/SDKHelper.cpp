#include "sdk/SDKHelper.h"

#include <cstring>

#include "sdk/Exception.h"

void ClSDKHelper::CheckedCopy(void* pDestination, size_t* pSize, const void* pSource, size_t nBytes)
{
    if (pSize == nullptr)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_SIZE_PTR, KR9_SITE);
    const size_t nCapacity = *pSize;
    *pSize = nBytes;
    if (nCapacity < nBytes)
        throw ClExQuorvane(ZRT_ERROR_TEMPLATE_SIZE, KR9_SITE);
    if (pDestination != nullptr && nBytes > 0)
        memcpy(pDestination, pSource, nBytes);
}
