// libFuzzer target: any byte string is an XSVF stream for the player, played
// against the simulated chain. Besides the sanitizers it checks what must
// hold for every stream: the outcome is one of the table's, nothing is read
// past the input, every packet is one the device understands, and a stream
// that plays through leaves the device in the state the player believes.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sdk/Exception.h"
#include "device/jtag/XsvfPlayer.h"
#include "emulator/jtag/SimulatedTapChain.h"

namespace {

// Streams may ask for billions of clocks; the simulated device goes away
// after this many packets, which keeps any input to about a millisecond.
constexpr uint64_t kPacketBudget = 512;

void Require(bool bHolds)
{
    if (!bHolds)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    ClSimulatedTapChain chain{ClSimulatedTapChain::StConfig()};
    chain.SetPacketLimit(kPacketBudget);
    ClSimulatedJtagLink link(chain);
    ClXsvfPlayer player(link);
    int32_t iError = -1;
    try {
        iError = player.PlayMemory(pData, nSize);
        Require(iError >= 0 && iError < kXsvfErrorCount);
        Require((iError == eXsvfNoError) == player.GetInfo().m_bComplete);
    } catch (const ClException& ex) {
        // The device went away at the budget: on a packet write, or on a TDO read.
        Require(ex.GetCode() == ZRT_ERROR_DEVICE_DISCONNECTED || ex.GetCode() == ZRT_ERROR_DEVICE_INTERNAL);
    }
    Require(player.GetProgress().uiBytesRead <= nSize);
    Require(chain.GetStats().uiBadPackets == 0);
    // XWAIT may clock in a state that does not hold still, which moves the
    // device where the stream did not say; other streams must agree.
    if (iError == eXsvfNoError && memchr(pData, eXWait, nSize) == nullptr)
        Require(player.GetInfo().m_ucTapState == chain.GetTapState());
    return 0;
}
