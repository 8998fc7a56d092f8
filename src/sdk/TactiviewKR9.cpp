#include "sdk/TactiviewKR9.h"

#include "sdk/SDKVersion.h"

namespace {

// Kept in writable data, like the record of the other SDKs of the family, so
// that the version can be patched into a built binary.
char s_szVersionRecord[] = "SDK: QuorvaneTactiviewKR9 Version: " KR9_SDK_VERSION_TEXT " (c) Quorvane";

}  // namespace

const char* ClTactiviewKR9::GetVersionRecord()
{
    return s_szVersionRecord;
}
