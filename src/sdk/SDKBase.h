// Template base of every SDK of the family: the reference-counted singleton,
// the logging policy stack, and the version record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"
#include "sdk/TpSingleton.h"

// Extracts the version from a record of the form "SDK: <name> Version: <version> <mark>"
// and hands it out through the checked copy (length + 1, terminator written when
// a buffer is given). A record without " Version: " or without the blank
// behind the version raises ZRT_ERROR_INTERNAL.
void GetVersionFromRecord(const char* pszRecord, char* pszBuffer, size_t* pSize);

// The SDK logger's sink: the switch, then the debugger channel or the console.
void SDKLogSink(int32_t nLevel, const char* pszText);

template <class T, class TLogging>
class TpSDKBase : public TpSingleton<T>, public TLogging
{
public:
    ~TpSDKBase() override = default;
    void OnAfterCreate() override {}
    void OnBeforeDestroy() override {}

    static void GetVersion(char* pszBuffer, size_t* pSize) { GetVersionFromRecord(T::GetVersionRecord(), pszBuffer, pSize); }
    static void InstallLogSink();
};

template <class T, class TLogging>
void TpSDKBase<T, TLogging>::InstallLogSink()
{
    ClSDKLogger::SetSink(&SDKLogSink);
}
