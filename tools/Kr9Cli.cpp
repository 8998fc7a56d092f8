// The subcommands of `kr9`. Built on the public headers only: this is also the
// reference for an application's use of the SDK. `kr9 jtag` alone needs the
// SDK's inside and lives apart, in JtagCommand.
#include "tools/Kr9Cli.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/ImageFiles.h"
#include "tools/JtagCommand.h"
#include "KR9Emulator.h"
#include "QuorvaneTactiviewKR9.h"
#include "tools/TerminalView.h"

namespace {

constexpr uint32_t kWidth = KR9EMU_FRAME_WIDTH;
constexpr uint32_t kHeight = KR9EMU_FRAME_HEIGHT;
constexpr uint32_t kDpi = 500;
// Pixels of at most this value are finger: the capture paints everything else white.
constexpr uint8_t kDarkestNonFinger = 240;
// TV_KR9GetImage leaves *pStatus alone when no new image came; no status is positive.
constexpr int32_t kNoNewImage = 1;
// A virtual scanner's touch: pressed for 0.6 s, then held for 2.5 s.
constexpr uint32_t kVirtualPressMs = 600;
constexpr uint32_t kVirtualHoldMs = 2500;
constexpr const char* kVirtualSerial = "VIRTUAL";

volatile sig_atomic_t s_bInterrupted = 0;

void OnInterrupt(int)
{
    s_bInterrupted = 1;
}

struct StOptions
{
    std::string strCommand;
    std::string strName;
    std::string strOutput;
    std::string strMask;
    std::string strXsvfFile;   // jtag
    double dTimeoutS = 30.0;
    long nFrames = -1;   // preview: no limit
    bool bVirtual = false;
    uint32_t uiSeed = 1;
    bool bHelp = false;
};

const char* const kUsage =
    "usage: kr9 COMMAND [options]   (kr9 COMMAND --help for more)\n"
    "  list                  the attached scanners, one a line\n"
    "  info [NAME]           serial number, versions, image size and resolution\n"
    "  capture [NAME] -o FILE.png   captures one fingerprint into a PNG (or .pgm)\n"
    "  preview [NAME]        a live view in the terminal until the image is final\n"
    "  jtag FILE.xsvf        plays an XSVF file on the JTAG chain (--virtual: a simulated one)\n"
    "The scanner commands take --virtual[=SEED]: a virtual scanner whose synthetic finger\n"
    "is placed, pressed, held and lifted by itself, so no hardware is needed.\n";

const char* HelpOf(const std::string& strCommand)
{
    if (strCommand == "list")
        return "usage: kr9 list [--virtual[=SEED]]\n"
               "  Prints the names of the attached scanners, one a line; exits 1 when there is none.\n";
    if (strCommand == "info")
        return "usage: kr9 info [NAME] [--virtual[=SEED]]\n"
               "  Prints serial number, version string, image size, resolution and the\n"
               "  property \"Version\" of the scanner NAME (the only one when left out).\n";
    if (strCommand == "capture")
        return "usage: kr9 capture [NAME] -o FILE.png [--mask MASK.png] [--timeout SECONDS] [--virtual[=SEED]]\n"
               "  Captures one fingerprint from scanner NAME (the only one when left out) and\n"
               "  writes it as an 8-bit grayscale PNG of 500 dpi; FILE.pgm writes a PGM.\n"
               "  --mask      also writes the finger area: white where the image is finger\n"
               "              (240 and darker), black elsewhere\n"
               "  --timeout   gives up after SECONDS without a final image (default 30)\n";
    if (strCommand == "preview")
        return "usage: kr9 preview [NAME] [--frames N] [--virtual[=SEED]]\n"
               "  Shows the live image in the terminal, with the finger area and whether the\n"
               "  image is steady, until the image is final or Ctrl-C.\n"
               "  --frames N  ends after N images\n";
    if (strCommand == "jtag")
        return "usage: kr9 jtag FILE.xsvf --virtual\n"
               "  Plays the XSVF file command by command, showing the commands done and the\n"
               "  bytes read, and ends with the player's outcome: \"No error\" and exit code 0\n"
               "  when the stream ran to its end, else the error and exit code 1.\n"
               "  --virtual   plays against a simulated chain of one device and shows the\n"
               "              TAP state and the last TDO read it ended with. Without it kr9\n"
               "              refuses: it has no link to a real scanner's JTAG chain.\n";
    return nullptr;
}

// One line for every failure: what failed, the code and the SDK's text for it.
int Fail(FILE* pErr, const std::string& strWhat, int32_t nCode)
{
    fprintf(pErr, "kr9: %s: error %d: %s\n", strWhat.c_str(), nCode,
            TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(nCode)));
    return 1;
}

