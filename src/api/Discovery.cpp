// TV_KR9QueryScanners: the attached scanners by display name, in 16-byte records.
#include "QuorvaneTactiviewKR9.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "sdk/CallFrame.h"
#include "sdk/SDKLogger.h"
#include "device/KR9Scanner.h"

namespace {

// The cause of a failed listing, for whoever debugs it: one line at the SDK
// logger's level. The exception's text spans lines ("<message>\n<cause>"); they
// are joined with blanks. A failure to log must not replace the listing's code.
void LogEnumerationFailure(const ClException& ex)
{
    std::string strText = ex.GetText() != nullptr ? ex.GetText() : "";
    std::replace(strText.begin(), strText.end(), '\n', ' ');
    try {
        ClSDKLogger::LogDebug("%s - Exception: %s:%d %s", "TV_KR9QueryScanners", ex.GetFile(), ex.GetLine(),
                              strText.c_str());
    } catch (const ClException&) {
    }
}

void QueryScanners(char* pNames, uint64_t* pCount)
{
    if (pCount == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);

    ClHIDDeviceList devices;
    try {
        ClKR9Scanner::Enumerate(devices);
    } catch (const ClException& ex) {
        LogEnumerationFailure(ex);
        throw ClException(ex);
    }

    const uint64_t uiFound = devices.size();
    if (uiFound > *pCount) {
        *pCount = uiFound;
        throw ClExQuorvane(ZRT_ERROR_SIZE_TOO_SMALL, KR9_SITE);
    }
    *pCount = uiFound;
    if (uiFound == 0)
        return;
    if (pNames == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);

    // Fixed records, zero-filled behind the name; a 16-character name has no terminator.
    memset(pNames, 0, TV_KR9_SCANNER_NAME_SIZE * uiFound);
    char* pRecord = pNames;
    for (const StHIDDeviceInfo& device : devices) {
        memcpy(pRecord, device.m_strName.data(), std::min<size_t>(device.m_strName.size(), TV_KR9_SCANNER_NAME_SIZE));
        pRecord += TV_KR9_SCANNER_NAME_SIZE;
    }
}

}  // namespace

extern "C" TV_KR9_API int32_t TV_KR9_CALL TV_KR9QueryScanners(char* pNames, uint64_t* pCount)
{
    return RunInFrame(g_frameDefault, __func__, [&] { QueryScanners(pNames, pCount); }, "");
}
