// Byte streams: byte order, short transfers, the memory block rules, strings
// and the guard for pending bits.
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Exception.h"
#include "support/Stream.h"

namespace {

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
    void SetPendingBits(uint64_t nCount, uint8_t nBuffer)
    {
        this->m_nBitCount = nCount;
        this->m_nBitBuffer = nBuffer;
    }
    uint64_t GetPendingBitCount() const { return this->m_nBitCount; }
    void SetBitMode(bool bBitMode) { this->m_bBitMode = bBitMode; }
};

// A memory stream that records the size of every raw transfer.
class ClProbeStream : public TpBitAccess<ClMemStream>
{
public:
    using TpBitAccess<ClMemStream>::TpBitAccess;

    size_t ReadRaw(void* pData, size_t nSize) override
    {
        rawSizes.push_back(nSize);
        return ClMemStream::ReadRaw(pData, nSize);
    }
    size_t WriteRaw(const void* pData, size_t nSize) override
    {
        rawSizes.push_back(nSize);
        return ClMemStream::WriteRaw(pData, nSize);
    }

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
        if (bRefuse)
            return 0;
        const uint8_t* pBytes = static_cast<const uint8_t*>(pData);
        written.insert(written.end(), pBytes, pBytes + nSize);
        return nSize;
    }

    bool bRefuse = false;
    std::vector<uint8_t> written;
};

std::vector<uint8_t> Content(const ClMemStream& stream)
{
    const uint8_t* pData = stream.GetData();
    return pData == nullptr ? std::vector<uint8_t>() : std::vector<uint8_t>(pData, pData + stream.GetLength());
}

template <typename TException, typename TOperation>
void ExpectStreamFailure(TOperation operation, int32_t nCode, const char* pszText)
{
    try {
        operation();
        ADD_FAILURE() << "no exception, expected code " << nCode;
    } catch (const TException& ex) {
        EXPECT_EQ(ex.GetCode(), nCode);
        EXPECT_NE(std::string(ex.GetText()).find(pszText), std::string::npos) << ex.GetText();
    }
}

TEST(Stream, MultiByteValuesAreBigEndianUntilSwappingIsTurnedOff)
{
    uint8_t aBlock[4] = {};
    ClMemStream stream(aBlock, sizeof(aBlock), true);
    EXPECT_EQ(stream.Write(uint32_t{0x01020304}), 4u);
    EXPECT_EQ(std::vector<uint8_t>(aBlock, aBlock + 4), (std::vector<uint8_t>{1, 2, 3, 4}));

    EXPECT_TRUE(stream.SetByteSwap(false));
    EXPECT_FALSE(stream.SetByteSwap(false));
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
    const std::vector<uint8_t> expected = {0xA1, 0xB2, 1, 2, 3, 4, 5, 6, 7, 8,
                                           0xC0, 0x04, 0, 0, 0, 0, 0, 0, 1, 0, 0x7F};
    EXPECT_EQ(Content(owned), expected);

    ASSERT_EQ(owned.Seek(0, 0), 0);
    uint16_t n16 = 0;
    uint64_t n64 = 0;
    double dValue = 0;
    bool bTrue = false, bFalse = true;
    uint8_t n8 = 0;
    EXPECT_EQ(owned.Read(n16) + owned.Read(n64) + owned.Read(dValue) + owned.Read(bTrue) + owned.Read(bFalse) +
                  owned.Read(n8),
              expected.size());
    EXPECT_EQ(n16, 0xA1B2);
    EXPECT_EQ(n64, 0x0102030405060708u);
    EXPECT_EQ(dValue, -2.5);
    EXPECT_TRUE(bTrue);
    EXPECT_FALSE(bFalse);
    EXPECT_EQ(n8, 0x7F);

    // Any byte but 0 reads as true.
    owned.Seek(0, 0);
    EXPECT_EQ(owned.Read(bFalse), 1u);
    EXPECT_TRUE(bFalse);
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
    ExpectStreamFailure<ClExStream>([&] { small.Write(uint32_t{0x01020304}); }, ZRT_ERROR_IO, "Stream too small");
    EXPECT_EQ(aSmall[0], 1);
    EXPECT_EQ(aSmall[1], 2);
    EXPECT_EQ(small.GetPosition(), 2u);

    // Asked to, a short typed transfer raises.
    ClMemStream strict(aBlock, 2, false);
    strict.SetThrowOnShort(true);
    ExpectStreamFailure<ClExStreamUnexpectedEnd>([&] { strict.Read(nValue); }, ZRT_ERROR_UNEXPECTED_EOF,
                                                 "Unexpected end of stream");
}

