#include "device/jtag/XsvfByteSource.h"

#include <sys/stat.h>

bool ClXsvfByteSource::OpenFile(const std::string& strPath)
{
    *this = ClXsvfByteSource();
    m_pFile.reset(std::fopen(strPath.c_str(), "rb"));
    if (!m_pFile)
        return false;
    struct stat status;
    const bool bKnown = fstat(fileno(m_pFile.get()), &status) == 0;
    // A directory opens for reading here but yields no byte: it is no stream.
    if (bKnown && S_ISDIR(status.st_mode)) {
        m_pFile.reset();
        return false;
    }
    if (bKnown && S_ISREG(status.st_mode))
        m_uiSize = static_cast<uint64_t>(status.st_size);
    return true;
}

void ClXsvfByteSource::SetMemory(const uint8_t* pData, size_t nSize)
{
    *this = ClXsvfByteSource();
    m_pData = pData;
    m_uiSize = pData != nullptr ? nSize : 0;
}

bool ClXsvfByteSource::ReadByte(uint8_t& ucByte)
{
    if (m_pFile) {
        const int nByte = std::fgetc(m_pFile.get());
        if (nByte == EOF) {
            m_bRanShort = true;
            return false;
        }
        ucByte = static_cast<uint8_t>(nByte);
    } else if (m_pData != nullptr && m_nOffset < m_uiSize) {
        ucByte = m_pData[m_nOffset++];
    } else {
        m_bRanShort = true;
        return false;
    }
    ++m_uiBytesRead;
    return true;
}

bool ClXsvfByteSource::ReadBytes(uint8_t* pData, size_t nCount)
{
    for (size_t i = 0; i < nCount; ++i) {
        if (!ReadByte(pData[i]))
            return false;
    }
    return true;
}

bool ClXsvfByteSource::ReadNumber(uint32_t& uiValue, size_t nBytes)
{
    uint32_t uiNumber = 0;
    for (size_t i = 0; i < nBytes; ++i) {
        uint8_t ucByte;
        if (!ReadByte(ucByte))
            return false;
        uiNumber = (uiNumber << 8) | ucByte;
    }
    uiValue = uiNumber;
    return true;
}
