// A second way into the log for code below the exported functions (device
// layer, capture thread): it does not need to know the SDK class. Until the
// SDK installs its sink on first initialisation, calls return at once.
#pragma once

#include <cstdint>

class ClSDKLogger
{
public:
    typedef void (*PFN_SINK)(int32_t nLevel, const char* pszText);

    static void SetSink(PFN_SINK pfnSink);
    static void Log(int32_t nLevel, const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    // At level 7 (Debug).
    static void LogDebug(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
};