TEST(MemStream, ExternalBlockNeverGrowsAndSeeksStayWithinIt)
{
    uint8_t aBlock[4] = {9, 8, 7, 6};
    ClMemStream writable(aBlock, 4, true);
    writable.Seek(0, 2);
    ExpectStreamFailure<ClExStream>([&] { writable.Write(uint8_t{5}); }, ZRT_ERROR_IO,
                                    "ClMemStream::ExpandData. Stream too small");
    // Still usable after the failure.
    EXPECT_EQ(writable.GetLength(), 4u);
    EXPECT_EQ(writable.Seek(-1, 1), 0);
    uint8_t nLast = 0;
    EXPECT_EQ(writable.Read(nLast), 1u);
    EXPECT_EQ(nLast, 6);

    ClMemStream readOnly(aBlock, 4, false);
    ExpectStreamFailure<ClExStream>([&] { readOnly.Write(uint8_t{5}); }, ZRT_ERROR_IO,
                                    "ClMemStream::WriteRaw. Stream is not open for write");
    EXPECT_EQ(readOnly.Seek(1, 2), -1);
    EXPECT_EQ(readOnly.Seek(0, 3), -1) << "unknown origin";
    EXPECT_EQ(readOnly.Seek(4, 0), 0) << "the end itself is a valid position";
    EXPECT_EQ(readOnly.Seek(-3, 1), 0);
    EXPECT_EQ(readOnly.GetPosition(), 1u);
    EXPECT_EQ(readOnly.Seek(-2, 1), -1) << "before the start is far beyond the end";
    EXPECT_EQ(readOnly.GetPosition(), 1u);

    // No content, no data; closing forgets the block without releasing it.
    ClMemStream empty(aBlock, 0, false);
    EXPECT_EQ(empty.GetData(), nullptr);
    readOnly.Close();
    EXPECT_EQ(readOnly.GetData(), nullptr);
    EXPECT_EQ(readOnly.GetLength(), 0u);
    EXPECT_EQ(aBlock[0], 9);
}

TEST(MemStream, OwnedBlockGrowsKeepsItsContentAndZeroesSeekGaps)
{
    // A seek past the content, inside the block: the gap is zeroed, the length stays.
    ClMemStream gap;
    EXPECT_EQ(gap.GetData(), nullptr);
    gap.Write(uint32_t{0xFFFFFFFF});
    const uint64_t nCapacity = gap.GetCapacity();
    ASSERT_GT(nCapacity, 8u);
    EXPECT_EQ(gap.Seek(8, 0), 0);
    EXPECT_EQ(gap.GetLength(), 4u);
    EXPECT_EQ(gap.GetCapacity(), nCapacity);
    uint8_t nByte = 0;
    EXPECT_EQ(gap.Read(nByte), 0u) << "nothing to read beyond the content";
    gap.Write(uint8_t{0x55});
    EXPECT_EQ(Content(gap), (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0x55}));

    // Beyond the block: it grows first.
    EXPECT_EQ(gap.Seek(500, 0), 0);
    EXPECT_GT(gap.GetCapacity(), 500u);
    gap.Write(uint8_t{0x66});
    const std::vector<uint8_t> content = Content(gap);
    ASSERT_EQ(content.size(), 501u);
    EXPECT_EQ(content[8], 0x55);
    for (size_t i = 9; i < 500; ++i)
        ASSERT_EQ(content[i], 0) << i;
    EXPECT_EQ(content[500], 0x66);

    const uint64_t nBefore = gap.GetCapacity();
    gap.ExpandData(SIZE_MAX);
    EXPECT_EQ(gap.GetCapacity(), 2 * nBefore);
    EXPECT_EQ(Content(gap), content);

    if (kHugeAllocationsFail) {
        // A target before the start is huge: the block cannot grow to it.
        ExpectStreamFailure<ClExBadAlloc>([&] { gap.Seek(-1, 0); }, ZRT_ERROR_OUT_OF_MEMORY,
                                          "Memory allocation failed");
        EXPECT_EQ(Content(gap), content);
    }

    gap.Close();
    EXPECT_EQ(gap.GetData(), nullptr);
    EXPECT_EQ(gap.GetCapacity(), 0u);
    gap.Write(uint8_t{1});
    EXPECT_EQ(Content(gap), std::vector<uint8_t>{1}) << "a closed owned stream starts afresh";
}

