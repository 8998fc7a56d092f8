// A synthetic finger pressed on the sensor: the raw picture the KR9 takes of
// it at a given pressure. The ridge pattern belongs to the seed (the same
// finger every time); the sensor noise changes from frame to frame as on a
// real device, but is fixed by the seed and the frame number too.
#pragma once

#include <cstdint>

class ClFingerModel
{
public:
    explicit ClFingerModel(uint32_t uiSeed);

    // Renders KR9EMU_FRAME_BYTES into pFrame. dPressure runs from 0 (the finger
    // just touches: a small contact patch around the core) to 1 (pressed down:
    // the full contact area); values outside are clamped.
    void Render(uint8_t* pFrame, double dPressure, uint32_t uiFrameNumber) const;

private:
    uint32_t m_uiSeed;
    double m_dCoreX;        // the core: where the innermost ridge turns
    double m_dCoreY;
    double m_dLoopLength;   // how far below the core the loop's ridges run before they flatten
    double m_dDrift;        // how the loop leans to one side
    double m_dTilt;         // of the whole pattern, radians
    double m_dWarpAmplitude;
    double m_dWarpPhase;
    double m_dRidgePhase;
};
