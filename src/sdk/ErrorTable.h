// The one table that translates result codes into texts, shared by the
// exported description lookup, the exception classes and the log lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <wchar.h>

#include "QuorvaneTactiviewKR9Codes.h"

struct StErrorTableRow
{
    int32_t nCode;
    const char* pszMessage;
    const wchar_t* pwszMessage;
    const char* pszName;
    const wchar_t* pwszName;
};

// Answer for every code that has no row.
extern const char* const g_pszUnknownErrorMessage;

// The rows in their fixed order (not sorted by value; some codes have two rows).
const StErrorTableRow* GetErrorTable(size_t* pnRows);

// First row of the code, or null. The code is compared as a 32-bit pattern.
const StErrorTableRow* FindErrorRow(int32_t nCode);

// Message of the first row of the code, else "Unknown error code.". Never null.
const char* GetErrorMessage(int32_t nCode);