TEST(Stream, StringsCarryTheirLengthAndAlwaysComeBackTerminated)
{
    ClMemStream stream;
    EXPECT_EQ(stream.WriteString("abc"), 8u);
    EXPECT_EQ(stream.WriteString(nullptr), 5u);
    EXPECT_EQ(Content(stream), (std::vector<uint8_t>{0, 0, 0, 4, 'a', 'b', 'c', 0, 0, 0, 0, 1, 0}));

    stream.Seek(0, 0);
    char* pszText = new char[3]{'o', 'l', 'd'};  // released by the read
    EXPECT_EQ(stream.ReadString(pszText), 8u);
    EXPECT_STREQ(pszText, "abc");
    EXPECT_EQ(stream.ReadString(pszText), 5u);
    EXPECT_STREQ(pszText, "");
    delete[] pszText;

    struct StCase
    {
        std::vector<uint8_t> bytes;
        size_t nExpectedMoved;
        const char* pszExpected;    // null: no text
    };
    const StCase cases[] = {
        {{0, 0, 0, 0}, 4, nullptr},                      // length 0
        {{0, 0}, 2, nullptr},                            // the length itself is cut off
        {{0, 0, 0, 10, 'x', 'y', 'z'}, 7, "xyz"},        // the text is cut off
        {{0, 0, 0, 3, 'x', 'y', 'z'}, 7, "xy"},          // no terminator where the length says
    };
    for (const StCase& c : cases) {
        std::vector<uint8_t> bytes = c.bytes;
        ClMemStream input(bytes.data(), bytes.size(), false);
        char* pszRead = nullptr;
        EXPECT_EQ(input.ReadString(pszRead), c.nExpectedMoved);
        if (c.pszExpected == nullptr)
            EXPECT_EQ(pszRead, nullptr);
        else
            EXPECT_STREQ(pszRead, c.pszExpected);
        delete[] pszRead;
    }
}

TEST(Stream, PendingBitsBlockTypedAccessUntilFlushed)
{
    uint8_t aBlock[2] = {0x0F, 0x55};
    ClProbeStream stream(aBlock, 2, true);
    stream.SetPendingBits(3, 0xBF);

    uint8_t n8 = 0, aBuffer[1] = {};
    bool b = false;
    uint16_t n16 = 0;
    uint32_t n32 = 0;
    uint64_t n64 = 0;
    double d = 0;
    char* psz = nullptr;
    const std::vector<std::function<void()>> typedOperations = {
        [&] { stream.Read(n8); },  [&] { stream.Write(n8); },  [&] { stream.Read(b); },
        [&] { stream.Write(b); },  [&] { stream.Read(n16); },  [&] { stream.Write(n16); },
        [&] { stream.Read(n32); }, [&] { stream.Write(n32); }, [&] { stream.Read(n64); },
        [&] { stream.Write(n64); }, [&] { stream.Read(d); },   [&] { stream.Write(d); },
        [&] { stream.ReadBlock(aBuffer, 1); }, [&] { stream.WriteBlock(aBuffer, 1); },
        [&] { stream.ReadString(psz); }, [&] { stream.WriteString("x"); },
    };
    for (const auto& operation : typedOperations)
        ExpectStreamFailure<ClException>(operation, ZRT_ERROR_CORRUPT_DATA, "finish with out bitflush");
    EXPECT_TRUE(stream.rawSizes.empty()) << "nothing may move while bits are pending";

    // The three pending bits (101) replace the top of the byte in the stream;
    // the byte's own low bits stay, the buffer's stray low bits do not.
    stream.Flush();
    EXPECT_EQ(aBlock[0], 0xAF);
    EXPECT_EQ(aBlock[1], 0x55);
    EXPECT_EQ(stream.GetPosition(), 1u);
    EXPECT_EQ(stream.GetPendingBitCount(), 0u);
    EXPECT_EQ(stream.Read(n8), 1u);
    stream.Flush();    // nothing pending: nothing moves
    EXPECT_EQ(stream.GetPosition(), 2u);

    // A stream that cannot be read gets the pending bits alone.
    ClSinkStream sink;
    sink.SetPendingBits(3, 0xBF);
    sink.Flush();
    EXPECT_EQ(sink.written, std::vector<uint8_t>{0xA0});

    sink.bRefuse = true;
    sink.SetPendingBits(1, 0x80);
    ExpectStreamFailure<ClExStreamFailToWrite>([&] { sink.Flush(); }, ZRT_ERROR_WRITE_FAIL,
                                               "Fail to write BitBuffer into stream");
    EXPECT_EQ(sink.GetPendingBitCount(), 1u) << "bits that did not go out stay pending";

    // In bit mode, closing flushes.
    sink.bRefuse = false;
    sink.SetBitMode(true);
    sink.Close();
    EXPECT_EQ(sink.written, (std::vector<uint8_t>{0xA0, 0x80}));

    // A flush that fails while the stream is destroyed neither escapes nor leaks.
    auto* pReadOnly = new ClProbeStream(aBlock, 2, false);
    pReadOnly->SetBitMode(true);
    pReadOnly->SetPendingBits(2, 0xC0);
    delete pReadOnly;
}

}  // namespace
