// The frame around every exported function but the two frameless ones: an
// Enter line, the body, a Leave line and 0; or, when a ClException comes out,
// an Error line with the code and its table message, and the code. Only
// ClException is caught: anything else is a defect that must not be hidden
// behind a result code.
#pragma once

#include <cstdint>

#include "sdk/Exception.h"
#include "sdk/TactiviewKR9.h"

// The three line formats of one family of exported functions. The function's
// name is always the first argument; the family decides the rest.
struct StFrameFormats
{
    const char* pszEnter;
    const char* pszLeave;
    const char* pszError;
};

// Functions without arguments worth logging; the second argument is "".
constexpr StFrameFormats g_frameDefault = {"%s%s Enter", "%s%s Leave", "%s%s Error(%d): %s"};
constexpr StFrameFormats g_framePointer = {"%s(%p) Enter", "%s(%p) Leave", "%s(%p) Error(%d): %s"};
constexpr StFrameFormats g_frameVoid = {"%s(void) Enter", "%s(void) Leave", "%s(void) Error(%d): %s"};
constexpr StFrameFormats g_frameNameAndPointer = {"%s(%s, %p) Enter", "%s(%s, %p) Leave",
                                                  "%s(%s, %p) Error(%d): %s"};
constexpr StFrameFormats g_frameMode = {"%s(%d) Enter", "%s(%d) Leave", "%s(%d) Error(%d): %s"};
constexpr StFrameFormats g_frameThreePointers = {"%s(%p, %p, %p) Enter", "%s(%p, %p, %p) Leave",
                                                 "%s(%p, %p, %p) Error(%d): %s"};
constexpr StFrameFormats g_frameTwoPointersAndLong = {"%s(%p, %p, %ld) Enter", "%s(%p, %p, %ld) Leave",
                                                      "%s(%p, %p, %ld) Error(%d): %s"};
constexpr StFrameFormats g_frameFourPointers = {"%s(%p, %p, %p, %p) Enter", "%s(%p, %p, %p, %p) Leave",
                                                "%s(%p, %p, %p, %p) Error(%d): %s"};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// Logs the Error line of a failed call. A failure of the logger itself at this
// point must not replace the call's own result, nor escape through the C
// interface, so it is dropped.
template <typename... TArgs>
void LogFrameError(const StFrameFormats& formats, const char* pszFunction, int32_t nCode, TArgs... args)
{
    try {
        ClTactiviewKR9::Log(eLogError, formats.pszError, pszFunction, args..., nCode, GetErrorMessage(nCode));
    } catch (const ClException&) {
    }
}

// Runs body() inside the frame. args are the values the family's formats print
// behind the function name.
template <typename TBody, typename... TArgs>
int32_t RunInFrame(const StFrameFormats& formats, const char* pszFunction, TBody&& body, TArgs... args)
{
    try {
        ClTactiviewKR9::Log(eLogDebug, formats.pszEnter, pszFunction, args...);
        body();
        ClTactiviewKR9::Log(eLogDebug, formats.pszLeave, pszFunction, args...);
        return ZRT_SUCCESS;
    } catch (const ClException& ex) {
        LogFrameError(formats, pszFunction, ex.GetCode(), args...);
        return ex.GetCode();
    }
}

#pragma GCC diagnostic pop
