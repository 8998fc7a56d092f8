// The packets that carry pin changes: pairs of pin states in 0xA1, whole TDI
// bytes in 0xA2, each queue emptied before the other takes work, and the
// device end replaying them on its TAP controller.
#include <gtest/gtest.h>

#include "device/jtag/JtagPinQueue.h"
#include "emulator/jtag/SimulatedTapChain.h"

TEST(JtagPinQueue, PacketsKeepTheOrderAndPairingOfPinChanges)
{
    ClSimulatedTapChain chain{ClSimulatedTapChain::StConfig()};
    chain.RecordPackets(true);
    ClSimulatedJtagLink link(chain);
    ClJtagPinQueue pins(link);

    // 125 states: TMS high, then TCK up and down; the 124th sends a full packet by itself.
    pins.SetPin(ClJtagPinQueue::ePinTms, true);
    for (int i = 1; i < 125; ++i)
        pins.SetPin(ClJtagPinQueue::ePinTck, i % 2 != 0);
    ASSERT_EQ(chain.GetPackets().size(), 1u);
    EXPECT_EQ(chain.GetPackets()[0][0], 0xA1);
    EXPECT_EQ(chain.GetPackets()[0][1], 62);
    EXPECT_EQ(chain.GetPackets()[0][2], 0x76);   // TDI and TMS, then TCK up too

    // A TDI byte sends the odd state first, its state copied into the high nibble.
    pins.PutTdiByte(0x5A);
    ASSERT_EQ(chain.GetPackets().size(), 2u);
    EXPECT_EQ(chain.GetPackets()[1][1], 1);
    EXPECT_EQ(chain.GetPackets()[1][2], 0x66);
    // Pin changes after bytes start from TDI high, TMS and TCK low.
    pins.SetPin(ClJtagPinQueue::ePinTck, true);
    pins.Flush();
    ASSERT_EQ(chain.GetPackets().size(), 4u);
    EXPECT_EQ((std::vector<uint8_t>{chain.GetPackets()[2][0], chain.GetPackets()[2][1], chain.GetPackets()[2][2]}),
              (std::vector<uint8_t>{0xA2, 1, 0x5A}));
    EXPECT_EQ(chain.GetPackets()[3][2], 0x55);
    EXPECT_EQ(chain.GetStats().uiBadPackets, 0u);
    // TMS high on 62 rising edges resets the TAP; the byte's eight clocks and
    // the last edge go with TMS low to Run-Test/Idle and stay there.
    EXPECT_EQ(chain.GetTapState(), 1);
    EXPECT_EQ(chain.GetStats().uiRisingEdges, 62u + 8u + 1u);
}
