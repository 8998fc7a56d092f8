// The command dialogue and the frame pipe, checked byte by byte: against the
// virtual scanner for the dialogue, and against a scripted chunk source for
// the layout of a frame.
#include <array>
#include <cstring>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "common/VirtualScanner.h"
#include "device/KR9USBProtocol.h"
#include "device/transport/TransportFactory.h"

namespace {

// A transport that confirms every question and serves chunks whose bytes tell
// where they came from, so the position of each pixel in the stream is known.
class ClScriptedChunks : public ClHIDInterface
{
public:
    static uint8_t ByteAt(size_t uiChunk, size_t uiOffset)
    {
        return static_cast<uint8_t>(uiChunk * 37 + uiOffset * 13 + (uiOffset >> 8));
    }

    void Enumerate(ClHIDDeviceList&) override {}
    void Open(const StHIDDeviceInfo&) override {}
    void Close() override {}
    uint64_t Read(void* pBuffer, uint64_t uiSize, int32_t) override
    {
        memset(pBuffer, 0, uiSize);
        static_cast<uint8_t*>(pBuffer)[9] = 255;
        return uiSize;
    }
    uint64_t Write(const void*, uint64_t uiSize, uint32_t) override { return uiSize; }
    bool GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize) override
    {
        const size_t uiChunk = m_uiNextChunk++;
        if (uiChunk == m_uiFailingChunk)
            return false;   // leaves the buffer as it was
        auto* pBytes = static_cast<uint8_t*>(pBuffer);
        for (size_t o = 0; o < uiSize; ++o)
            pBytes[o] = ByteAt(uiChunk, o);
        return true;
    }

    size_t m_uiNextChunk = 0;
    size_t m_uiFailingChunk = SIZE_MAX;
};

uint16_t WordAt(size_t uiChunk, size_t uiOffset)
{
    return static_cast<uint16_t>(ClScriptedChunks::ByteAt(uiChunk, uiOffset) << 8 |
                                 ClScriptedChunks::ByteAt(uiChunk, uiOffset + 1));
}

class Protocol : public testing::Test
{
protected:
    void SetUp() override
    {
        m_pInterface = CreateHIDInterface();
        m_pInterface->Open(m_scanner.Info());
        // The virtual scanner answers at once; only a silent one lets the short time-out run out.
        m_pProtocol = std::make_unique<ClKR9USBProtocol>(m_pInterface.get(), 20);
        m_pProtocol->OpenSession();
    }

    ClVirtualScanner m_scanner{"P1"};
    std::unique_ptr<ClHIDInterface> m_pInterface;
    std::unique_ptr<ClKR9USBProtocol> m_pProtocol;
};

TEST(ProtocolFrame, SixteenBitHalvesLieInOrderHighByteFirst)
{
    ClScriptedChunks chunks;
    ClKR9USBProtocol protocol(&chunks);
    std::vector<uint16_t> pixels(256 * 360);
    protocol.GrabFrame16(pixels.data());
    EXPECT_EQ(chunks.m_uiNextChunk, 46u);
    // Row 0 starts with the first words of the first chunk and, at column
    // 128, of the second half; the last words of the halves end the rows.
    EXPECT_EQ(std::make_tuple(pixels[0], pixels[1], pixels[128], pixels[359 * 256 + 127], pixels[359 * 256 + 255]),
              std::make_tuple(WordAt(0, 0), WordAt(0, 2), WordAt(23, 0), WordAt(22, 2046), WordAt(45, 2046)));
}

TEST(ProtocolFrame, EightBitHalvesAreExchanged)
{
    ClScriptedChunks chunks;
    ClKR9USBProtocol protocol(&chunks);
    std::vector<uint8_t> pixels(256 * 360);
    protocol.GrabFrame8(pixels.data());
    EXPECT_EQ(chunks.m_uiNextChunk, 24u);
    // The left side is the second half; the right side came first.
    EXPECT_EQ(std::make_tuple(pixels[0], pixels[128], pixels[359 * 256 + 255], pixels[359 * 256 + 127]),
              std::make_tuple(ClScriptedChunks::ByteAt(12, 0), ClScriptedChunks::ByteAt(0, 0),
                              ClScriptedChunks::ByteAt(11, 1023), ClScriptedChunks::ByteAt(23, 1023)));
}

TEST(ProtocolFrame, FailedChunkLeavesThePreviousBytesAndTheFrameCompletes)
{
    ClScriptedChunks chunks;
    chunks.m_uiFailingChunk = 5;
    ClKR9USBProtocol protocol(&chunks);
    std::vector<uint8_t> pixels(256 * 360);
    EXPECT_NO_THROW(protocol.GrabFrame8(pixels.data()));
    // Chunk 5 holds right-half bytes 20480..24575: rows 160..191 of the right side.
    EXPECT_EQ(std::make_pair(pixels[160 * 256 + 128], pixels[192 * 256 + 128]),
              std::make_pair(ClScriptedChunks::ByteAt(4, 0), ClScriptedChunks::ByteAt(6, 0)));
}

TEST(ProtocolFrame, NullTransportIsRefused)
{
    EXPECT_EQ(CodeOf([] { ClKR9USBProtocol protocol(nullptr); }), ZRT_ERROR_BAD_POINTER);
}

