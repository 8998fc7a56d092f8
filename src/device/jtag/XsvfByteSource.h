// Where the player's bytes come from: an open file, if one is set, or else a
// memory block read with a running offset. Nothing is read past the end of
// either; a read with nothing left yields nothing and leaves its target as it
// was, and the source remembers that the stream ran short.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

class ClXsvfByteSource
{
public:
    // False when the file cannot be opened; the source is then unset.
    bool OpenFile(const std::string& strPath);
    // The block is borrowed and must outlive the reads.
    void SetMemory(const uint8_t* pData, size_t nSize);

    bool ReadByte(uint8_t& ucByte);
    // False, with the bytes that did come kept in place, when the stream ends first.
    bool ReadBytes(uint8_t* pData, size_t nCount);
    // A big-endian number of nBytes bytes.
    bool ReadNumber(uint32_t& uiValue, size_t nBytes);

    uint64_t GetBytesRead() const { return m_uiBytesRead; }
    // The length of the stream when known (memory, a regular file), else 0.
    uint64_t GetSize() const { return m_uiSize; }
    bool HasRunShort() const { return m_bRanShort; }

private:
    struct StFileCloser
    {
        void operator()(std::FILE* pFile) const { std::fclose(pFile); }
    };

    std::unique_ptr<std::FILE, StFileCloser> m_pFile;
    const uint8_t* m_pData = nullptr;
    size_t m_nOffset = 0;
    uint64_t m_uiSize = 0;
    uint64_t m_uiBytesRead = 0;
    bool m_bRanShort = false;
};
