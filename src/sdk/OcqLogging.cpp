#include "sdk/OcqLogging.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "sdk/Exception.h"

namespace {

// Constant-initialised, so the defaults hold even for a line logged before the
// environment has been read.
StLoggingSettings s_settings = {eLogDebug, nullptr, false};

// Reads the environment while the library loads, before any export can run.
struct ClLoggingEnvironmentReader
{
    ClLoggingEnvironmentReader() { ConfigureLoggingFromEnvironment(); }
} s_environmentReader;

const char* const s_apszLevelNames[] = {"Emergency", "Alert", "Critical", "Error",
                                        "Warning",   "Notice", "Info",    "Debug"};

}  // namespace

const char* GetLogLevelName(int32_t nLevel)
{
    if (nLevel < eLogEmergency || nLevel > eLogDebug)
        return "Unknown";
    return s_apszLevelNames[nLevel];
}

const StLoggingSettings& GetLoggingSettings()
{
    return s_settings;
}

void ConfigureLoggingFromEnvironment()
{
    // Console stage first: any level from 0 to 7 becomes the limit, everything else keeps 7.
    s_settings.nConsoleLevelLimit = eLogDebug;
    // Read like atoi (blanks, sign, digits, junk behind ignored), except that a
    // text without any number is not taken for level 0.
    if (const char* pszLevel = getenv("QUORVANE_SDK_LOG_LEVEL")) {
        char* pszEnd = nullptr;
        const long nLevel = strtol(pszLevel, &pszEnd, 10);
        if (pszEnd != pszLevel && nLevel >= eLogEmergency && nLevel <= eLogDebug)
            s_settings.nConsoleLevelLimit = static_cast<int32_t>(nLevel);
    }
    // Configurator stage: on only for the exact text "1".
    const char* pszEnabled = getenv("QUORVANE_SDK_LOG");
    s_settings.bEnabled = pszEnabled != nullptr && strcmp(pszEnabled, "1") == 0;
}

void SetLogDebugOutFunction(PFN_LOG_DEBUG_OUT pfnDebugOut)
{
    s_settings.pfnDebugOut = pfnDebugOut;
}

void FormatLogTimeStamp(char* pszBuffer, size_t nSize)
{
    const boost::posix_time::ptime now = boost::posix_time::microsec_clock::local_time();
    snprintf(pszBuffer, nSize, "%s", boost::posix_time::to_simple_string(now).c_str());
}

void FormatLogText(char (&szText)[kLogBufferSize], const char* pszFormat, va_list args)
{
    if (pszFormat == nullptr)
        throw ClException("szFormat == NULL", ZRT_ERROR_LOGGING, true, KR9_SITE);
    const int nLength = vsnprintf(szText, kLogBufferSize, pszFormat, args);
    if (nLength < 0)
        throw ClException(strerror(errno), ZRT_ERROR_LOGGING, true, KR9_SITE);
    // vsnprintf reports the length the whole text would have had: a text that
    // needed the last byte or more was cut short.
    if (nLength >= kLogBufferSize)
        throw ClException("Logging Message bigger than 1024 bytes.", ZRT_ERROR_LOGGING, true, KR9_SITE);
}

void WriteLogToConsole(int32_t nLevel, const char* pszText)
{
    if (nLevel > s_settings.nConsoleLevelLimit)
        return;
    char szTime[64];
    FormatLogTimeStamp(szTime, sizeof(szTime));
    printf("%s [%s] - %s\n", szTime, GetLogLevelName(nLevel), pszText);
    // Integrators read the log live or after a crash: do not leave it in the buffer.
    fflush(stdout);
}

void WriteLogToDebugOut(const char* pszText)
{
    PFN_LOG_DEBUG_OUT pfnDebugOut = s_settings.pfnDebugOut;
    if (pfnDebugOut == nullptr)
        return;
    char szTime[64];
    FormatLogTimeStamp(szTime, sizeof(szTime));
    char szLine[kLogBufferSize];
    snprintf(szLine, sizeof(szLine), "%s: %s\n", szTime, pszText);
    pfnDebugOut(szLine);
}
