// Scratch memory of the processors: column sums, planes of partial sums,
// look-up tables. Allocated per run, as the processors are made per frame;
// a failed allocation is the SDK's out-of-memory failure, not std::bad_alloc.
#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

#include "sdk/Exception.h"

template <typename T>
std::vector<T> AllocateWorkBuffer(size_t nCount, T initialValue = T())
{
    try {
        return std::vector<T>(nCount, initialValue);
    } catch (const std::bad_alloc&) {
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
    } catch (const std::length_error&) {
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
    }
}
