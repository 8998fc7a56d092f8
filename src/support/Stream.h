// Byte streams with typed reads and writes. The device's image data and the
// serialised settings are big-endian, so a new stream swaps the bytes of every
// multi-byte value on a little-endian host; SetByteSwap(false) turns that off.
//
// ClStream holds the typed layer and the byte-order logic; a concrete stream
// supplies only ReadRaw, WriteRaw and positioning. ClMemStream is the one
// concrete stream, over a memory block.
#pragma once

#include <cstddef>
#include <cstdint>

class ClStream
{
public:
    ClStream() = default;
    ClStream(const ClStream&) = delete;
    ClStream& operator=(const ClStream&) = delete;
    virtual ~ClStream() = default;

    // Writes out pending bits first when the stream is in bit mode.
    virtual void Close();
    virtual uint64_t GetPosition() const { return 0; }
    virtual uint64_t GetLength() const { return 0; }
    // Writes a partly filled bit buffer as one byte, keeping the low bits of the
    // byte already at the position when the stream can be read.
    virtual void Flush();
    // Origin 0: from the start, 1: from the position, 2: from the end. 0 on success, -1 when refused.
    virtual int32_t Seek(int32_t /*nOffset*/, int32_t /*nOrigin*/) { return 0; }
    virtual const char* GetStreamName() const { return "Unknown Stream"; }
    virtual bool IsReadable() const = 0;
    // Both return the number of bytes actually moved.
    virtual size_t WriteRaw(const void* pData, size_t nSize) = 0;
    virtual size_t ReadRaw(void* pData, size_t nSize) = 0;

    // Sets the byte order of reads and writes together; returns the write order before.
    bool SetByteSwap(bool bSwap);
    bool GetByteSwap() const { return m_bSwapOnWrite; }
    // When set, a typed operation that moves fewer bytes than asked raises
    // ZRT_ERROR_UNEXPECTED_EOF.
    void SetThrowOnShort(bool bThrow) { m_bThrowOnShort = bThrow; }
    bool GetThrowOnShort() const { return m_bThrowOnShort; }

    // The typed operations return the bytes moved. A short read leaves the bytes
    // of the value that were not reached unchanged.
    size_t Read(uint8_t& nValue);
    size_t Write(uint8_t nValue);
    // One byte: written as 0 or 1, any non-zero byte reads as true.
    size_t Read(bool& bValue);
    size_t Write(bool bValue);
    size_t Read(uint16_t& nValue);
    size_t Write(uint16_t nValue);
    size_t Read(uint32_t& nValue);
    size_t Write(uint32_t nValue);
    size_t Read(uint64_t& nValue);
    size_t Write(uint64_t nValue);
    // A double travels as the eight bytes of its bit pattern, in the order of a uint64.
    size_t Read(double& dValue);
    size_t Write(double dValue);
    // Raw bytes, never swapped.
    size_t ReadBlock(void* pData, size_t nSize);
    size_t WriteBlock(const void* pData, size_t nSize);
    // A uint32 length that counts the terminator, then the text with its
    // terminator. A null text is written as the empty text.
    size_t WriteString(const char* pszText);
    // Replaces pszText (released with delete[] first) by a new text that the
    // caller releases with delete[]. A length of 0 leaves it null; so does an
    // allocation failure, after which only the length's four bytes are counted.
    // The result is always terminated, even when the stream ends early.
    size_t ReadString(char*& pszText);

protected:
    // Raises ZRT_ERROR_CORRUPT_DATA while bits are pending: byte-wise access
    // would lose them.
    void CheckByteBoundary() const;

    bool m_bBitMode = false;
    bool m_bThrowOnShort = false;
    uint64_t m_nBitCount = 0;    // bits pending in m_nBitBuffer, 0 on a byte boundary
    uint8_t m_nBitBuffer = 0;    // pending bits, the first at the top
    bool m_bSwapOnRead = true;
    bool m_bSwapOnWrite = true;

private:
    size_t ReadValue(void* pValue, size_t nSize);
    size_t WriteValue(const void* pValue, size_t nSize);
    void CheckComplete(size_t nMoved, size_t nExpected) const;
};

// A stream over a memory block. Over a caller's block (external) it never
// reallocates: writing past the end of the block fails with ZRT_ERROR_IO. A
// stream made without a block owns a heap block that grows as it is written.
class ClMemStream : public ClStream
{
public:
    // An empty, writable stream that owns and grows its block.
    ClMemStream();
    // Takes the caller's block as it is: its whole size counts as content.
    ClMemStream(void* pData, size_t nSize, bool bWritable);
    ~ClMemStream() override;

    void Close() override;
    uint64_t GetPosition() const override { return m_nPosition; }
    uint64_t GetLength() const override { return m_nLength; }
    int32_t Seek(int32_t nOffset, int32_t nOrigin) override;
    const char* GetStreamName() const override { return "Mem Stream"; }
    bool IsReadable() const override { return true; }
    size_t WriteRaw(const void* pData, size_t nSize) override;
    // Never raises: at the end it moves what is left, possibly nothing.
    size_t ReadRaw(void* pData, size_t nSize) override;

    // The block, or null while the stream holds no content.
    uint8_t* GetData() const { return m_nLength != 0 ? m_pData : nullptr; }
    uint64_t GetCapacity() const { return m_nCapacity; }
    // Grows an owned block to nNewCapacity bytes, keeping the content; SIZE_MAX
    // doubles it. A smaller request does nothing. An external block raises
    // ZRT_ERROR_IO.
    void ExpandData(size_t nNewCapacity);

private:
    void ReleaseBlock();

    uint8_t* m_pData = nullptr;
    uint64_t m_nLength = 0;      // bytes of valid content
    uint64_t m_nCapacity = 0;    // bytes of the block
    uint64_t m_nPosition = 0;    // never above the capacity
    bool m_bExternal = false;    // the block belongs to the caller
    bool m_bWritable = true;
};