int Usage(FILE* pErr, const std::string& strProblem)
{
    fprintf(pErr, "kr9: %s\n%s", strProblem.c_str(), kUsage);
    return 2;
}

bool ParseNumber(const char* pszText, double dMin, double dMax, double& dValue)
{
    char* pEnd = nullptr;
    dValue = strtod(pszText, &pEnd);
    return pEnd != pszText && *pEnd == '\0' && dValue >= dMin && dValue <= dMax;
}

// Returns an empty string, or what is wrong with the command line.
std::string Parse(int argc, char** argv, StOptions& options)
{
    if (argc < 2)
        return "no command";
    options.strCommand = argv[1];
    if (options.strCommand == "--help" || options.strCommand == "-h") {
        options.bHelp = true;
        return std::string();
    }
    if (HelpOf(options.strCommand) == nullptr)
        return "unknown command \"" + options.strCommand + "\"";
    for (int i = 2; i < argc; ++i) {
        const std::string strArg = argv[i];
        const bool bHasValue = i + 1 < argc;
        double dValue = 0.0;
        if (strArg == "--help" || strArg == "-h") {
            options.bHelp = true;
        } else if (strArg == "--virtual") {
            options.bVirtual = true;
        } else if (strArg.compare(0, 10, "--virtual=") == 0 && options.strCommand != "jtag") {
            if (!ParseNumber(argv[i] + 10, 0, 4294967295.0, dValue))
                return "--virtual=SEED needs a whole number";
            options.bVirtual = true;
            options.uiSeed = static_cast<uint32_t>(dValue);
        } else if ((strArg == "-o" || strArg == "--output") && bHasValue && options.strCommand == "capture") {
            options.strOutput = argv[++i];
        } else if (strArg == "--mask" && bHasValue && options.strCommand == "capture") {
            options.strMask = argv[++i];
        } else if (strArg == "--timeout" && bHasValue && options.strCommand == "capture") {
            if (!ParseNumber(argv[++i], 0.1, 86400.0, options.dTimeoutS))
                return "--timeout needs a number of seconds";
        } else if (strArg == "--frames" && bHasValue && options.strCommand == "preview") {
            if (!ParseNumber(argv[++i], 1, 1e9, dValue))
                return "--frames needs a positive whole number";
            options.nFrames = static_cast<long>(dValue);
        } else if (strArg[0] != '-' && options.strXsvfFile.empty() && options.strCommand == "jtag") {
            options.strXsvfFile = strArg;
        } else if (strArg[0] != '-' && options.strName.empty() && options.strCommand != "list" &&
                   options.strCommand != "jtag") {
            options.strName = strArg;
        } else {
            return "unexpected argument \"" + strArg + "\" for " + options.strCommand;
        }
    }
    if (options.strCommand == "capture" && options.strOutput.empty() && !options.bHelp)
        return "capture needs -o FILE.png";
    if (options.strCommand == "jtag" && options.strXsvfFile.empty() && !options.bHelp)
        return "jtag needs FILE.xsvf";
    return std::string();
}

// The names of the attached scanners, or the failing code of TV_KR9QueryScanners.
int32_t QueryScanners(std::vector<std::string>& names)
{
    uint64_t uiCount = 0;
    int32_t nResult = TV_KR9QueryScanners(nullptr, &uiCount);
    if (nResult != ZRT_SUCCESS && nResult != ZRT_ERROR_SIZE_TOO_SMALL)
        return nResult;
    // A scanner plugged between the two calls would make the second fail with -702: room for a few more.
    std::vector<char> records(TV_KR9_SCANNER_NAME_SIZE * (uiCount + 4));
    uiCount += 4;
    nResult = TV_KR9QueryScanners(records.data(), &uiCount);
    if (nResult != ZRT_SUCCESS)
        return nResult;
    names.clear();
    for (uint64_t i = 0; i < uiCount; ++i) {
        const char* pRecord = records.data() + i * TV_KR9_SCANNER_NAME_SIZE;
        names.emplace_back(pRecord, strnlen(pRecord, TV_KR9_SCANNER_NAME_SIZE));   // records are not always terminated
    }
    return ZRT_SUCCESS;
}

