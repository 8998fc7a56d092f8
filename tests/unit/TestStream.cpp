// Byte streams: byte order, short transfers, the memory block rules, strings
// and the guard for pending bits.
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "support/Stream.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Under AddressSanitizer an impossible allocation ends the process instead of failing.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kHugeAllocationsFail = false;
#else
constexpr bool kHugeAllocationsFail = true;
#endif

// Reaches the bit state, which only bit-level operations would set.
template <class TStream>
class TpBitAccess : public TStream
{
public:
    using TStream::TStream;
    void SetPendingBits(uint64_t nCount, uint8_t nBuffer) { this->m_nBitCount = nCount; this->m_nBitBuffer = nBuffer; }
    uint64_t GetPendingBitCount() const { return this->m_nBitCount; }
    void SetBitMode(bool bBitMode) { this->m_bBitMode = bBitMode; }
};

// A memory stream that records the size of every raw transfer.
class ClProbeStream : public TpBitAccess<ClMemStream>
{
public:
    using TpBitAccess<ClMemStream>::TpBitAccess;
    size_t ReadRaw(void* p, size_t n) override { rawSizes.push_back(n); return ClMemStream::ReadRaw(p, n); }
    size_t WriteRaw(const void* p, size_t n) override { rawSizes.push_back(n); return ClMemStream::WriteRaw(p, n); }
    std::vector<size_t> rawSizes;
};

// A write-only sink that can refuse to take bytes.
class ClSinkStream : public TpBitAccess<ClStream>
{
public:
    bool IsReadable() const override { return false; }
    size_t ReadRaw(void*, size_t) override { return 0; }
    size_t WriteRaw(const void* pData, size_t nSize) override
    {
        const auto* pBytes = static_cast<const uint8_t*>(pData);
        written.insert(written.end(), pBytes, pBytes + (bRefuse ? 0 : nSize));
        return bRefuse ? 0 : nSize;
    }
    bool bRefuse = false;
    Bytes written;
};

Bytes Content(const ClMemStream& stream)
{
    return stream.GetData() == nullptr ? Bytes() : Bytes(stream.GetData(), stream.GetData() + stream.GetLength());
}

template <typename T>
T ReadBack(ClStream& stream)
{
    T value{};
    EXPECT_EQ(stream.Read(value), sizeof(T));
    return value;
}

