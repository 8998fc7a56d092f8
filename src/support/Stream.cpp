#include "support/Stream.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "sdk/Exception.h"

namespace {

// A capacity that the growth rules compute in double. Values beyond size_t
// become a request that no allocator can serve, so the growth fails with
// ZRT_ERROR_OUT_OF_MEMORY instead of wrapping around to a small block (SIZE_MAX
// itself would mean "double the block" to ExpandData).
size_t CapacityFromDouble(double dCapacity)
{
    if (!(dCapacity < static_cast<double>(SIZE_MAX)))
        return SIZE_MAX - 1;
    return static_cast<size_t>(dCapacity);
}

}  // namespace

// ---- ClStream -----------------------------------------------------------------

void ClStream::Close()
{
    if (m_bBitMode)
        Flush();
}

void ClStream::Flush()
{
    if (m_nBitCount == 0)
        return;

    // The pending bits fill the top of the byte; the rest belongs to whatever
    // the stream already holds at this position.
    const uint8_t nMask = m_nBitCount >= 8 ? 0xFF : static_cast<uint8_t>(0xFF << (8 - m_nBitCount));
    uint8_t nByte;
    if (IsReadable()) {
        uint8_t nExisting = 0;
        if (ReadRaw(&nExisting, 1) == 1)
            Seek(-1, 1);
        nByte = static_cast<uint8_t>((nExisting & ~nMask) | (m_nBitBuffer & nMask));
    } else {
        nByte = static_cast<uint8_t>(m_nBitBuffer & nMask);
    }
    if (WriteRaw(&nByte, 1) != 1)
        throw ClExStreamFailToWrite("Fail to write BitBuffer into stream", ZRT_ERROR_WRITE_FAIL, false, KR9_SITE);
    m_nBitCount = 0;
}

bool ClStream::SetByteSwap(bool bSwap)
{
    const bool bWasSwapping = m_bSwapOnWrite;
    m_bSwapOnRead = bSwap;
    m_bSwapOnWrite = bSwap;
    return bWasSwapping;
}

void ClStream::CheckByteBoundary() const
{
    if (m_nBitCount != 0)
        throw ClException("the last bit I/O was finish with out bitflush.", ZRT_ERROR_CORRUPT_DATA, true, KR9_SITE);
}

void ClStream::CheckComplete(size_t nMoved, size_t nExpected) const
{
    if (m_bThrowOnShort && nMoved < nExpected)
        throw ClExStreamUnexpectedEnd("Unexpected end of stream", ZRT_ERROR_UNEXPECTED_EOF, false, KR9_SITE);
}

// Swapping moves one byte per call, from the value's last byte to its first,
// so that the value's bytes land reversed whatever the host order. Every byte
// is attempted even after a short one; the counts add up.
size_t ClStream::ReadValue(void* pValue, size_t nSize)
{
    CheckByteBoundary();
    size_t nMoved = 0;
    if (m_bSwapOnRead) {
        uint8_t* pBytes = static_cast<uint8_t*>(pValue);
        for (size_t i = nSize; i > 0; --i)
            nMoved += ReadRaw(pBytes + i - 1, 1);
    } else {
        nMoved = ReadRaw(pValue, nSize);
    }
    CheckComplete(nMoved, nSize);
    return nMoved;
}

size_t ClStream::WriteValue(const void* pValue, size_t nSize)
{
    CheckByteBoundary();
    size_t nMoved = 0;
    if (m_bSwapOnWrite) {
        const uint8_t* pBytes = static_cast<const uint8_t*>(pValue);
        for (size_t i = nSize; i > 0; --i)
            nMoved += WriteRaw(pBytes + i - 1, 1);
    } else {
        nMoved = WriteRaw(pValue, nSize);
    }
    CheckComplete(nMoved, nSize);
    return nMoved;
}

size_t ClStream::Read(uint8_t& nValue)
{
    return ReadValue(&nValue, sizeof(nValue));
}

