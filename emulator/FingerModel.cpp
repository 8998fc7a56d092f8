#include "emulator/FingerModel.h"

#include <algorithm>
#include <cmath>

#include "emulator/KR9DeviceModel.h"
#include "KR9Emulator.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
// Ridges of an adult finger lie about 0.45 mm apart: 9 pixels at 500 dpi.
constexpr double kRidgePeriod = 9.0;
// Half axes of the contact area of a finger pressed down, in pixels (about 11 x 16 mm).
constexpr double kFullHalfWidth = 108.0;
constexpr double kFullHalfHeight = 156.0;
// A finger that just touches already covers this share of the full contact area's axes.
constexpr double kFirstContact = 0.25;
constexpr double kRidgeValue = 45.0;    // raw value of a ridge pressed onto the sensor
constexpr double kValleyValue = 205.0;  // and of the valley between two ridges
constexpr double kNoiseAmplitude = 6.0;

// A hash rather than a generator: any pixel of any frame can be drawn on its
// own, and the result does not depend on the C library.
uint32_t Mix(uint32_t a, uint32_t b)
{
    uint32_t h = a * 0x9E3779B1u ^ (b + 0x7F4A7C15u + (a << 6) + (a >> 2));
    h ^= h >> 16;
    h *= 0x85EBCA6Bu;
    h ^= h >> 13;
    h *= 0xC2B2AE35u;
    h ^= h >> 16;
    return h;
}

// Uniform in [0, 1).
double Unit(uint32_t uiHash)
{
    return static_cast<double>(uiHash >> 8) / static_cast<double>(1u << 24);
}

}  // namespace

ClFingerModel::ClFingerModel(uint32_t uiSeed)
    : m_uiSeed(uiSeed),
      m_dCoreX(KR9EMU_FRAME_WIDTH / 2 + (Unit(Mix(uiSeed, 1)) - 0.5) * 30.0),
      m_dCoreY(KR9EMU_FRAME_HEIGHT * 0.42 + (Unit(Mix(uiSeed, 2)) - 0.5) * 30.0),
      m_dLoopLength(40.0 + Unit(Mix(uiSeed, 3)) * 40.0),
      m_dDrift((Unit(Mix(uiSeed, 8)) - 0.5) * 0.6),
      m_dTilt((Unit(Mix(uiSeed, 4)) - 0.5) * 0.5),
      m_dWarpAmplitude(3.0 + Unit(Mix(uiSeed, 5)) * 5.0),
      m_dWarpPhase(Unit(Mix(uiSeed, 6)) * 2.0 * kPi),
      m_dRidgePhase(Unit(Mix(uiSeed, 7)) * 2.0 * kPi)
{
}

void ClFingerModel::Render(uint8_t* pFrame, double dPressure, uint32_t uiFrameNumber) const
{
    const double dPress = std::clamp(dPressure, 0.0, 1.0);
    const double dScale = kFirstContact + (1.0 - kFirstContact) * dPress;
    const double dHalfWidth = kFullHalfWidth * dScale;
    const double dHalfHeight = kFullHalfHeight * dScale;
    // The contact area is centred a little below the core, where the finger pad is.
    const double dAreaX = m_dCoreX;
    const double dAreaY = m_dCoreY + 25.0;
    const double dCos = std::cos(m_dTilt);
    const double dSin = std::sin(m_dTilt);
    const uint32_t uiNoiseKey = Mix(m_uiSeed, uiFrameNumber + 0x51ED27u);

    for (int32_t y = 0; y < KR9EMU_FRAME_HEIGHT; ++y) {
        for (int32_t x = 0; x < KR9EMU_FRAME_WIDTH; ++x) {
            const double dNoise = (Unit(Mix(uiNoiseKey, static_cast<uint32_t>(y * KR9EMU_FRAME_WIDTH + x))) - 0.5) *
                                  2.0 * kNoiseAmplitude;
            double dValue = ClKR9DeviceModel::kEmptySensorValue + dNoise * 0.5;
            const double ax = (x - dAreaX) / dHalfWidth;
            const double ay = (y - dAreaY) / dHalfHeight;
            const double dRadius = std::sqrt(ax * ax + ay * ay);
            if (dRadius < 1.0) {
                // Above the core the ridges turn around it; below it they run down
                // on both sides as a hairpin, the loop most fingers show, and further
                // down they flatten into the arches across the finger's base.
                const double dx = x - m_dCoreX;
                const double dy = y - m_dCoreY;
                const double u = dCos * dx + dSin * dy;
                const double v = -dSin * dx + dCos * dy;
                const double dLoop = v < 0.0 ? std::hypot(u, v * 1.15) : std::abs(u + m_dDrift * v * v / 100.0);
                const double dBase = std::clamp((v - m_dLoopLength) / 60.0, 0.0, 1.0);
                const double dBlend = dBase * dBase * (3.0 - 2.0 * dBase);
                double dDistance = (1.0 - dBlend) * dLoop + dBlend * (v + m_dLoopLength);
                // A slow wave bends the ridges as skin does.
                dDistance += m_dWarpAmplitude * std::sin(v / 37.0 + m_dWarpPhase) * std::min(1.0, dDistance / 40.0);
                const double dRidge = 0.5 + 0.5 * std::cos(2.0 * kPi * dDistance / kRidgePeriod + m_dRidgePhase);
                const double dFinger = kRidgeValue + (kValleyValue - kRidgeValue) * dRidge + dNoise;
                // Towards the rim of the contact area the skin touches less: the ridges fade out.
                const double dContact = std::min(1.0, (1.0 - dRadius) * 5.0);
                dValue = dContact * dFinger + (1.0 - dContact) * dValue;
            }
            pFrame[y * KR9EMU_FRAME_WIDTH + x] = static_cast<uint8_t>(std::clamp(dValue, 0.0, 255.0));
        }
    }
}
