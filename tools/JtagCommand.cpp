#include "tools/JtagCommand.h"

#include <unistd.h>

#include <chrono>
#include <exception>

#include "device/jtag/XsvfPlayer.h"
#include "emulator/jtag/SimulatedTapChain.h"
#include "sdk/Exception.h"

namespace {

const char* const kTapStateNames[kTapStateCount] = {
    "Test-Logic-Reset", "Run-Test/Idle", "Select-DR-Scan", "Capture-DR", "Shift-DR", "Exit1-DR",
    "Pause-DR",         "Exit2-DR",      "Update-DR",      "Select-IR-Scan", "Capture-IR", "Shift-IR",
    "Exit1-IR",         "Pause-IR",      "Exit2-IR",       "Update-IR"};

// A vector's bytes as one hexadecimal number (they are stored most significant
// first); long ones are cut, as nobody reads thousands of digits.
std::string HexOf(const StXsvfBitVector& vector)
{
    constexpr size_t kShownBytes = 16;
    std::string strHex = "0x";
    char szByte[3];
    for (size_t i = 0; i < vector.m_usLength && i < kShownBytes; ++i) {
        snprintf(szByte, sizeof(szByte), "%02X", vector.m_aucData[i]);
        strHex += szByte;
    }
    return vector.m_usLength > kShownBytes ? strHex + "..." : strHex;
}

// Commands done and bytes read. A stream of a few megabytes has hundreds of
// thousands of commands, so the line is redrawn in place on a terminal ten
// times a second at most, and a log (file, pipe) gets a plain line a second;
// a short run shows its last state only.
class ClProgressLine
{
public:
    ClProgressLine(FILE* pOut, bool bInteractive)
        : m_pOut(pOut), m_bInteractive(bInteractive), m_interval(bInteractive ? 100 : 1000),
          m_next(std::chrono::steady_clock::now() + m_interval)
    {
    }

    void Show(const StXsvfProgress& progress)
    {
        const auto now = std::chrono::steady_clock::now();
        if (now < m_next)
            return;
        m_next = now + m_interval;
        Draw(progress);
    }

    // The state the run ended in; also ends the line a terminal was redrawing.
    void Finish(const StXsvfProgress& progress)
    {
        Draw(progress);
        if (m_bInteractive)
            fputc('\n', m_pOut);
    }

    // A run that broke off: the line stays as it was drawn last.
    void BreakOff()
    {
        if (m_bInteractive && m_bDrawn)
            fputc('\n', m_pOut);
    }

private:
    void Draw(const StXsvfProgress& progress)
    {
        if (m_bInteractive)
            fputc('\r', m_pOut);
        fprintf(m_pOut, "%llu commands, %llu", static_cast<unsigned long long>(progress.uiCommands),
                static_cast<unsigned long long>(progress.uiBytesRead));
        if (progress.uiBytesTotal != 0)   // a pipe has no length
            fprintf(m_pOut, " of %llu", static_cast<unsigned long long>(progress.uiBytesTotal));
        fputs(m_bInteractive ? " bytes\x1b[K" : " bytes\n", m_pOut);
        fflush(m_pOut);
        m_bDrawn = true;
    }

    FILE* m_pOut;
    bool m_bInteractive;
    bool m_bDrawn = false;
    std::chrono::milliseconds m_interval;
    std::chrono::steady_clock::time_point m_next;
};

}  // namespace

int RunJtagCommand(const std::string& strPath, bool bVirtual, FILE* pOut, FILE* pErr)
{
    // The player's packets go to a numbered pipe of the device and the TDO bit
    // comes back as the reply to a transfer; the scanner's HID interface offers
    // neither, and the device end of the chain is not known to this SDK. So
    // hardware is refused rather than played on a guess.
    if (!bVirtual) {
        fprintf(pErr,
                "kr9: jtag: playing on a scanner needs a link to its JTAG chain, which this SDK does not have; "
                "--virtual plays the file against a simulated chain\n");
        return 1;
    }
    const ClSimulatedTapChain::StConfig config;
    ClSimulatedTapChain chain(config);
    ClSimulatedJtagLink link(chain);
    ClXsvfPlayer player(link);
    ClProgressLine line(pOut, isatty(fileno(pOut)) != 0);
    int32_t iError = eXsvfNoError;
    try {
        iError = player.PlayFile(strPath, [&line](const StXsvfProgress& progress) { line.Show(progress); });
    } catch (const ClException& e) {
        line.BreakOff();
        fprintf(pErr, "kr9: playing \"%s\": error %d: %s\n", strPath.c_str(), e.GetCode(),
                GetErrorMessage(e.GetCode()));
        return 1;
    } catch (const std::exception& e) {
        line.BreakOff();
        fprintf(pErr, "kr9: playing \"%s\": %s\n", strPath.c_str(), e.what());
        return 1;
    }
    line.Finish(player.GetProgress());

    const StXsvfInfo& info = player.GetInfo();
    if (iError != eXsvfNoError) {
        fprintf(pErr, "kr9: playing \"%s\": command 0x%02x ending at byte %llu: %s\n", strPath.c_str(),
                info.m_ucCommand, static_cast<unsigned long long>(player.GetProgress().uiBytesRead),
                XsvfErrorText(iError));
        if (iError == eXsvfErrorUnknown)   // the player's one reason for it
            fprintf(pErr, "kr9: the stream ends before its XCOMPLETE\n");
        if (iError == eXsvfErrorTdoMismatch || iError == eXsvfErrorMaxRetries)
            fprintf(pErr, "kr9: TDO read %s, expected %s\n", HexOf(info.m_aTdoCaptured).c_str(),
                    HexOf(info.m_aTdoExpected).c_str());
        return 1;
    }
    // What the simulated device holds now, so that a run shows it reached something.
    fprintf(pOut, "Simulated chain of one device, IDCODE 0x%08X: TAP state %s, instruction 0x%02llX", config.uiIdcode,
            kTapStateNames[chain.GetTapState() % kTapStateCount],
            static_cast<unsigned long long>(chain.GetInstruction()));
    if (info.m_aTdoCaptured.m_usLength != 0)
        fprintf(pOut, ", last TDO read %s", HexOf(info.m_aTdoCaptured).c_str());
    fprintf(pOut, "\n%s\n", XsvfErrorText(iError));
    return 0;
}
