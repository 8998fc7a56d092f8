// Replaces the global allocation operators of the unit test program with thin
// wrappers around malloc and free that count calls per thread. Every variant
// that can pair with another is replaced, so that sanitizers see matching
// allocation and release functions.
#include "common/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long t_nAllocations = 0;
thread_local bool t_bCounting = false;

void* CountedAllocate(std::size_t nBytes) noexcept
{
    t_nAllocations += t_bCounting ? 1 : 0;
    return std::malloc(nBytes == 0 ? 1 : nBytes);
}

void* CountedAllocateOrThrow(std::size_t nBytes)
{
    if (void* pBlock = CountedAllocate(nBytes))
        return pBlock;
    throw std::bad_alloc();
}

}  // namespace

ClAllocationCounter::ClAllocationCounter() : m_nStart(t_nAllocations), m_bWasCounting(t_bCounting)
{
    t_bCounting = true;
}

ClAllocationCounter::~ClAllocationCounter() { t_bCounting = m_bWasCounting; }

long ClAllocationCounter::Count() const { return t_nAllocations - m_nStart; }

void* operator new(std::size_t nBytes) { return CountedAllocateOrThrow(nBytes); }

void* operator new[](std::size_t nBytes) { return CountedAllocateOrThrow(nBytes); }

void* operator new(std::size_t nBytes, const std::nothrow_t&) noexcept { return CountedAllocate(nBytes); }

void* operator new[](std::size_t nBytes, const std::nothrow_t&) noexcept { return CountedAllocate(nBytes); }

void operator delete(void* pBlock) noexcept { std::free(pBlock); }

void operator delete[](void* pBlock) noexcept { std::free(pBlock); }

void operator delete(void* pBlock, std::size_t) noexcept { std::free(pBlock); }

void operator delete[](void* pBlock, std::size_t) noexcept { std::free(pBlock); }

void operator delete(void* pBlock, const std::nothrow_t&) noexcept { std::free(pBlock); }

void operator delete[](void* pBlock, const std::nothrow_t&) noexcept { std::free(pBlock); }