int List(FILE* pOut, FILE* pErr)
{
    std::vector<std::string> names;
    const int32_t nResult = QueryScanners(names);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "listing the scanners", nResult);
    if (names.empty()) {
        fprintf(pErr, "kr9: no scanner attached (try --virtual)\n");
        return 1;
    }
    for (const std::string& strName : names)
        fprintf(pOut, "%s\n", strName.c_str());
    return 0;
}

// Opens the scanner that the options name (the only one when none is named).
// The session is closed again when the object goes.
class ClOpenScanner
{
public:
    ~ClOpenScanner()
    {
        if (m_hScanner != nullptr)
            TV_KR9CloseScanner(&m_hScanner);
    }

    // 0 on success; otherwise the failure is reported and the exit code returned.
    int Open(const StOptions& options, FILE* pErr)
    {
        std::string strName = options.strName;
        if (strName.empty() && options.bVirtual)
            strName = std::string("KR9 ") + kVirtualSerial;
        if (strName.empty()) {
            std::vector<std::string> names;
            const int32_t nResult = QueryScanners(names);
            if (nResult != ZRT_SUCCESS)
                return Fail(pErr, "listing the scanners", nResult);
            if (names.empty()) {
                fprintf(pErr, "kr9: no scanner attached (try --virtual)\n");
                return 1;
            }
            if (names.size() > 1) {
                fprintf(pErr, "kr9: %zu scanners attached: name one (kr9 list shows them)\n", names.size());
                return 1;
            }
            strName = names[0];
        }
        m_strName = strName;
        const int32_t nResult = TV_KR9OpenScanner(strName.c_str(), &m_hScanner);
        if (nResult != ZRT_SUCCESS)
            return Fail(pErr, "opening \"" + strName + "\"", nResult);
        return 0;
    }

    // Open, then mode 0: the capture thread starts. 0 or the exit code, as Open.
    int OpenAndCapture(const StOptions& options, FILE* pErr)
    {
        if (const int nExit = Open(options, pErr))
            return nExit;
        const int32_t nResult = TV_KR9SetCaptureMode(m_hScanner, 0);
        if (nResult != ZRT_SUCCESS)
            return Fail(pErr, "starting the capture", nResult);
        return 0;
    }

    void* Handle() const { return m_hScanner; }
    const std::string& Name() const { return m_strName; }

private:
    void* m_hScanner = nullptr;
    std::string m_strName;
};

int Info(const StOptions& options, FILE* pOut, FILE* pErr)
{
    ClOpenScanner scanner;
    if (const int nExit = scanner.Open(options, pErr))
        return nExit;
    void* hScanner = scanner.Handle();
    char szSerial[TV_KR9_SCANNER_NAME_SIZE + 1] = {};
    int32_t nResult = TV_KR9GetSerialNumber(hScanner, szSerial);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "reading the serial number", nResult);
    uint64_t uiSize = 0;
    nResult = TV_KR9GetVersionString(hScanner, nullptr, &uiSize);   // learns the length
    std::vector<char> version(uiSize + 1, '\0');
    if (nResult == ZRT_ERROR_SIZE_TOO_SMALL || nResult == ZRT_ERROR_BAD_POINTER)
        nResult = TV_KR9GetVersionString(hScanner, version.data(), &uiSize);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "reading the version string", nResult);
    uint64_t uiWidth = 0, uiHeight = 0, uiDpiX = 0, uiDpiY = 0;
    nResult = TV_KR9GetImageSize(hScanner, &uiWidth, &uiHeight);
    if (nResult == ZRT_SUCCESS)
        nResult = TV_KR9GetImageDPI(hScanner, &uiDpiX, &uiDpiY);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "reading the image geometry", nResult);
    char szProperty[256] = {};
    uint64_t uiPropertySize = sizeof(szProperty);
    nResult = TV_KR9GetPropertyA(hScanner, "Version", szProperty, &uiPropertySize);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "reading the property \"Version\"", nResult);
    fprintf(pOut,
            "Scanner:            %s\n"
            "Serial number:      %s\n"
            "Version string:     %s\n"
            "Image size:         %llu x %llu pixels\n"
            "Resolution:         %llu x %llu dpi\n"
            "Property \"Version\": %s\n",
            scanner.Name().c_str(), szSerial, version.data(), static_cast<unsigned long long>(uiWidth),
            static_cast<unsigned long long>(uiHeight), static_cast<unsigned long long>(uiDpiX),
            static_cast<unsigned long long>(uiDpiY), szProperty);
    return 0;
}

