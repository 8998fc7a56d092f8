// Test helper: the two logging variables set for one scope, and the settings
// of the library as it loaded restored afterwards.
#pragma once

#include <cstdlib>

#include "sdk/OcqLogging.h"

class ScopedLogEnvironment
{
public:
    // A null value leaves the variable unset.
    ScopedLogEnvironment(const char* pszEnabled, const char* pszLevel = nullptr)
    {
        Set("QUORVANE_SDK_LOG", pszEnabled);
        Set("QUORVANE_SDK_LOG_LEVEL", pszLevel);
        ConfigureLoggingFromEnvironment();
    }
    ~ScopedLogEnvironment()
    {
        unsetenv("QUORVANE_SDK_LOG");
        unsetenv("QUORVANE_SDK_LOG_LEVEL");
        ConfigureLoggingFromEnvironment();
        SetLogDebugOutFunction(nullptr);
    }

private:
    static void Set(const char* pszName, const char* pszValue)
    {
        if (pszValue != nullptr)
            setenv(pszName, pszValue, 1);
        else
            unsetenv(pszName);
    }
};
