// KR9_VIRTUAL_SCANNERS=SERIAL[,SERIAL...]: virtual scanners with a scripted
// touch, plugged when the library loads, so that an application that knows
// nothing of the emulator can be run and tried without hardware. A
// development aid: without the variable nothing happens here.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "KR9Emulator.h"

namespace {

// A touch that a capture accepts within about two seconds, held long enough to look at.
constexpr uint32_t kPressMs = 600;
constexpr uint32_t kHoldMs = 2500;

uint32_t SeedOf(const std::string& strSerial)
{
    uint32_t uiSeed = 0;
    for (char c : strSerial)
        uiSeed = uiSeed * 31u + static_cast<uint8_t>(c);
    return uiSeed;
}

void PlugFromEnvironment()
{
    const char* pszList = getenv("KR9_VIRTUAL_SCANNERS");
    if (pszList == nullptr)
        return;
    const std::string strList(pszList);
    size_t uiBegin = 0;
    while (uiBegin <= strList.size()) {
        size_t uiEnd = strList.find(',', uiBegin);
        if (uiEnd == std::string::npos)
            uiEnd = strList.size();
        const std::string strSerial = strList.substr(uiBegin, uiEnd - uiBegin);
        uiBegin = uiEnd + 1;
        if (strSerial.empty())
            continue;
        KR9EMU_Device* pDevice = KR9EMU_Plug(strSerial.c_str());
        // Logging is not set up this early, and a silent miss would puzzle the
        // person who set the variable: say it on stderr.
        if (pDevice == nullptr)
            fprintf(stderr, "KR9_VIRTUAL_SCANNERS: cannot plug \"%s\" (0 to 8 characters, each serial once)\n",
                    strSerial.c_str());
        else
            KR9EMU_Touch(pDevice, SeedOf(strSerial), kPressMs, kHoldMs);
    }
}

// Runs while the library loads, before the application's main.
const bool s_bPlugged = (PlugFromEnvironment(), true);

}  // namespace
