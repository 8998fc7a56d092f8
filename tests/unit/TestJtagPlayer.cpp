// XSVF streams played against the simulated chain: what the device ends up
// holding and in which TAP state, the outcomes of compares and retries, the
// errors of bad streams, and that no stream is read past its end.
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "device/jtag/XsvfPlayer.h"
#include "emulator/jtag/SimulatedTapChain.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kIdcode = 0x0A5C3093;
constexpr uint8_t kUserInstruction = 0x05;   // selects the 24-bit data register

Bytes Be(uint32_t uiValue, int nBytes)
{
    Bytes bytes;
    for (int i = nBytes - 1; i >= 0; --i)
        bytes.push_back(static_cast<uint8_t>(uiValue >> (8 * i)));
    return bytes;
}

Bytes Cat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Reads the IDCODE of the chain against an expected value.
Bytes IdcodeStream(uint32_t uiExpected, uint8_t ucRepeat, uint32_t uiRunTest, uint8_t ucEndDR)
{
    return Cat({{0x07, ucRepeat}, {0x04}, Be(uiRunTest, 4), {0x14, ucEndDR}, {0x02, 8, 0x01}, {0x08}, Be(32, 4),
                {0x01}, Be(0xFFFFFFFF, 4), {0x09}, Be(0, 4), Be(uiExpected, 4), {0x00}});
}

struct StRig
{
    explicit StRig(uint64_t uiPacketLimit = UINT64_MAX, uint32_t uiDrLength = 24)
        : chain(ClSimulatedTapChain::StConfig{8, uiDrLength})
    {
        chain.SetPacketLimit(uiPacketLimit);
    }
    int32_t Play(const Bytes& stream) { return player.PlayMemory(stream.data(), stream.size()); }

    ClSimulatedTapChain chain;
    ClSimulatedJtagLink link{chain};
    ClXsvfPlayer player{link};
};

}  // namespace

// An IDCODE read that matches, and one that does not: it is retried as often as
// the stream allows, clocking Run-Test/Idle between the tries when asked.
TEST(XsvfPlayer, IdcodeReadMatchesOrFailsAfterTheRetries)
{
    struct { uint32_t uiExpected; uint8_t ucRepeat, ucEndDR; uint32_t uiRunTest; int32_t iError; uint8_t ucState;
             uint64_t uiTries; } const cases[] = {
        {kIdcode, 0, 0, 0, 0, 1, 1},   // ends in Run-Test/Idle
        {kIdcode, 0, 1, 0, 0, 6, 1},   // or in Pause-DR
        {kIdcode ^ 0x100, 0, 0, 0, 2, 1, 1},
        {kIdcode ^ 0x100, 0, 0, 5, 2, 1, 1},
        {kIdcode ^ 0x100, 2, 0, 0, 3, 1, 3},
        {kIdcode ^ 0x100, 3, 0, 10, 3, 1, 4},
    };
    for (const auto& c : cases) {
        StRig rig;
        EXPECT_EQ(rig.Play(IdcodeStream(c.uiExpected, c.ucRepeat, c.uiRunTest, c.ucEndDR)), c.iError);
        EXPECT_EQ(rig.chain.GetTapState(), c.ucState);
        EXPECT_EQ(rig.chain.GetStats().uiTdoReads, 32 * c.uiTries) << int(c.ucRepeat);
        const uint8_t* pucTdo = rig.player.GetInfo().m_aTdoCaptured.m_aucData;
        EXPECT_EQ(Bytes(pucTdo, pucTdo + 4), Be(kIdcode, 4));
        EXPECT_EQ(rig.chain.GetInstruction(), 0x01u);
    }
}

