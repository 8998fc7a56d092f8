// Test helper: runs the log probe program (programs/log_probe.c) with logging
// variables set and returns its exit status and everything it printed.
#pragma once

#include <array>
#include <cstdio>
#include <string>

struct ProbeRun
{
    int nExitStatus;
    std::string strOutput;
};

// Runs the log probe with the given environment assignments and calls.
inline ProbeRun RunProbe(const std::string& strEnvironment, const std::string& strCalls)
{
    const std::string strCommand = "env -u QUORVANE_SDK_LOG -u QUORVANE_SDK_LOG_LEVEL " + strEnvironment + " " +
                                   KR9_LOG_PROBE + " " + strCalls;
    FILE* pPipe = popen(strCommand.c_str(), "r");
    if (pPipe == nullptr)
        return {-1, ""};
    std::string strOutput;
    std::array<char, 512> buffer;
    size_t nRead;
    while ((nRead = fread(buffer.data(), 1, buffer.size(), pPipe)) > 0)
        strOutput.append(buffer.data(), nRead);
    return {pclose(pPipe), strOutput};
}