size_t ClStream::Write(uint8_t nValue)
{
    return WriteValue(&nValue, sizeof(nValue));
}

size_t ClStream::Read(bool& bValue)
{
    uint8_t nByte = 0;
    const size_t nMoved = Read(nByte);
    if (nMoved == 1)
        bValue = nByte != 0;
    return nMoved;
}

size_t ClStream::Write(bool bValue)
{
    return Write(static_cast<uint8_t>(bValue ? 1 : 0));
}

size_t ClStream::Read(uint16_t& nValue)
{
    return ReadValue(&nValue, sizeof(nValue));
}

size_t ClStream::Write(uint16_t nValue)
{
    return WriteValue(&nValue, sizeof(nValue));
}

size_t ClStream::Read(uint32_t& nValue)
{
    return ReadValue(&nValue, sizeof(nValue));
}

size_t ClStream::Write(uint32_t nValue)
{
    return WriteValue(&nValue, sizeof(nValue));
}

size_t ClStream::Read(uint64_t& nValue)
{
    return ReadValue(&nValue, sizeof(nValue));
}

size_t ClStream::Write(uint64_t nValue)
{
    return WriteValue(&nValue, sizeof(nValue));
}

size_t ClStream::Read(double& dValue)
{
    static_assert(sizeof(double) == sizeof(uint64_t), "a double travels as eight bytes");
    uint64_t nBits;
    memcpy(&nBits, &dValue, sizeof(nBits));
    const size_t nMoved = Read(nBits);
    memcpy(&dValue, &nBits, sizeof(dValue));
    return nMoved;
}

size_t ClStream::Write(double dValue)
{
    uint64_t nBits;
    memcpy(&nBits, &dValue, sizeof(nBits));
    return Write(nBits);
}

size_t ClStream::ReadBlock(void* pData, size_t nSize)
{
    CheckByteBoundary();
    const size_t nMoved = ReadRaw(pData, nSize);
    CheckComplete(nMoved, nSize);
    return nMoved;
}

size_t ClStream::WriteBlock(const void* pData, size_t nSize)
{
    CheckByteBoundary();
    const size_t nMoved = WriteRaw(pData, nSize);
    CheckComplete(nMoved, nSize);
    return nMoved;
}

size_t ClStream::WriteString(const char* pszText)
{
    CheckByteBoundary();
    if (pszText == nullptr)
        pszText = "";
    const size_t nLength = strlen(pszText) + 1;
    if (nLength > UINT32_MAX)
        throw ClExStream("ClStream::WriteString. Text too long", ZRT_ERROR_IO, false, KR9_SITE);
    const size_t nMoved = Write(static_cast<uint32_t>(nLength));
    return nMoved + WriteBlock(pszText, nLength);
}

size_t ClStream::ReadString(char*& pszText)
{
    CheckByteBoundary();
    delete[] pszText;
    pszText = nullptr;

    uint32_t nLength = 0;
    const size_t nLengthBytes = Read(nLength);
    // Without all four bytes the length is made up of stale bytes: nothing to read.
    if (nLength == 0 || nLengthBytes != sizeof(nLength))
        return nLengthBytes;

    std::unique_ptr<char[]> pText(new (std::nothrow) char[nLength]);
    if (!pText)
        return nLengthBytes;
    const size_t nTextBytes = ReadBlock(pText.get(), nLength);
    // A stream that ends early or lacks the terminator must still give a C string.
    pText[nTextBytes < nLength ? nTextBytes : nLength - 1] = '\0';
    pszText = pText.release();
    return nLengthBytes + nTextBytes;
}

// ---- ClMemStream ----------------------------------------------------------------

ClMemStream::ClMemStream() = default;

ClMemStream::ClMemStream(void* pData, size_t nSize, bool bWritable)
    : m_pData(static_cast<uint8_t*>(pData)),
      m_nLength(nSize),
      m_nCapacity(nSize),
      m_bExternal(true),
      m_bWritable(bWritable)
{
}

