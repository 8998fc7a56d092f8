#include "device/jtag/JtagLink.h"

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"

void ClJtagLink::WritePacket(const uint8_t* pPacket)
{
    uint64_t uiWritten;
    {
        std::lock_guard<std::mutex> lock(m_writeLock);
        uiWritten = m_pipe.WritePipe(m_ucPipe, pPacket, kPacketSize, ClJtagPipe::kNoTimeout);
    }
    if (uiWritten != kPacketSize) {
        ClSDKLogger::Log(eLogError, "JTAG packet 0x%02x not taken by pipe %u (%llu of %llu bytes)", pPacket[0],
                         m_ucPipe, static_cast<unsigned long long>(uiWritten),
                         static_cast<unsigned long long>(kPacketSize));
        throw ClExQuorvane(ZRT_ERROR_DEVICE_DISCONNECTED, KR9_SITE);
    }
}