// Shifts of the data register (whole bytes in pieces, lengths that are not whole
// bytes, read back, a run of incremented addresses with data) and bad streams: the
// result, the TAP state the stream ends in and what the data register holds.
TEST(XsvfPlayer, StreamsEndWithTheirResultStateAndRegister)
{
    const Bytes select = {0x02, 8, kUserInstruction};
    struct { Bytes stream; int32_t iError; uint8_t ucTapState; uint32_t uiDrLength = 24; uint64_t uiRegister = 0; }
    const cases[] = {
        {Cat({select, {0x08}, Be(8, 4), {0x0C, 0x11, 0x0D, 0x22, 0x0E, 0x33, 0x00}}), 0, 1, 24, 0x332211},
        {Cat({select, {0x08}, Be(13, 4), {0x03}, Be(0x1ABC, 2), {0x01}, Be(0x1FFF, 2), {0x09}, Be(0x0123, 2),
              Be(0x1ABC, 2), {0x00}}), 0, 1, 13, 0x0123},
        {Cat({select, {0x08}, Be(24, 4), {0x0A}, Be(0x000100, 3), Be(0x0000FF, 3), {0x0B}, Be(0x00FF00, 3),
              {2, 0x55, 0x66, 0x00}}), 0, 1, 24, 0x010166},
        {{0x05, 0x00}, 4, 0},
        {{0x18, 0x00}, 4, 0},
        {{0x13, 2, 0x00}, 5, 0},
        {Cat({{0x08}, Be(56001, 4), {0x00}}), 6, 0},
        {Cat({{0x08}, Be(56000, 4), {0x00}}), 0, 0},
        {Cat({{0x08}, Be(0xFFFFFFFF, 4), {0x00}}), 6, 0},
        {Cat({{0x15}, Be(56001, 2), {0x00}}), 6, 0},
        {{0x12, 1, 0x12, 7, 0x00}, 5, 1},     // Exit2-DR is out of reach from Run-Test/Idle
        {{0x12, 6, 0x12, 6, 0x00}, 0, 6},     // staying in Pause-DR goes round and comes back
        {{0x12, 6, 0x12, 7, 0x00}, 0, 7},
        {{0x12, 16, 0x00}, 5, 0},
        {{0x16, 'h', 'i', 0, 0x17, 6, 1, 0, 0, 0, 3, 0x00}, 0, 1},
    };
    for (const auto& c : cases) {
        StRig rig(UINT64_MAX, c.uiDrLength);
        EXPECT_EQ(rig.Play(c.stream), c.iError) << int(c.stream[0]);
        EXPECT_EQ(rig.chain.GetTapState(), c.ucTapState) << int(c.stream[0]);
        EXPECT_EQ(rig.chain.GetDataRegister(), c.uiRegister) << int(c.stream[0]);
    }
}

// Every cut of a good stream, and random bytes that hold no XCOMPLETE, end
// with an error, read no byte past their block (sized exactly, for the
// address sanitizer) and leave the device clean.
TEST(XsvfPlayer, TruncatedAndRandomStreamsEndWithAnErrorInsideTheirBlock)
{
    std::vector<Bytes> streams;
    const Bytes good = IdcodeStream(kIdcode, 2, 4, 1);
    for (size_t n = 0; n < good.size(); ++n)
        streams.emplace_back(good.begin(), good.begin() + static_cast<long>(n));
    std::mt19937 random(13);
    for (int i = 0; i < 300; ++i) {
        Bytes stream(1 + random() % 48);
        for (uint8_t& ucByte : stream)
            ucByte = static_cast<uint8_t>(1 + random() % 255);
        streams.push_back(stream);
    }
    for (const Bytes& stream : streams) {
        StRig rig(2000);
        int32_t iError = 0;
        const int32_t iCode = CodeOf([&] { iError = rig.Play(stream); });
        // A stream may ask for more clocks than the simulated device takes: it
        // then goes away, under a packet write or a TDO read.
        EXPECT_TRUE(iCode == ZRT_ERROR_DEVICE_DISCONNECTED || iCode == ZRT_ERROR_DEVICE_INTERNAL ||
                    (iCode == 0 && iError > 0 && iError < 7));
        EXPECT_LE(rig.player.GetProgress().uiBytesRead, stream.size());
        EXPECT_EQ(rig.chain.GetStats().uiBadPackets, 0u);
    }
}

TEST(XsvfPlayer, PlaysFilesWithProgress)
{
    const std::string strPath = ::testing::TempDir() + "kr9_idcode.xsvf";
    const Bytes stream = IdcodeStream(kIdcode, 0, 0, 0);
    std::ofstream(strPath, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()),
                                                  static_cast<std::streamsize>(stream.size()));

    StRig rig;
    std::vector<StXsvfProgress> steps;
    EXPECT_EQ(rig.player.PlayFile(strPath, [&](const StXsvfProgress& step) { steps.push_back(step); }), 0);
    ASSERT_EQ(steps.size(), 8u);
    EXPECT_EQ(steps.back().uiBytesRead, stream.size());
    EXPECT_EQ(steps.back().uiBytesTotal, stream.size());
    remove(strPath.c_str());

    EXPECT_EQ(CodeOf([&] { rig.player.PlayFile(strPath); }), ZRT_ERROR_FILE_OPEN_FAIL);
    StRig unplugged(0);
    EXPECT_EQ(CodeOf([&] { unplugged.Play(stream); }), ZRT_ERROR_DEVICE_DISCONNECTED);
    // Gone after one packet (everything up to the first TDO bit), at the TDO read.
    StRig goneBeforeTdo(1);
    EXPECT_EQ(CodeOf([&] { goneBeforeTdo.Play(stream); }), ZRT_ERROR_DEVICE_INTERNAL);
}
