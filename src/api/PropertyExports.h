// The bodies of the four exported property functions, written once over the
// handle class. Each runs in the call frame: the handle value becomes the
// object behind it (-42 or -43 for a bad one), and the object's property
// operation runs with the remaining arguments. An exported function passes its
// own name (__func__) so that the log lines name it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/CallFrame.h"
#include "QuorvaneTactiviewKR9.h"
#include "sdk/SafeHandle.h"
#include "sdk/TactiviewKR9.h"

template <class THandle>
class TpPropertyExports
{
    using SafeHandle = TpSafeHandle<THandle, ClTactiviewKR9>;

public:
    static int32_t SetPropertyA(const char* pszFunction, void* hScanner, const char* pszName, const char* pszValue)
    {
        return RunInFrame(
            g_frameThreePointers, pszFunction,
            [&] { SafeHandle::GetObject(hScanner)->SetParameterString(pszName, pszValue); }, hScanner,
            static_cast<const void*>(pszName), static_cast<const void*>(pszValue));
    }

    static int32_t SetPropertyLongA(const char* pszFunction, void* hScanner, const char* pszName, TV_KR9Long nValue)
    {
        return RunInFrame(
            g_frameTwoPointersAndLong, pszFunction,
            [&] { SafeHandle::GetObject(hScanner)->SetParameterLong(pszName, nValue); }, hScanner,
            static_cast<const void*>(pszName), static_cast<long>(nValue));
    }

    // *pSize is the buffer's capacity on entry and the size needed, with
    // terminator, on return, also when the call fails for a too small buffer.
    static int32_t GetPropertyA(const char* pszFunction, void* hScanner, const char* pszName, char* pszValue,
                                uint64_t* pSize)
    {
        return RunInFrame(
            g_frameFourPointers, pszFunction,
            [&] {
                THandle* pHandle = SafeHandle::GetObject(hScanner);
                if (pSize == nullptr) {
                    pHandle->GetParameterString(pszName, pszValue, nullptr);
                    return;
                }
                // The interface counts in 64 bits, the handle in size_t: copy in, and
                // back out on every path, since a refusal reports the size needed.
                size_t nSize = static_cast<size_t>(*pSize);
                try {
                    pHandle->GetParameterString(pszName, pszValue, &nSize);
                } catch (const ClException&) {
                    *pSize = nSize;
                    throw;
                }
                *pSize = nSize;
            },
            hScanner, static_cast<const void*>(pszName), static_cast<const void*>(pszValue),
            static_cast<const void*>(pSize));
    }

    static int32_t GetPropertyLongA(const char* pszFunction, void* hScanner, const char* pszName, TV_KR9Long* pValue)
    {
        return RunInFrame(
            g_frameThreePointers, pszFunction,
            [&] { SafeHandle::GetObject(hScanner)->GetParameterLong(pszName, pValue); }, hScanner,
            static_cast<const void*>(pszName), static_cast<const void*>(pValue));
    }
};
