#include "support/Array.h"

namespace ArrayDetail {

size_t SaturatingByteSize(size_t nCount, size_t nElementSize)
{
    if (nElementSize != 0 && nCount > SIZE_MAX / nElementSize)
        return SIZE_MAX;
    return nCount * nElementSize;
}

// Out of line on purpose: the allocator, not the compiler, is the one to turn
// down a saturated size, even when the size is a constant at the call.
void* AllocatePlainBlock(size_t nCount, size_t nElementSize)
{
    return malloc(SaturatingByteSize(nCount, nElementSize));
}

}  // namespace ArrayDetail
