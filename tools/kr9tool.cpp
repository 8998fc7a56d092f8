// kr9tool: the command-line companion of the KR9 SDK. For now it loads the
// library, initialises it, and reports the version it was built for and the
// library's answer to the interface compatibility check.
#include <cstdio>
#include <cstring>

#include "QuorvaneTactiviewKR9.h"

namespace {

int Report(const char* pszCall, int32_t nResult)
{
    printf("%-36s %4d  %s\n", pszCall, nResult, TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(nResult)));
    return nResult == 0 ? 0 : 1;
}

void PrintUsage()
{
    printf("usage: kr9tool [--check VERSION]\n"
           "  Loads the KR9 SDK and reports its version and whether it serves\n"
           "  interface VERSION (default 2.7).\n");
}

}  // namespace

int main(int argc, char** argv)
{
    const char* pszInterfaceVersion = "2.7";
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--check") == 0 && i + 1 < argc) {
            pszInterfaceVersion = argv[++i];
        } else {
            PrintUsage();
            return strcmp(argv[i], "--help") == 0 ? 0 : 2;
        }
    }

    printf("KR9 SDK (libQuorvaneTactiviewKR9) version %s\n", KR9_TOOL_SDK_VERSION);
    int nFailures = Report("TV_KR9Initialize", TV_KR9Initialize(nullptr));
    char szCall[64];
    snprintf(szCall, sizeof(szCall), "TV_KR9CompatibilityCheck(\"%.20s\")", pszInterfaceVersion);
    nFailures += Report(szCall, TV_KR9CompatibilityCheck(pszInterfaceVersion));
    nFailures += Report("TV_KR9Uninitialize", TV_KR9Uninitialize());
    return nFailures == 0 ? 0 : 1;
}
