// Array containers: growth by the fixed step, reuse of the block, element
// rules for classes with destructors, and failed growth.
#include <cstdint>
#include <new>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "support/Array.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool kHugeAllocationsFail = false;  // the sanitizer ends the process instead
#else
constexpr bool kHugeAllocationsFail = true;
#endif

// An element that owns its name, like a map entry, with every living instance
// counted. Its block allocation can be made to fail.
class ClNamedEntry
{
public:
    explicit ClNamedEntry(const char* pszName = "<none>") : m_strName(pszName) { ++s_nLiving; }
    ClNamedEntry(const ClNamedEntry& other) : m_strName(other.m_strName) { ++s_nLiving; }
    ClNamedEntry& operator=(const ClNamedEntry& other) = default;
    ~ClNamedEntry() { --s_nLiving; }

    static void* operator new[](size_t nBytes, const std::nothrow_t& tag) noexcept
    {
        return s_bFailAllocation ? nullptr : ::operator new[](nBytes, tag);
    }
    static void operator delete[](void* p) noexcept { ::operator delete[](p); }
    static void operator delete[](void* p, const std::nothrow_t&) noexcept { ::operator delete[](p); }

    const std::string& GetName() const { return m_strName; }

    static inline int s_nLiving = 0;
    static inline bool s_bFailAllocation = false;

private:
    std::string m_strName;
};

TEST(ArrayDynamic, GrowsByItsStepAndReusesTheBlockAfterClear)
{
    TpArrayDynamic<int, 10> array;
    for (int i = 0; i < 10; ++i)
        array.Add(i);
    EXPECT_EQ(array.GetCapacity(), 10u);
    array.Add(10);
    EXPECT_EQ(std::make_pair(array.GetCapacity(), array.GetSize()), std::make_pair(uint64_t(20), 11))
        << "a fixed step, not a doubling";
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(array[i], i);

    // Clear forgets the elements but keeps the block.
    int* pBlock = array.GetData();
    array.Clear();
    EXPECT_EQ(array.GetSize(), 0);
    for (int i = 0; i < 20; ++i)
        array.Add(100 + i);
    EXPECT_EQ(array.GetData(), pBlock) << "refilling up to the capacity does not allocate";

    // Appending an element of the full array itself: growing must not lose it.
    array.Add(array[19]);
    EXPECT_EQ(array.GetCapacity(), 30u);
    EXPECT_EQ(array[20], 119);

    array.SetSize(3);
    EXPECT_EQ(std::make_pair(array.GetSize(), array.GetCapacity()), std::make_pair(3, uint64_t(3)))
        << "a sized block counts all its elements as used";
    array.Add(7);
    EXPECT_EQ(array.GetCapacity(), 13u);
}

TEST(ArrayDynamic, ClassElementsAreConstructedCopiedAndDestroyedOneByOne)
{
    ClNamedEntry::s_nLiving = 0;
    {
        TpArrayDynamic<ClNamedEntry, 10> entries;
        for (int i = 0; i < 11; ++i)
            entries.Add(ClNamedEntry(("entry" + std::to_string(i)).c_str()));
        for (int i = 0; i < 11; ++i)
            EXPECT_EQ(entries[i].GetName(), "entry" + std::to_string(i));
        EXPECT_EQ(ClNamedEntry::s_nLiving, 20) << "the whole block is built, element by element";

        TpArrayStatic<ClNamedEntry> fixed;
        fixed.SetSize(4);
        EXPECT_EQ(ClNamedEntry::s_nLiving, 24);
        fixed.SetSize(2);
        EXPECT_EQ(ClNamedEntry::s_nLiving, 22);
    }
    EXPECT_EQ(ClNamedEntry::s_nLiving, 0) << "every element is destroyed with its block";
}

TEST(ArrayDynamic, FailedGrowthLeavesTheArrayAsItWas)
{
    TpArrayDynamic<ClNamedEntry, 10> entries;
    for (int i = 0; i < 10; ++i)
        entries.Add(ClNamedEntry(std::to_string(i).c_str()));
    const ClNamedEntry* pBlock = entries.GetData();

    ClNamedEntry::s_bFailAllocation = true;
    EXPECT_EQ(CodeOf([&] { entries.Add(ClNamedEntry("eleventh")); }, "Memory allocation failed"),
              ZRT_ERROR_OUT_OF_MEMORY);
    ClNamedEntry::s_bFailAllocation = false;
    EXPECT_EQ(std::make_tuple(entries.GetCapacity(), entries.GetSize(), entries.GetData()),
              std::make_tuple(uint64_t(10), 10, pBlock));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(entries[i].GetName(), std::to_string(i));

    entries.Add(ClNamedEntry("eleventh"));
    EXPECT_EQ(std::make_pair(entries.GetCapacity(), entries[10].GetName()),
              std::make_pair(uint64_t(20), std::string("eleventh")));

    // Plain elements: byte sizes beyond size_t saturate, so the allocator refuses
    // them instead of handing out a small block.
    if (kHugeAllocationsFail) {
        TpArrayDynamic<uint64_t, 10> numbers;
        numbers.Add(7);
        EXPECT_THROW(numbers.Grow(SIZE_MAX / 4), ClExBadAlloc);
        EXPECT_THROW(numbers.Grow(SIZE_MAX), ClExBadAlloc) << "the element count itself overflows";
        EXPECT_EQ(std::make_pair(numbers.GetCapacity(), numbers[0]), std::make_pair(uint64_t(10), uint64_t(7)));

        TpArrayStatic<uint64_t> block;
        block.SetSize(4);
        EXPECT_THROW(block.SetSize(SIZE_MAX / 2), ClExBadAlloc);
        EXPECT_EQ(std::make_pair(block.GetData(), block.GetSize()), std::make_pair(static_cast<uint64_t*>(nullptr), 0));
    }
}

}  // namespace