ClMemStream::~ClMemStream()
{
    try {
        Close();
    } catch (...) {
        // Only pending bits can fail to go out here; the block is released all the
        // same, and a destructor has nobody to report to.
    }
}

void ClMemStream::Close()
{
    try {
        ClStream::Close();
    } catch (...) {
        ReleaseBlock();
        throw;
    }
    ReleaseBlock();
}

void ClMemStream::ReleaseBlock()
{
    if (!m_bExternal)
        free(m_pData);
    m_pData = nullptr;
    m_nLength = 0;
    m_nCapacity = 0;
    m_nPosition = 0;
}

void ClMemStream::ExpandData(size_t nNewCapacity)
{
    if (m_bExternal)
        throw ClExStream("ClMemStream::ExpandData. Stream too small", ZRT_ERROR_IO, false, KR9_SITE);
    if (nNewCapacity == SIZE_MAX)
        nNewCapacity = m_nCapacity > SIZE_MAX / 2 ? SIZE_MAX - 1 : m_nCapacity * 2;
    if (nNewCapacity <= m_nCapacity)
        return;

    uint8_t* pNewData = static_cast<uint8_t*>(malloc(nNewCapacity));
    if (pNewData == nullptr)
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, false, KR9_SITE);
    if (m_nLength != 0)
        memcpy(pNewData, m_pData, m_nLength);
    free(m_pData);
    m_pData = pNewData;
    m_nCapacity = nNewCapacity;
}

size_t ClMemStream::WriteRaw(const void* pData, size_t nSize)
{
    if (!m_bWritable)
        throw ClExStream("ClMemStream::WriteRaw. Stream is not open for write", ZRT_ERROR_IO, false, KR9_SITE);
    // Written as a difference: position plus a huge size must not wrap around.
    if (nSize > m_nCapacity - m_nPosition) {
        // Room for this write and a fifth more, so a run of small writes does not
        // reallocate every time.
        ExpandData(CapacityFromDouble((static_cast<double>(m_nCapacity) + static_cast<double>(nSize) + 8.0) * 1.2));
    }
    if (nSize == 0)
        return 0;
    memcpy(m_pData + m_nPosition, pData, nSize);
    m_nPosition += nSize;
    if (m_nPosition > m_nLength)
        m_nLength = m_nPosition;
    return nSize;
}

size_t ClMemStream::ReadRaw(void* pData, size_t nSize)
{
    // A seek may have left the position beyond the content.
    if (m_nPosition >= m_nLength)
        return 0;
    const uint64_t nAvailable = m_nLength - m_nPosition;
    const size_t nCount = nSize < nAvailable ? nSize : static_cast<size_t>(nAvailable);
    if (nCount == 0)
        return 0;
    memcpy(pData, m_pData + m_nPosition, nCount);
    m_nPosition += nCount;
    return nCount;
}

int32_t ClMemStream::Seek(int32_t nOffset, int32_t nOrigin)
{
    uint64_t nBase;
    switch (nOrigin) {
    case 0:
        nBase = 0;
        break;
    case 1:
        nBase = m_nPosition;
        break;
    case 2:
        nBase = m_nLength;
        break;
    default:
        return -1;
    }
    // Unsigned on purpose: a target before the start wraps to a huge value and is
    // refused (or fails to allocate) like any other target far beyond the end.
    const uint64_t nTarget = nBase + static_cast<uint64_t>(static_cast<int64_t>(nOffset));

    if (nTarget > m_nLength) {
        if (m_bWritable)
            ExpandData(CapacityFromDouble(static_cast<double>(nTarget) * 1.2));
        if (!m_bWritable || nTarget >= m_nCapacity)
            return -1;
        // Content stays as it was; the gap reads as zeros once a write extends it.
        memset(m_pData + m_nLength, 0, nTarget - m_nLength);
    }
    m_nPosition = nTarget;
    return 0;
}
