// The kr9 program: its subcommands run in-process against virtual scanners,
// and as a separate process where another process must hold the scanner.
#include <png.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "KR9Emulator.h"
#include "tools/Kr9Cli.h"
#include "QuorvaneTactiviewKR9.h"
#include "common/NistFrame.h"
// The oracle for the final image: the pipeline run here on the raw frame.
#include "imaging/FpImage.h"
#include "processors/IpKR9Mask.h"

namespace {

using Image = std::vector<uint8_t>;

struct StRun { int nExit; std::string strOut, strErr; };

std::string ReadBack(FILE* pFile)
{
    std::string strText(static_cast<size_t>(ftell(pFile)), '\0');
    rewind(pFile);
    strText.resize(fread(&strText[0], 1, strText.size(), pFile));
    fclose(pFile);
    return strText;
}

StRun Kr9(std::vector<std::string> args)
{
    args.insert(args.begin(), "kr9");
    std::vector<char*> argv;
    for (std::string& strArg : args)
        argv.push_back(&strArg[0]);
    FILE* pOut = tmpfile();
    FILE* pErr = tmpfile();
    const int nExit = RunKr9(static_cast<int>(argv.size()), argv.data(), pOut, pErr);
    return {nExit, ReadBack(pOut), ReadBack(pErr)};
}

struct StPng { png_uint_32 uiWidth = 0, uiPixelsPerMetre = 0; Image pixels; };

// An 8-bit grayscale PNG of square pixels as libpng reads it; no pixels for anything else.
StPng DecodePng(const std::string& strPath)
{
    StPng png;
    FILE* pFile = fopen(strPath.c_str(), "rb");
    png_structp pPng = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop pInfo = png_create_info_struct(pPng);
    if (pFile != nullptr && !setjmp(png_jmpbuf(pPng))) {
        png_init_io(pPng, pFile);
        png_read_info(pPng, pInfo);
        png_uint_32 uiY = 0;
        int nUnit = 0;
        png_get_pHYs(pPng, pInfo, &png.uiPixelsPerMetre, &uiY, &nUnit);
        if (png_get_bit_depth(pPng, pInfo) == 8 && png_get_color_type(pPng, pInfo) == PNG_COLOR_TYPE_GRAY &&
            png.uiPixelsPerMetre == uiY && nUnit == PNG_RESOLUTION_METER) {
            png.uiWidth = png_get_image_width(pPng, pInfo);
            png.pixels.resize(static_cast<size_t>(png.uiWidth) * png_get_image_height(pPng, pInfo));
            for (size_t uiRow = 0; uiRow < png.pixels.size(); uiRow += png.uiWidth)
                png_read_row(pPng, png.pixels.data() + uiRow, nullptr);
        }
    }
    png_destroy_read_struct(&pPng, &pInfo, nullptr);
    if (pFile != nullptr)
        fclose(pFile);
    return png;
}

// A scanner that shows one real fingerprint in every frame: the final image is
// that frame through the pipeline, and the mask marks its dark pixels.
TEST(Kr9Program, CaptureWritesTheFinalImageAsPngOf500DpiAndItsMask)
{
    const Image frame = ReadNistFrame("loop-right");
    ASSERT_FALSE(frame.empty());
    ClImage input;
    input.Create(ClImage::uint8, KR9EMU_FRAME_WIDTH, KR9EMU_FRAME_HEIGHT, 1, 0, 0, true);
    memcpy(input.Data(), frame.data(), frame.size());
    ClImage output(KR9EMU_FRAME_WIDTH, KR9EMU_FRAME_HEIGHT);
    ClIpKR9Mask().Run(&input, &output);
    const Image expected(output.Data(), output.Data() + KR9EMU_FRAME_BYTES);

    KR9EMU_Device* pDevice = KR9EMU_Plug("TOOLPNG");
    KR9EMU_SetTiming(pDevice, 0, 0);
    KR9EMU_SetFrames(pDevice, frame.data(), 1);
    KR9EMU_SetFingerPresent(pDevice, 1);
    const StRun run = Kr9({"capture", "KR9 TOOLPNG", "-o", "kr9_test.png", "--mask", "kr9_test_mask.png"});
    KR9EMU_Unplug(pDevice);
    ASSERT_EQ(run.nExit, 0) << run.strErr;

    const StPng png = DecodePng("kr9_test.png");
    EXPECT_EQ(png.uiWidth, 256u);
    EXPECT_EQ(png.uiPixelsPerMetre, 19685u);   // 500 dpi
    EXPECT_TRUE(png.pixels == expected);
    Image expectedMask(expected.size());
    std::transform(expected.begin(), expected.end(), expectedMask.begin(),
                   [](uint8_t ucValue) { return ucValue <= 240 ? 255 : 0; });
    EXPECT_TRUE(DecodePng("kr9_test_mask.png").pixels == expectedMask);
}

// The scripted finger is placed, pressed and held like a real one: the guidance
// follows it, and the final image is a finger the decision accepted. A preview
// draws its pictures in half blocks and ends after the frames asked.
TEST(Kr9Program, VirtualScannerRunsGuideTheCaptureAndEndThePreview)
{
    const struct { std::vector<std::string> args, shown; const char* pszNotShown; } cases[] = {
        {{"capture", "--virtual=7", "-o", "kr9_test.pgm"},
         {"Place a finger on the scanner\nHold still\nCaptured: kr9_test.pgm"}, "frame "},
        {{"preview", "--virtual", "--frames", "4"}, {"frame 4 ", "\xe2\x96\x80"}, "frame 5 "},
    };
    for (const auto& c : cases) {
        const StRun run = Kr9(c.args);
        EXPECT_EQ(run.nExit, 0) << run.strErr;
        for (const std::string& strShown : c.shown) {
            EXPECT_NE(run.strOut.find(strShown), std::string::npos) << run.strOut;
        }
        EXPECT_EQ(run.strOut.find(c.pszNotShown), std::string::npos) << run.strOut;
    }
    std::ifstream file("kr9_test.pgm", std::ios::binary);
    const Image image((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_EQ(image.size(), 15 + size_t(KR9EMU_FRAME_BYTES));   // after "P5\n256 360\n255\n"
    EXPECT_GT(std::count_if(image.begin() + 15, image.end(), [](uint8_t v) { return v <= 240; }), 25000);
}

TEST(Kr9Program, FailuresGiveOneLineWithTheCodeAndExitNonZero)
{
    KR9EMU_Device* pIdle = KR9EMU_Plug("TOOLIDLE");
    KR9EMU_Device* pOther = KR9EMU_Plug("TOOLOTHR");
    const struct { std::vector<std::string> args; const char* pszMessage; } cases[] = {
        {{"capture", "KR9 NONE", "-o", "x.png"}, "kr9: opening \"KR9 NONE\": error -44: "},
        {{"capture", "KR9 TOOLIDLE", "-o", "x.png", "--timeout", "0.3"}, " within 0.3 s: error -15: "},
        {{"info"}, "kr9: 2 scanners attached: name one"},
    };
    for (const auto& c : cases) {
        const StRun run = Kr9(c.args);
        EXPECT_EQ(run.nExit, 1) << c.pszMessage;
        EXPECT_NE(run.strErr.find(c.pszMessage), std::string::npos) << run.strErr;
        EXPECT_EQ(std::count(run.strErr.begin(), run.strErr.end(), '\n'), 1) << run.strErr;
    }
    KR9EMU_Unplug(pIdle);
    KR9EMU_Unplug(pOther);
    const StRun none = Kr9({"list"});
    EXPECT_EQ(none.nExit, 1);
    EXPECT_EQ(none.strErr, "kr9: no scanner attached (try --virtual)\n");
}

TEST(Kr9Program, AScannerPulledDuringTheCaptureEndsItWithTheCode)
{
    // A finger pressed down so slowly that the capture is still going when the scanner goes.
    KR9EMU_Device* pDevice = KR9EMU_Plug("TOOLPULL");
    EXPECT_EQ(KR9EMU_Touch(pDevice, 3, 60001, 1000), ZRT_ERROR_INVALID_PARAMETER);   // no touch lasts minutes
    ASSERT_EQ(KR9EMU_Touch(pDevice, 3, 60000, 1000), ZRT_SUCCESS);
    StRun run{};
    std::thread capture([&run] { run = Kr9({"capture", "KR9 TOOLPULL", "-o", "x.png"}); });
    KR9EMU_Stats stats{};
    while (KR9EMU_GetStats(pDevice, &stats) == ZRT_SUCCESS && stats.chunksServed == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    KR9EMU_Unplug(pDevice);
    capture.join();
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr.find("kr9: capturing from \"KR9 TOOLPULL\": error -"), 0u) << run.strErr;
}

// The program as its own process, with KR9_VIRTUAL_SCANNERS plugging the
// same serial there while this process holds the scanner open.
TEST(Kr9Program, AScannerOpenInAnotherProcessIsReportedAsInUse)
{
    KR9EMU_Device* pDevice = KR9EMU_Plug("TOOLBUSY");
    void* hScanner = nullptr;
    ASSERT_EQ(TV_KR9Initialize(nullptr), ZRT_SUCCESS);
    ASSERT_EQ(TV_KR9OpenScanner("KR9 TOOLBUSY", &hScanner), ZRT_SUCCESS);
    FILE* pChild = popen("KR9_VIRTUAL_SCANNERS=TOOLBUSY " KR9_PROGRAM " capture 'KR9 TOOLBUSY' -o x.png 2>&1", "r");
    ASSERT_NE(pChild, nullptr);
    char szLine[512] = {};
    const bool bRead = fgets(szLine, sizeof(szLine), pChild) != nullptr;
    const int nStatus = pclose(pChild);
    TV_KR9CloseScanner(&hScanner);
    TV_KR9Uninitialize();
    KR9EMU_Unplug(pDevice);
    EXPECT_EQ(std::string(bRead ? szLine : "").find("kr9: opening \"KR9 TOOLBUSY\": error -61: "), 0u) << szLine;
    EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 1);
}

// XSVF files on the simulated chain: the seed stream reads the IDCODE and runs
// the TAP to Run-Test/Idle; a copy that expects another IDCODE, with no retries,
// stops at its compare; hardware, a missing file and a directory are refused.
TEST(Kr9Program, JtagPlaysXsvfFilesOnTheSimulatedChainAndEndsWithTheOutcome)
{
    std::ifstream seed(KR9_XSVF_CORPUS "/idcode.xsvf", std::ios::binary);
    std::string strStream((std::istreambuf_iterator<char>(seed)), std::istreambuf_iterator<char>());
    ASSERT_EQ(strStream.size(), 32u);
    strStream[1] = 0;                      // XREPEAT 0
    strStream[strStream.size() - 2] ^= 1;  // the expected IDCODE's last byte
    std::ofstream("kr9_wrong_idcode.xsvf", std::ios::binary) << strStream;
    const struct { std::vector<std::string> args; int nExit; const char* pszOut; const char* pszErr; } cases[] = {
        {{"jtag", KR9_XSVF_CORPUS "/idcode.xsvf", "--virtual"}, 0,
         "8 commands, 32 of 32 bytes\nSimulated chain of one device, IDCODE 0x0A5C3093: TAP state Run-Test/Idle, "
         "instruction 0x01, last TDO read 0x0A5C3093\nNo error\n", ""},
        {{"jtag", "--virtual", "kr9_wrong_idcode.xsvf"}, 1, "7 commands, 31 of 32 bytes\n",
         "kr9: playing \"kr9_wrong_idcode.xsvf\": command 0x09 ending at byte 31: ERROR:  TDO mismatch\n"
         "kr9: TDO read 0x0A5C3093, expected 0x0A5C3092\n"},
        {{"jtag", "kr9_missing.xsvf", "--virtual"}, 1, "",
         "kr9: playing \"kr9_missing.xsvf\": error -200: Failed to open the specified file.\n"},
        {{"jtag", ".", "--virtual"}, 1, "", "kr9: playing \".\": error -200: "},   // a directory is no stream
        {{"jtag", KR9_XSVF_CORPUS "/idcode.xsvf"}, 1, "", "kr9: jtag: playing on a scanner needs a link to its JTAG"},
    };
    for (const auto& c : cases) {
        const StRun run = Kr9(c.args);
        EXPECT_EQ(run.nExit, c.nExit) << run.strErr;
        EXPECT_EQ(run.strOut, c.pszOut);
        EXPECT_EQ(run.strErr.compare(0, strlen(c.pszErr), c.pszErr), 0) << run.strErr;
    }
}

}  // namespace
