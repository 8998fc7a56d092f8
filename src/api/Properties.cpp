// The four exported property functions. They reach the handle through its
// interface only, so they serve the scanner session's handle class without
// depending on it.
#include "QuorvaneTactiviewKR9.h"

#include "api/PropertyExports.h"
#include "session/SDKHandleBase.h"
#include "sdk/TactiviewKR9.h"

class ClKR9Handle;

namespace {
using KR9HandleInterface = TSDKHandleBaseBase<ClKR9Handle, ClTactiviewKR9>;
using Exports = TpPropertyExports<KR9HandleInterface>;
}  // namespace

extern "C" {

TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetPropertyA(void* hScanner, const char* pszName, const char* pszValue)
{
    return Exports::SetPropertyA(__func__, hScanner, pszName, pszValue);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetPropertyLongA(void* hScanner, const char* pszName, TV_KR9Long value)
{
    return Exports::SetPropertyLongA(__func__, hScanner, pszName, value);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPropertyA(void* hScanner, const char* pszName, char* pszValue,
                                                  uint64_t* pSize)
{
    return Exports::GetPropertyA(__func__, hScanner, pszName, pszValue, pSize);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPropertyLongA(void* hScanner, const char* pszName, TV_KR9Long* pValue)
{
    return Exports::GetPropertyLongA(__func__, hScanner, pszName, pValue);
}

}  // extern "C"