TEST_F(Protocol, EveryRequestRepeatsTheSessionTagOfItsOpen)
{
    m_pProtocol->IsFingerPresent();
    m_pProtocol->ReadRegister(28);
    m_pProtocol->StartDevice();
    const auto log = m_scanner.Model().GetReportLog();
    ASSERT_EQ(log.size(), 4u);
    const std::array<uint8_t, 6> tag{{log[1][0], log[1][1], log[1][2], log[1][3], log[1][4], log[1][5]}};
    EXPECT_NE(tag, (std::array<uint8_t, 6>{{0, 0, 0, 0, 0, 0}}));
    for (size_t i = 1; i < log.size(); ++i)
        EXPECT_TRUE(std::equal(tag.begin(), tag.end(), log[i].begin())) << "report " << i;
    EXPECT_EQ(std::make_pair(log[2][7], log[2][8]), std::make_pair(uint8_t(2), uint8_t(28)));

    // A new open gets a new tag; the old one is no longer honoured by the device.
    m_pProtocol->OpenSession();
    m_pProtocol->IsFrameReady();
    const auto after = m_scanner.Model().GetReportLog();
    EXPECT_FALSE(std::equal(tag.begin(), tag.end(), after.back().begin()));
}

TEST_F(Protocol, OnlyStatus255MeansYes)
{
    m_pProtocol->StartDevice();
    m_scanner.Model().SetFingerPresent(true);
    EXPECT_TRUE(m_pProtocol->IsFingerPresent());
    m_scanner.Model().SetFault(KR9EMU_FAULT_STATUS_254, -1);
    EXPECT_FALSE(m_pProtocol->IsFingerPresent());
    EXPECT_FALSE(m_pProtocol->IsFrameReady());
    EXPECT_EQ(CodeOf([&] { m_pProtocol->StartDevice(); }), ZRT_ERROR_WRITE_FAIL);
    std::vector<uint8_t> pixels(256 * 360, 7);
    m_scanner.Model().ClearReportLog();
    EXPECT_EQ(CodeOf([&] { m_pProtocol->GrabFrame8(pixels.data()); }), ZRT_ERROR_DEVICE_INTERNAL);
    EXPECT_EQ(m_scanner.Commands(), (std::vector<int>{26})) << "nothing follows a frame that is not ready";
    EXPECT_EQ(pixels[0], 7);
}

TEST_F(Protocol, DeviceStringsAndFirmwareVersion)
{
    std::string strSerial = "old", strModel;
    m_pProtocol->GetDeviceString(strSerial, 0);
    m_pProtocol->GetDeviceString(strModel, 1);
    EXPECT_EQ(std::make_tuple(strSerial, strModel.size()), std::make_tuple("P1", size_t(12)));
    std::string strText;
    m_scanner.Model().ClearReportLog();
    m_pProtocol->GetDeviceString(strText, 7);
    EXPECT_EQ(strText, "");
    EXPECT_EQ(m_scanner.Commands(), (std::vector<int>{18})) << "an unknown kind still asks for the serial";

    m_scanner.Model().SetFirmwareVersion({{9, 8, 7, 200}});
    uint32_t auiVersion[4] = {};
    m_pProtocol->GetFirmwareVersion(auiVersion);
    EXPECT_EQ(std::vector<uint32_t>(auiVersion, auiVersion + 4), (std::vector<uint32_t>{9, 8, 7, 200}));

    // A full eight-character serial has no terminator on the wire.
    ClVirtualScanner full("ABCDEFGH");
    std::unique_ptr<ClHIDInterface> pInterface = CreateHIDInterface();
    pInterface->Open(full.Info());
    ClKR9USBProtocol protocol(pInterface.get());
    protocol.OpenSession();
    protocol.GetDeviceString(strText, 0);
    EXPECT_EQ(strText, "ABCDEFGH");
}

TEST_F(Protocol, RegisterOffGrabTouchesTheRegisterOnlyWhenItIsSet)
{
    m_pProtocol->StartDevice();
    std::vector<uint16_t> pixels(256 * 360);

    m_scanner.Model().SetRegister(28, 0);
    m_scanner.Model().ClearReportLog();
    m_pProtocol->GrabFrame16RegisterOff(pixels.data());
    EXPECT_EQ(m_scanner.Commands(), (std::vector<int>{2, 26, 9}));
    m_scanner.Model().SetRegister(28, 0x33);
    m_scanner.Model().ClearReportLog();
    m_pProtocol->GrabFrame16RegisterOff(pixels.data());
    const auto log = m_scanner.Model().GetReportLog();
    ASSERT_EQ(m_scanner.Commands(), (std::vector<int>{2, 1, 26, 9, 1}));
    EXPECT_EQ(std::make_tuple(log[1][8], log[1][9], log[4][9]),
              std::make_tuple(uint8_t(28), uint8_t(0), uint8_t(0x33)));
    EXPECT_EQ(m_scanner.Stats().registers[28], 0x33);
}

TEST_F(Protocol, ClosedGrabConsumesExactlyOneTrailingReport)
{
    m_pProtocol->StartDevice();
    std::vector<uint16_t> pixels(256 * 360);
    m_pProtocol->GrabFrame16Closed(pixels.data());
    // Had the closing report been left, this question would read its "yes".
    EXPECT_FALSE(m_pProtocol->IsFingerPresent());
    EXPECT_EQ(pixels[0], ClKR9DeviceModel::kEmptySensorValue * 257);
}

TEST_F(Protocol, SilentDeviceShowsAtTheNextTestedCommand)
{
    // The read times out; the request's own zero status byte reads as "no".
    m_scanner.Model().SetFault(KR9EMU_FAULT_SWALLOW_REPLY, 1);
    EXPECT_EQ(CodeOf([&] { m_pProtocol->StartDevice(); }), ZRT_ERROR_WRITE_FAIL);
    EXPECT_EQ(m_scanner.Stats().started, 1) << "the device did start; only its answer was lost";
    EXPECT_TRUE(m_pProtocol->IsFrameReady()) << "the dialogue goes on once the device answers again";
}

}  // namespace
