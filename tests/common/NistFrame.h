// Test helper: one of the four real fingerprints of the shared test data as a
// raw 256 x 360 sensor frame (the picture KR9EMU_SetFrames takes).
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

// "arch", "loop-right", "tented_arch" or "whorl"; empty when the file cannot be read.
inline std::vector<uint8_t> ReadNistFrame(const char* pszName)
{
    std::ifstream file(std::string(KR9_TESTDATA_DIR) + "/nist/" + pszName + ".pgm", std::ios::binary);
    std::string strMagic;
    int nWidth = 0, nHeight = 0, nMaxValue = 0;
    file >> strMagic >> nWidth >> nHeight >> nMaxValue;
    file.get();
    std::vector<uint8_t> frame(256 * 360);
    if (strMagic != "P5" || nWidth != 256 || nHeight != 360 ||
        !file.read(reinterpret_cast<char*>(frame.data()), static_cast<std::streamsize>(frame.size())))
        frame.clear();
    return frame;
}
