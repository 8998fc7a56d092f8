// Raw sensor pictures of a finger that does not exist: loops of dark ridges
// about 9 pixels apart (ridge spacing at 500 dpi), inside an elliptic finger
// area, on the bright empty sensor, with a little deterministic noise.
#pragma once

#include <cstdint>

void RenderSyntheticFinger(uint8_t* pFrame, int32_t nCenterX, int32_t nCenterY, uint32_t uiSeed);
