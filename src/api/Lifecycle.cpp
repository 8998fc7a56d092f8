// The exported lifecycle functions and the two frameless helpers.
#include "QuorvaneTactiviewKR9.h"

#include <cerrno>
#include <cstdlib>

#include "sdk/CallFrame.h"
#include "sdk/Exception.h"
#include "sdk/TactiviewKR9.h"

namespace {

// The oldest interface version this library still serves.
constexpr uint32_t kCompatibleMajor = 2;
constexpr uint32_t kCompatibleMinor = 7;

// Reads a decimal number the way the "%d" conversion of scanf does (leading
// blanks, optional sign, digits) and keeps its low 32 bits.
bool ScanDecimal(const char*& pszText, uint32_t& uiValue)
{
    char* pszEnd = nullptr;
    errno = 0;
    const long long nValue = strtoll(pszText, &pszEnd, 10);
    if (pszEnd == pszText)
        return false;
    uiValue = static_cast<uint32_t>(static_cast<unsigned long long>(nValue));
    pszText = pszEnd;
    return true;
}

// The guarded part of TV_KR9Initialize: a reference, then a probe of the version record.
int32_t AcquireLibrary()
{
    try {
        ClTactiviewKR9::Acquire();
        size_t nSize = 0;
        try {
            ClTactiviewKR9::GetVersion(nullptr, &nSize);
        } catch (const ClException& ex) {
            // A size of 0 is always too small: -21 is the expected answer of the probe.
            if (ex.GetCode() != ZRT_ERROR_TEMPLATE_SIZE)
                throw;
        }
        return ZRT_SUCCESS;
    } catch (const ClException& ex) {
        return ex.GetCode();
    }
}

int32_t ReleaseLibrary()
{
    try {
        ClTactiviewKR9::Release();
        return ZRT_SUCCESS;
    } catch (const ClException& ex) {
        return ex.GetCode();
    }
}

}  // namespace

extern "C" {

TV_KR9_API int32_t TV_KR9_CALL TV_KR9Initialize(void* pReserved)
{
    ClTactiviewKR9::Log(eLogDebug, g_framePointer.pszEnter, __func__, pReserved);
    const int32_t nResult = AcquireLibrary();
    if (nResult == ZRT_SUCCESS)
        ClTactiviewKR9::Log(eLogDebug, g_framePointer.pszLeave, __func__, pReserved);
    else
        LogFrameError(g_framePointer, __func__, nResult, pReserved);
    return nResult;
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9Uninitialize(void)
{
    ClTactiviewKR9::Log(eLogDebug, g_frameVoid.pszEnter, __func__);
    const int32_t nResult = ReleaseLibrary();
    if (nResult == ZRT_SUCCESS)
        ClTactiviewKR9::Log(eLogDebug, g_frameVoid.pszLeave, __func__);
    else
        LogFrameError(g_frameVoid, __func__, nResult);
    return nResult;
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9CompatibilityCheck(const char* pszVersion)
{
    if (pszVersion == nullptr)
        return ZRT_ERROR_INVALID_PARAMETER;
    // The "%d.%d" reading: a number, a dot straight behind it, another number; anything after is ignored.
    uint32_t uiMajor = 0;
    uint32_t uiMinor = 0;
    const char* pszText = pszVersion;
    if (!ScanDecimal(pszText, uiMajor) || *pszText != '.')
        return ZRT_ERROR_INVALID_PARAMETER;
    ++pszText;
    if (!ScanDecimal(pszText, uiMinor))
        return ZRT_ERROR_INVALID_PARAMETER;
    // Unsigned on purpose: "-1.0" reads as a very large major version and passes.
    if (uiMajor > kCompatibleMajor || (uiMajor == kCompatibleMajor && uiMinor >= kCompatibleMinor))
        return ZRT_SUCCESS;
    return ZRT_ERROR_UNSUPPORTED_FEATURE;
}

TV_KR9_API const char* TV_KR9_CALL TV_KR9GetErrorDescriptionA(uint32_t code)
{
    return GetErrorMessage(static_cast<int32_t>(code));
}

}  // extern "C"
