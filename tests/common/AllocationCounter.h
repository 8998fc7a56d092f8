// Counts the heap allocations made through operator new on the calling thread
// while an instance lives, so that a test can prove that some code path does
// not allocate. The replacement operators behind it live in AllocationCounter.cpp.
#pragma once

class ClAllocationCounter
{
public:
    ClAllocationCounter();
    ~ClAllocationCounter();
    ClAllocationCounter(const ClAllocationCounter&) = delete;
    ClAllocationCounter& operator=(const ClAllocationCounter&) = delete;

    // Allocations on this thread since construction.
    long Count() const;

private:
    long m_nStart;
    bool m_bWasCounting;
};
