// kr9tool: the command-line companion of the KR9 SDK. It loads the library,
// reports its version and interface compatibility, and lists the attached
// scanners; --virtual plugs virtual scanners first, so it works without hardware.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "KR9Emulator.h"
#include "QuorvaneTactiviewKR9.h"

namespace {

int Report(const char* pszCall, int32_t nResult)
{
    printf("%-36s %4d  %s\n", pszCall, nResult, TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(nResult)));
    return nResult == 0 ? 0 : 1;
}

void PrintUsage()
{
    printf("usage: kr9tool [--check VERSION] [--virtual SERIAL]...\n"
           "  Loads the KR9 SDK, reports its version, whether it serves interface\n"
           "  VERSION (default 2.7), and lists the attached scanners.\n"
           "  --virtual SERIAL  plugs a virtual scanner with that serial number first\n");
}

int ListScanners()
{
    uint64_t uiCount = 0;
    int32_t nResult = TV_KR9QueryScanners(nullptr, &uiCount);
    if (nResult != ZRT_SUCCESS && nResult != ZRT_ERROR_SIZE_TOO_SMALL)
        return Report("TV_KR9QueryScanners", nResult);
    std::vector<char> names(TV_KR9_SCANNER_NAME_SIZE * (uiCount + 1));
    nResult = TV_KR9QueryScanners(names.data(), &uiCount);
    if (nResult != ZRT_SUCCESS)
        return Report("TV_KR9QueryScanners", nResult);
    printf("%llu scanner(s) attached\n", static_cast<unsigned long long>(uiCount));
    for (uint64_t i = 0; i < uiCount; ++i) {
        const char* pRecord = names.data() + i * TV_KR9_SCANNER_NAME_SIZE;
        printf("  \"%.*s\"\n", static_cast<int>(strnlen(pRecord, TV_KR9_SCANNER_NAME_SIZE)), pRecord);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const char* pszInterfaceVersion = "2.7";
    std::vector<KR9EMU_Device*> virtualScanners;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--check") == 0 && i + 1 < argc) {
            pszInterfaceVersion = argv[++i];
        } else if (strcmp(argv[i], "--virtual") == 0 && i + 1 < argc) {
            KR9EMU_Device* pDevice = KR9EMU_Plug(argv[++i]);
            if (pDevice == nullptr) {
                fprintf(stderr, "kr9tool: cannot plug a virtual scanner \"%s\" (0 to 8 characters, not twice)\n",
                        argv[i]);
                return 2;
            }
            virtualScanners.push_back(pDevice);
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
    nFailures += ListScanners();
    nFailures += Report("TV_KR9Uninitialize", TV_KR9Uninitialize());
    for (KR9EMU_Device* pDevice : virtualScanners)
        KR9EMU_Unplug(pDevice);
    return nFailures == 0 ? 0 : 1;
}
