// Owned arrays for the parameter and processor layers.
//
// TpArrayStatic<T> is a block whose size is chosen at run time.
// TpArrayDynamic<T, N> counts the elements in use over such a block and grows
// it by the constant step N when it is full, never by doubling: these lists
// are short and the memory they hold should stay predictable.
//
// Element storage follows the element type. Plain data gets raw storage and
// stays uninitialised until written. A class with its own construction or
// destruction (a map entry that owns its name, say) is built with new[], so
// every element of the block is constructed and destroyed, and elements are
// copied with their own assignment, never byte by byte.
//
// There is no index checking: the arrays are building blocks for code that
// knows its counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "sdk/Exception.h"

namespace ArrayDetail {

// Byte size of a block, saturating instead of wrapping: a request that does not
// fit in size_t must fail in the allocator, not become a small block.
size_t SaturatingByteSize(size_t nCount, size_t nElementSize);

// Uninitialised storage for nCount plain elements from malloc, or null.
void* AllocatePlainBlock(size_t nCount, size_t nElementSize);

template <typename T>
constexpr bool kIsPlainElement = std::is_trivially_default_constructible<T>::value &&
                                 std::is_trivially_destructible<T>::value &&
                                 std::is_trivially_copyable<T>::value &&
                                 alignof(T) <= alignof(std::max_align_t);

// Null when the block cannot be had. An element constructor that throws lets
// its exception through, with the partly built block already released.
template <typename T>
T* AllocateElements(size_t nCount)
{
    if constexpr (kIsPlainElement<T>)
        return static_cast<T*>(AllocatePlainBlock(nCount, sizeof(T)));
    else
        return new (std::nothrow) T[nCount];
}

template <typename T>
void FreeElements(T* pData)
{
    if constexpr (kIsPlainElement<T>)
        free(pData);
    else
        delete[] pData;
}

[[noreturn]] inline void ThrowAllocationFailed()
{
    throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, false, KR9_SITE);
}

}  // namespace ArrayDetail

template <typename T>
class TpArrayStatic
{
public:
    TpArrayStatic() = default;
    TpArrayStatic(const TpArrayStatic&) = delete;
    TpArrayStatic& operator=(const TpArrayStatic&) = delete;
    virtual ~TpArrayStatic() { FreeBlock(); }

    // The capacity in elements, cut to its low 32 bits.
    virtual int32_t GetSize() const { return static_cast<int32_t>(static_cast<uint32_t>(m_nSize)); }
    // Replaces the block by one of nSize fresh elements; 0 leaves no block. The
    // old elements are gone either way, also when the allocation fails
    // (ZRT_ERROR_OUT_OF_MEMORY).
    virtual void SetSize(size_t nSize)
    {
        FreeBlock();
        if (nSize == 0)
            return;
        T* pData = ArrayDetail::AllocateElements<T>(nSize);
        if (pData == nullptr)
            ArrayDetail::ThrowAllocationFailed();
        m_pData = pData;
        m_nSize = nSize;
    }
    // Releases the block.
    virtual void Clear() { FreeBlock(); }

    uint64_t GetCapacity() const { return m_nSize; }
    T* GetData() { return m_pData; }
    const T* GetData() const { return m_pData; }
    T& operator[](size_t nIndex) { return m_pData[nIndex]; }
    const T& operator[](size_t nIndex) const { return m_pData[nIndex]; }

protected:
    void FreeBlock()
    {
        ArrayDetail::FreeElements(m_pData);
        m_pData = nullptr;
        m_nSize = 0;
    }

    uint64_t m_nSize = 0;    // capacity in elements
    T* m_pData = nullptr;    // owned; null while the capacity is 0
};

template <typename T, size_t N>
class TpArrayDynamic : public TpArrayStatic<T>
{
    static_assert(N > 0, "an array that grows by nothing cannot take an element");

public:
    TpArrayDynamic() = default;
    ~TpArrayDynamic() override { m_nCount = 0; }

    // The elements in use, cut to their low 32 bits.
    int32_t GetSize() const override { return static_cast<int32_t>(static_cast<uint32_t>(m_nCount)); }
    uint64_t GetCount() const { return m_nCount; }
    // A fresh block of nSize elements, all counted as in use.
    void SetSize(size_t nSize) override
    {
        m_nCount = 0;
        TpArrayStatic<T>::SetSize(nSize);
        m_nCount = nSize;
    }
    // Forgets the elements but keeps the block, so refilling does not allocate.
    void Clear() override { m_nCount = 0; }

    // Appends a copy of the value, growing by N when the block is full.
    void Add(const T& value)
    {
        if (m_nCount == this->m_nSize) {
            // The value may live in the block that growing releases.
            const T valueCopy(value);
            Grow(N);
            this->m_pData[m_nCount] = valueCopy;
        } else {
            this->m_pData[m_nCount] = value;
        }
        ++m_nCount;
    }

    // Moves the elements in use to a block of nExtra more elements. On failure
    // (ZRT_ERROR_OUT_OF_MEMORY) the array is left exactly as it was.
    void Grow(size_t nExtra)
    {
        if (nExtra > SIZE_MAX - this->m_nSize)
            ArrayDetail::ThrowAllocationFailed();
        const size_t nNewSize = this->m_nSize + nExtra;
        if (nNewSize == 0)
            return;

        T* pNewData = ArrayDetail::AllocateElements<T>(nNewSize);
        if (pNewData == nullptr)
            ArrayDetail::ThrowAllocationFailed();
        try {
            for (uint64_t i = 0; i < m_nCount; ++i)
                pNewData[i] = this->m_pData[i];
        } catch (...) {
            ArrayDetail::FreeElements(pNewData);
            throw;
        }
        ArrayDetail::FreeElements(this->m_pData);
        this->m_pData = pNewData;
        this->m_nSize = nNewSize;
    }

private:
    uint64_t m_nCount = 0;    // elements in use, never above the capacity
};
