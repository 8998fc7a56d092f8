#include "emulator/SyntheticFinger.h"

#include <algorithm>
#include <cmath>

#include "KR9Emulator.h"
#include "emulator/KR9DeviceModel.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRidgePeriod = 9.0;
constexpr double kHalfWidth = 88.0;    // of the finger area, in pixels
constexpr double kHalfHeight = 135.0;

// Small, fast and the same everywhere: the pictures must not depend on the C library.
class ClNoise
{
public:
    explicit ClNoise(uint32_t uiSeed) : m_uiState(uiSeed * 2654435761u + 0x9E3779B9u) {}
    // Uniform in [-1, 1).
    double Next()
    {
        m_uiState = m_uiState * 1664525u + 1013904223u;
        return static_cast<double>(m_uiState >> 8) / static_cast<double>(1u << 23) - 1.0;
    }

private:
    uint32_t m_uiState;
};

}  // namespace

void RenderSyntheticFinger(uint8_t* pFrame, int32_t nCenterX, int32_t nCenterY, uint32_t uiSeed)
{
    ClNoise noise(uiSeed);
    // The seed also turns and shifts the pattern a little, so frames of two seeds differ in their ridges.
    const double dPhase = (uiSeed % 97) / 97.0 * 2.0 * kPi;
    // In double from the start: a centre anywhere in the int32 range, far off the sensor, must not overflow.
    const double dCenterX = nCenterX;
    const double dCenterY = nCenterY;
    const double dCoreX = dCenterX + (static_cast<int32_t>(uiSeed % 11) - 5);
    const double dCoreY = dCenterY - 20.0 + (static_cast<int32_t>(uiSeed % 7) - 3);

    for (int32_t y = 0; y < KR9EMU_FRAME_HEIGHT; ++y) {
        for (int32_t x = 0; x < KR9EMU_FRAME_WIDTH; ++x) {
            const double dx = (x - dCenterX) / kHalfWidth;
            const double dy = (y - dCenterY) / kHalfHeight;
            const double dRadius = std::sqrt(dx * dx + dy * dy);
            double dValue = ClKR9DeviceModel::kEmptySensorValue + 3.0 * noise.Next();
            if (dRadius < 1.0) {
                // Loops around a core above the centre, stretched vertically like a fingertip.
                const double ex = x - dCoreX;
                const double ey = (y - dCoreY) * 0.8;
                const double dDistance = std::sqrt(ex * ex + ey * ey) + 4.0 * std::sin(std::atan2(ey, ex) * 2.0);
                const double dRidge = 0.5 + 0.5 * std::cos(2.0 * kPi * dDistance / kRidgePeriod + dPhase);
                const double dFinger = 60.0 + 150.0 * dRidge + 8.0 * noise.Next();
                // Pressure fades towards the rim of the finger area.
                const double dContact = std::min(1.0, (1.0 - dRadius) * 6.0);
                dValue = dContact * dFinger + (1.0 - dContact) * dValue;
            }
            pFrame[y * KR9EMU_FRAME_WIDTH + x] = static_cast<uint8_t>(std::clamp(dValue, 0.0, 255.0));
        }
    }
}