size_t FingerArea(const std::vector<uint8_t>& image)
{
    size_t uiArea = 0;
    for (uint8_t ucValue : image)
        uiArea += ucValue <= kDarkestNonFinger ? 1 : 0;
    return uiArea;
}

// One fetch: 0 with bNew false when no image came, the failing code otherwise.
int32_t Fetch(void* hScanner, std::vector<uint8_t>& image, bool& bNew, bool& bFinal)
{
    uint64_t uiReserved = 0;
    uint8_t ucFinal = 0;
    int32_t nStatus = kNoNewImage;
    const int32_t nResult = TV_KR9GetImage(hScanner, image.data(), &uiReserved, &ucFinal, &nStatus);
    if (nResult != ZRT_SUCCESS)
        return nResult;
    bNew = nStatus != kNoNewImage;
    bFinal = bNew && ucFinal != 0;
    return bNew ? nStatus : ZRT_SUCCESS;
}

int Capture(const StOptions& options, FILE* pOut, FILE* pErr)
{
    ClOpenScanner scanner;
    if (const int nExit = scanner.OpenAndCapture(options, pErr))
        return nExit;

    enum class EStage { eWaiting, eFingerOn } eStage = EStage::eWaiting;
    fprintf(pOut, "Place a finger on the scanner\n");
    fflush(pOut);
    std::vector<uint8_t> image(kWidth * kHeight);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(options.dTimeoutS);
    bool bFinal = false;
    while (!bFinal) {
        if (std::chrono::steady_clock::now() > deadline) {
            fprintf(pErr, "kr9: no final image from \"%s\" within %g s: error %d: %s\n", scanner.Name().c_str(),
                    options.dTimeoutS, ZRT_ERROR_BITMAP_NO_FINGER,
                    TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(ZRT_ERROR_BITMAP_NO_FINGER)));
            return 1;
        }
        bool bNew = false;
        const int32_t nResult = Fetch(scanner.Handle(), image, bNew, bFinal);
        if (nResult != ZRT_SUCCESS)
            return Fail(pErr, "capturing from \"" + scanner.Name() + "\"", nResult);
        if (!bNew || bFinal)
            continue;
        // The guidance follows the finger: a white preview means none lies on the sensor.
        const bool bFingerOn = FingerArea(image) > 0;
        if (bFingerOn && eStage == EStage::eWaiting) {
            fprintf(pOut, "Hold still\n");
            eStage = EStage::eFingerOn;
        } else if (!bFingerOn && eStage == EStage::eFingerOn) {
            fprintf(pOut, "Place a finger on the scanner\n");
            eStage = EStage::eWaiting;
        }
        fflush(pOut);
    }

    std::string strProblem = WriteGrayImage(options.strOutput, image.data(), kWidth, kHeight, kDpi);
    if (strProblem.empty() && !options.strMask.empty()) {
        std::vector<uint8_t> mask(image.size());
        for (size_t i = 0; i < image.size(); ++i)
            mask[i] = image[i] <= kDarkestNonFinger ? 255 : 0;
        strProblem = WriteGrayImage(options.strMask, mask.data(), kWidth, kHeight, kDpi);
    }
    if (!strProblem.empty()) {
        fprintf(pErr, "kr9: %s: error %d: %s\n", strProblem.c_str(), ZRT_ERROR_WRITE_FAIL,
                TV_KR9GetErrorDescriptionA(static_cast<uint32_t>(ZRT_ERROR_WRITE_FAIL)));
        return 1;
    }
    fprintf(pOut, "Captured: %s (%u x %u pixels, %u dpi)\n", options.strOutput.c_str(), kWidth, kHeight, kDpi);
    return 0;
}

// Ctrl-C ends the preview through the loop, so that the terminal is restored on the way out.
class ClInterruptGuard
{
public:
    ClInterruptGuard()
    {
        s_bInterrupted = 0;
        struct sigaction action = {};
        action.sa_handler = OnInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_Previous);
    }
    ~ClInterruptGuard() { sigaction(SIGINT, &m_Previous, nullptr); }
    ClInterruptGuard(const ClInterruptGuard&) = delete;
    ClInterruptGuard& operator=(const ClInterruptGuard&) = delete;

