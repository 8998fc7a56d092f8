#include "sdk/SDKLogger.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"

namespace {

// Set under the singleton mutex, read by any thread that logs.
std::atomic<ClSDKLogger::PFN_SINK> s_pfnSink{nullptr};

// One byte more than the main entrance, so a text of exactly 1024 characters passes here.
constexpr int kSdkLoggerBufferSize = kLogBufferSize + 1;

void FormatAndSend(int32_t nLevel, const char* pszFormat, va_list args)
{
    ClSDKLogger::PFN_SINK pfnSink = s_pfnSink.load();
    if (pfnSink == nullptr)
        return;
    if (pszFormat == nullptr)
        throw ClException("szFormat == NULL", ZRT_ERROR_LOGGING, true, KR9_SITE);
    char szText[kSdkLoggerBufferSize];
    const int nLength = vsnprintf(szText, sizeof(szText), pszFormat, args);
    if (nLength < 0)
        throw ClException(strerror(errno), ZRT_ERROR_LOGGING, true, KR9_SITE);
    if (nLength > kLogBufferSize) {
        char szMessage[64];
        snprintf(szMessage, sizeof(szMessage), "Logging Message bigger than %d bytes.", kLogBufferSize);
        throw ClException(szMessage, ZRT_ERROR_LOGGING, true, KR9_SITE);
    }
    pfnSink(nLevel, szText);
}

}  // namespace

void ClSDKLogger::SetSink(PFN_SINK pfnSink)
{
    s_pfnSink.store(pfnSink);
}

void ClSDKLogger::Log(int32_t nLevel, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    try {
        FormatAndSend(nLevel, pszFormat, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

void ClSDKLogger::LogDebug(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    try {
        FormatAndSend(eLogDebug, pszFormat, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}
