// Writing 8-bit grayscale images to files: PNG with the scanner's resolution
// in its pHYs chunk, or PGM for tools that want no library.
#pragma once

#include <cstdint>
#include <string>

// Both return an empty string on success, else what went wrong.
std::string WriteGrayPng(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight,
                         uint32_t uiDpi);
std::string WriteGrayPgm(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight);
// PGM for a name ending in ".pgm" (any case), PNG otherwise.
std::string WriteGrayImage(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight,
                           uint32_t uiDpi);