private:
    struct sigaction m_Previous = {};
};

int Preview(const StOptions& options, FILE* pOut, FILE* pErr)
{
    ClOpenScanner scanner;
    if (const int nExit = scanner.OpenAndCapture(options, pErr))
        return nExit;

    ClInterruptGuard interruptGuard;
    std::vector<uint8_t> image(kWidth * kHeight);
    long nFrames = 0;
    size_t uiPreviousArea = 0;
    bool bFinal = false;
    int32_t nResult = ZRT_SUCCESS;
    {
        ClTerminalView view(pOut, isatty(fileno(pOut)) != 0);
        while (!bFinal && !s_bInterrupted && (options.nFrames < 0 || nFrames < options.nFrames)) {
            bool bNew = false;
            nResult = Fetch(scanner.Handle(), image, bNew, bFinal);
            if (nResult != ZRT_SUCCESS)
                break;
            if (!bNew)
                continue;
            ++nFrames;
            const size_t uiArea = FingerArea(image);
            // Steady as the capture judges it: the area changes by less than 5 % from frame to frame.
            const bool bSteady = uiArea > 0 && uiPreviousArea > 0 &&
                                 (uiArea > uiPreviousArea ? uiArea - uiPreviousArea : uiPreviousArea - uiArea) * 20 <
                                     uiArea;
            uiPreviousArea = uiArea;
            char szStatus[160];
            snprintf(szStatus, sizeof(szStatus), "%s  frame %ld  finger area %zu pixels  %s", scanner.Name().c_str(),
                     nFrames, uiArea,
                     bFinal ? "steady: final image" : uiArea == 0 ? "no finger" : bSteady ? "steady" : "moving");
            view.Draw(image.data(), kWidth, kHeight, szStatus);
        }
    }
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "previewing \"" + scanner.Name() + "\"", nResult);
    return 0;
}

// A virtual scanner for the length of one command.
class ClVirtualScanner
{
public:
    ~ClVirtualScanner()
    {
        if (m_pDevice != nullptr)
            KR9EMU_Unplug(m_pDevice);
    }

    bool Plug(uint32_t uiSeed, FILE* pErr)
    {
        m_pDevice = KR9EMU_Plug(kVirtualSerial);
        if (m_pDevice == nullptr) {
            fprintf(pErr, "kr9: cannot plug the virtual scanner \"KR9 %s\": it is plugged already\n", kVirtualSerial);
            return false;
        }
        const int32_t nResult = KR9EMU_Touch(m_pDevice, uiSeed, kVirtualPressMs, kVirtualHoldMs);
        if (nResult != ZRT_SUCCESS) {
            Fail(pErr, "starting the virtual finger", nResult);
            return false;
        }
        return true;
    }

private:
    KR9EMU_Device* m_pDevice = nullptr;
};

int RunCommand(const StOptions& options, FILE* pOut, FILE* pErr)
{
    if (options.strCommand == "list")
        return List(pOut, pErr);
    if (options.strCommand == "info")
        return Info(options, pOut, pErr);
    if (options.strCommand == "capture")
        return Capture(options, pOut, pErr);
    return Preview(options, pOut, pErr);
}

}  // namespace

int RunKr9(int argc, char** argv, FILE* pOut, FILE* pErr)
{
    StOptions options;
    const std::string strProblem = Parse(argc, argv, options);
    if (!strProblem.empty())
        return Usage(pErr, strProblem);
    if (options.bHelp) {
        const char* pszHelp = HelpOf(options.strCommand);
        fputs(pszHelp != nullptr ? pszHelp : kUsage, pOut);
        return 0;
    }
    // The JTAG chain is not reached through a scanner session: no SDK, no virtual scanner.
    if (options.strCommand == "jtag")
        return RunJtagCommand(options.strXsvfFile, options.bVirtual, pOut, pErr);

    ClVirtualScanner virtualScanner;
    if (options.bVirtual && !virtualScanner.Plug(options.uiSeed, pErr))
        return 1;
    int32_t nResult = TV_KR9Initialize(nullptr);
    if (nResult != ZRT_SUCCESS)
        return Fail(pErr, "initialising the SDK", nResult);
    const int nExit = RunCommand(options, pOut, pErr);
    TV_KR9Uninitialize();
    return nExit;
}
