// The logging policy stack. Each policy adds one stage to the path a log
// line takes; the SDK class fixes the stack at compile time:
//   TpLogging<TpLogging<TpLoggingConfigurator<TpLoggingDebugOut<TpLoggingConsole<ClLoggingNone>>>>>
// The settings of every stage are process-wide and are read from the
// environment once when the library loads, so logging needs no call to set up.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// Level numbers follow syslog: 0 "Emergency" ... 7 "Debug"; the smaller, the more serious.
enum ELogLevel : int32_t
{
    eLogEmergency = 0,
    eLogAlert = 1,
    eLogCritical = 2,
    eLogError = 3,
    eLogWarning = 4,
    eLogNotice = 5,
    eLogInfo = 6,
    eLogDebug = 7,
};

// Capacity of the buffer a log text is formatted into, terminator included.
constexpr int kLogBufferSize = 1024;

// Receives one finished line, time stamp included, for a debugger-visible sink.
typedef void (*PFN_LOG_DEBUG_OUT)(const char* pszLine);

// "Emergency" ... "Debug" for 0 to 7, "Unknown" for any other number.
const char* GetLogLevelName(int32_t nLevel);

// Local time now, in the form "2017-Mar-09 14:05:31.250113" (no fraction when it is zero).
void FormatLogTimeStamp(char* pszBuffer, size_t nSize);

// Formats into a kLogBufferSize buffer; raises ZRT_ERROR_LOGGING for a null
// format, a formatting error or a text that does not fit.
void FormatLogText(char (&szText)[kLogBufferSize], const char* pszFormat, va_list args);

// Process-wide settings of the stages, written only while the library loads.
struct StLoggingSettings
{
    int32_t nConsoleLevelLimit;         // console stage: lines above this level are dropped
    PFN_LOG_DEBUG_OUT pfnDebugOut;      // debugger stage: null when the platform has no such channel
    bool bEnabled;                      // configurator stage: the master switch
};
const StLoggingSettings& GetLoggingSettings();

// Re-reads QUORVANE_SDK_LOG and QUORVANE_SDK_LOG_LEVEL; runs once at load time.
void ConfigureLoggingFromEnvironment();

// Binds the debugger channel. Linux has none, so the SDK never sets it; a
// platform port (or a test standing in for one) installs its writer here.
void SetLogDebugOutFunction(PFN_LOG_DEBUG_OUT pfnDebugOut);

// Console sink: "<time> [<level name>] - <text>" on standard output if the level passes the limit.
void WriteLogToConsole(int32_t nLevel, const char* pszText);
// Debugger sink: "<time>: <text>" to the bound function, whatever the level.
void WriteLogToDebugOut(const char* pszText);

class ClLoggingNone
{
public:
    virtual ~ClLoggingNone() = default;

protected:
    // The end of the stack: a line that gets here is dropped.
    static void Output(int32_t /*nLevel*/, const char* /*pszText*/) {}
};

template <class TBase>
class TpLoggingConsole : public TBase
{
public:
    ~TpLoggingConsole() override = default;

protected:
    static void Output(int32_t nLevel, const char* pszText) { WriteLogToConsole(nLevel, pszText); }
};

template <class TBase>
class TpLoggingDebugOut : public TBase
{
public:
    ~TpLoggingDebugOut() override = default;

protected:
    // The debugger channel, when bound, takes every line; the console serves otherwise.
    static void Output(int32_t nLevel, const char* pszText)
    {
        if (GetLoggingSettings().pfnDebugOut != nullptr)
            WriteLogToDebugOut(pszText);
        else
            TBase::Output(nLevel, pszText);
    }
};

template <class TBase>
class TpLoggingConfigurator : public TBase
{
public:
    ~TpLoggingConfigurator() override = default;

protected:
    static void Output(int32_t nLevel, const char* pszText)
    {
        if (GetLoggingSettings().bEnabled)
            TBase::Output(nLevel, pszText);
    }
};

template <class TBase>
class TpLogging : public TBase
{
public:
    ~TpLogging() override = default;

    // The text is formatted and checked before the switch is looked at, so an
    // overlong message fails the same way whether logging is on or off.
    static void Log(int32_t nLevel, const char* pszFormat, ...)
    {
        va_list args;
        va_start(args, pszFormat);
        char szText[kLogBufferSize];
        try {
            FormatLogText(szText, pszFormat, args);
        } catch (...) {
            va_end(args);
            throw;
        }
        va_end(args);
        TBase::Output(nLevel, szText);
    }

protected:
    using TBase::Output;
};

using ClSDKLogging = TpLogging<TpLogging<TpLoggingConfigurator<TpLoggingDebugOut<TpLoggingConsole<ClLoggingNone>>>>>;