TEST(Stream, MultiByteValuesAreBigEndianUntilSwappingIsTurnedOff)
{
    uint8_t aBlock[4] = {};
    ClMemStream stream(aBlock, sizeof(aBlock), true);
    EXPECT_EQ(stream.Write(uint32_t{0x01020304}), 4u);
    EXPECT_EQ(Bytes(aBlock, aBlock + 4), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(stream.SetByteSwap(false));
    ASSERT_EQ(stream.Seek(0, 0), 0);
    const uint32_t nValue = 0x01020304;
    stream.Write(nValue);
    EXPECT_EQ(memcmp(aBlock, &nValue, 4), 0) << "without swapping the host's own order is written";

    // Every width and a double, big-endian, and back again.
    ClMemStream owned;
    owned.Write(uint16_t{0xA1B2});
    owned.Write(uint64_t{0x0102030405060708});
    owned.Write(-2.5);
    owned.Write(true);
    owned.Write(false);
    owned.Write(uint8_t{0x7F});
    EXPECT_EQ(Content(owned), (Bytes{0xA1, 0xB2, 1, 2, 3, 4, 5, 6, 7, 8, 0xC0, 0x04, 0, 0, 0, 0, 0, 0, 1, 0, 0x7F}));
    ASSERT_EQ(owned.Seek(2, 0), 0);
    EXPECT_EQ(ReadBack<uint64_t>(owned), 0x0102030405060708u);
    EXPECT_EQ(ReadBack<double>(owned), -2.5);
    owned.Seek(0, 0);
    EXPECT_TRUE(ReadBack<bool>(owned)) << "any byte but 0 reads as true";
}

TEST(Stream, ShortTransfersMoveWhatTheyCanByteByByteWhenSwapping)
{
    // At the end: nothing moves, nothing raises, the value stays.
    uint8_t aBlock[2] = {0xAA, 0xBB};
    ClProbeStream atEnd(aBlock, 2, false);
    atEnd.Seek(0, 2);
    uint32_t nValue = 0x11223344;
    EXPECT_EQ(atEnd.Read(nValue), 0u);
    EXPECT_EQ(nValue, 0x11223344u);

    // Swapping reads one byte per call from the value's last byte, so the two
    // bytes left land in the top of the value.
    ClProbeStream swapping(aBlock, 2, false);
    EXPECT_EQ(swapping.Read(nValue), 2u);
    EXPECT_EQ(nValue, 0xAABB3344u);
    EXPECT_EQ(swapping.rawSizes, (std::vector<size_t>{1, 1, 1, 1}));

    // A swapped write into a block with room for two bytes stores two, then fails.
    uint8_t aSmall[2] = {};
    ClMemStream small(aSmall, 2, true);
    EXPECT_EQ(CodeOf([&] { small.Write(uint32_t{0x01020304}); }, "Stream too small"), ZRT_ERROR_IO);
    EXPECT_EQ(Bytes(aSmall, aSmall + 2), (Bytes{1, 2}));
    EXPECT_EQ(small.GetPosition(), 2u);

    // Asked to, a short typed transfer raises.
    ClMemStream strict(aBlock, 2, false);
    strict.SetThrowOnShort(true);
    EXPECT_EQ(CodeOf([&] { strict.Read(nValue); }, "Unexpected end of stream"), ZRT_ERROR_UNEXPECTED_EOF);
}

TEST(MemStream, ExternalBlockNeverGrowsAndSeeksStayWithinIt)
{
    uint8_t aBlock[4] = {9, 8, 7, 6};
    ClMemStream writable(aBlock, 4, true);
    writable.Seek(0, 2);
    EXPECT_EQ(CodeOf([&] { writable.Write(uint8_t{5}); }, "ClMemStream::ExpandData. Stream too small"),
              ZRT_ERROR_IO);
    EXPECT_EQ(writable.GetLength(), 4u);

    ClMemStream readOnly(aBlock, 4, false);
    EXPECT_EQ(CodeOf([&] { readOnly.Write(uint8_t{5}); }, "ClMemStream::WriteRaw. Stream is not open for write"),
              ZRT_ERROR_IO);
    // Beyond the end, an unknown origin, the end itself, back from the
    // middle, and before the start (far beyond the end); failures stay put.
    struct { int64_t nOffset; int32_t nOrigin, nResult; uint64_t nPosition; } aSeeks[] = {
        {1, 2, -1, 0}, {0, 3, -1, 0}, {4, 0, 0, 4}, {-3, 1, 0, 1}, {-2, 1, -1, 1}};
    for (const auto& seek : aSeeks) {
        EXPECT_EQ(readOnly.Seek(seek.nOffset, seek.nOrigin), seek.nResult) << seek.nOffset << " from " << seek.nOrigin;
        EXPECT_EQ(readOnly.GetPosition(), seek.nPosition) << seek.nOffset << " from " << seek.nOrigin;
    }
}

TEST(MemStream, OwnedBlockGrowsKeepsItsContentAndZeroesSeekGaps)
{
    // A seek past the content, inside the block: the gap is zeroed, the length stays.
    ClMemStream gap;
    gap.Write(uint32_t{0xFFFFFFFF});
    const uint64_t nCapacity = gap.GetCapacity();
    ASSERT_GT(nCapacity, 8u);
    EXPECT_EQ(gap.Seek(8, 0), 0);
    EXPECT_EQ(std::make_pair(gap.GetLength(), gap.GetCapacity()), std::make_pair(uint64_t{4}, nCapacity));
    uint8_t nByte = 0;
    EXPECT_EQ(gap.Read(nByte), 0u) << "nothing to read beyond the content";
    gap.Write(uint8_t{0x55});
    Bytes expected{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x55};
    EXPECT_EQ(Content(gap), expected);

    // Beyond the block: it grows first.
    EXPECT_EQ(gap.Seek(500, 0), 0);
    gap.Write(uint8_t{0x66});
    expected.resize(501);
    expected[500] = 0x66;
    EXPECT_EQ(Content(gap), expected);
    if (kHugeAllocationsFail) {
        // A target before the start is huge: the block cannot grow to it.
        EXPECT_EQ(CodeOf([&] { gap.Seek(-1, 0); }, "Memory allocation failed"), ZRT_ERROR_OUT_OF_MEMORY);
        EXPECT_EQ(Content(gap), expected);
    }
}

TEST(Stream, StringsCarryTheirLengthAndAlwaysComeBackTerminated)
{
    ClMemStream stream;
    EXPECT_EQ(stream.WriteString("abc"), 8u);
    EXPECT_EQ(stream.WriteString(nullptr), 5u);
    EXPECT_EQ(Content(stream), (Bytes{0, 0, 0, 4, 'a', 'b', 'c', 0, 0, 0, 0, 1, 0}));
    stream.Seek(0, 0);
    char* pszText = new char[3]{'o', 'l', 'd'};  // released by the read
    EXPECT_EQ(stream.ReadString(pszText), 8u);
    EXPECT_STREQ(pszText, "abc");
    EXPECT_EQ(stream.ReadString(pszText), 5u);
    EXPECT_STREQ(pszText, "");
    delete[] pszText;

    const struct { Bytes bytes; size_t nExpectedMoved; const char* pszExpected; } aCases[] = {
        {{0, 0, 0, 0}, 4, nullptr},                // length 0
        {{0, 0}, 2, nullptr},                      // the length itself is cut off
        {{0, 0, 0, 10, 'x', 'y', 'z'}, 7, "xyz"},  // the text is cut off
        {{0, 0, 0, 3, 'x', 'y', 'z'}, 7, "xy"},    // no terminator where the length says
    };
    for (const auto& test : aCases) {
        Bytes bytes = test.bytes;
        ClMemStream input(bytes.data(), bytes.size(), false);
        char* pszRead = nullptr;
        EXPECT_EQ(input.ReadString(pszRead), test.nExpectedMoved);
        EXPECT_EQ(pszRead == nullptr ? "(none)" : std::string(pszRead),
                  test.pszExpected == nullptr ? "(none)" : test.pszExpected);
        delete[] pszRead;
    }
}

TEST(Stream, PendingBitsBlockTypedAccessUntilFlushed)
{
    uint8_t aBlock[2] = {0x0F, 0x55};
    ClProbeStream stream(aBlock, 2, true);
    stream.SetPendingBits(3, 0xBF);
    // Values, blocks and strings each take their own way to the raw transfer.
    uint8_t aBuffer[1] = {};
    uint32_t n32 = 0;
    char* psz = nullptr;
    const std::vector<std::function<void()>> typedOperations = {
        [&] { stream.Read(n32); },         [&] { stream.Write(n32); },
        [&] { stream.ReadBlock(aBuffer, 1); }, [&] { stream.WriteBlock(aBuffer, 1); },
        [&] { stream.ReadString(psz); },   [&] { stream.WriteString("x"); }};
    for (const auto& operation : typedOperations)
        EXPECT_EQ(CodeOf(operation, "finish with out bitflush"), ZRT_ERROR_CORRUPT_DATA);
    EXPECT_TRUE(stream.rawSizes.empty()) << "nothing may move while bits are pending";

    // The three pending bits (101) replace the top of the byte in the stream;
    // the byte's own low bits stay, the buffer's stray low bits do not.
    stream.Flush();
    EXPECT_EQ(Bytes(aBlock, aBlock + 2), (Bytes{0xAF, 0x55}));
    EXPECT_EQ(stream.GetPosition(), 1u);
    EXPECT_EQ(stream.GetPendingBitCount(), 0u);

    // A stream that cannot be read gets the pending bits alone; bits that did
    // not go out stay pending; in bit mode, closing flushes.
    ClSinkStream sink;
    sink.SetPendingBits(3, 0xBF);
    sink.Flush();
    EXPECT_EQ(sink.written, Bytes{0xA0});
    sink.bRefuse = true;
    sink.SetPendingBits(1, 0x80);
    EXPECT_EQ(CodeOf([&] { sink.Flush(); }, "Fail to write BitBuffer into stream"), ZRT_ERROR_WRITE_FAIL);
    EXPECT_EQ(sink.GetPendingBitCount(), 1u);
    sink.bRefuse = false;
    sink.SetBitMode(true);
    sink.Close();
    EXPECT_EQ(sink.written, (Bytes{0xA0, 0x80}));

    // A flush that fails while the stream is destroyed neither escapes nor leaks.
    auto* pReadOnly = new ClProbeStream(aBlock, 2, false);
    pReadOnly->SetBitMode(true);
    pReadOnly->SetPendingBits(2, 0xC0);
    delete pReadOnly;
}

}  // namespace
