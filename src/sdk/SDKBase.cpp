#include "sdk/SDKBase.h"

#include <cstring>

#include "sdk/SDKHelper.h"

void GetVersionFromRecord(const char* pszRecord, char* pszBuffer, size_t* pSize)
{
    static const char s_szSignature[] = " Version: ";
    const char* pszStart = pszRecord != nullptr ? strstr(pszRecord, s_szSignature) : nullptr;
    if (pszStart == nullptr)
        throw ClException("szVersion signature not found.", ZRT_ERROR_INTERNAL, true, KR9_SITE);
    pszStart += sizeof(s_szSignature) - 1;
    const char* pszEnd = strchr(pszStart, ' ');
    if (pszEnd == nullptr)
        throw ClException("szVersion signature not found.", ZRT_ERROR_INTERNAL, true, KR9_SITE);

    const size_t nLength = static_cast<size_t>(pszEnd - pszStart);
    // The copy takes the terminator's place too, but the record has a blank there: write it afterwards.
    ClSDKHelper::CheckedCopy(pszBuffer, pSize, pszStart, nLength + 1);
    if (pszBuffer != nullptr)
        pszBuffer[nLength] = '\0';
}

void SDKLogSink(int32_t nLevel, const char* pszText)
{
    const StLoggingSettings& settings = GetLoggingSettings();
    if (!settings.bEnabled)
        return;
    if (settings.pfnDebugOut != nullptr)
        WriteLogToDebugOut(pszText);
    else
        WriteLogToConsole(nLevel, pszText);
}
