#include "tools/ImageFiles.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <strings.h>
#include <vector>

namespace {

struct StFileCloser
{
    void operator()(FILE* pFile) const { fclose(pFile); }
};
using FilePtr = std::unique_ptr<FILE, StFileCloser>;

// pHYs holds pixels per metre; 500 dpi is 19685.
uint32_t PixelsPerMetre(uint32_t uiDpi)
{
    return static_cast<uint32_t>(uiDpi / 0.0254 + 0.5);
}

// libpng reports errors by longjmp, which must not cross C++ frames that own
// objects: everything it may jump over lives in this plain function.
bool EncodePng(FILE* pFile, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight, uint32_t uiDpi)
{
    png_structp pPng = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (pPng == nullptr)
        return false;
    png_infop pInfo = png_create_info_struct(pPng);
    if (pInfo == nullptr || setjmp(png_jmpbuf(pPng))) {
        png_destroy_write_struct(&pPng, &pInfo);
        return false;
    }
    png_init_io(pPng, pFile);
    png_set_IHDR(pPng, pInfo, uiWidth, uiHeight, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_pHYs(pPng, pInfo, PixelsPerMetre(uiDpi), PixelsPerMetre(uiDpi), PNG_RESOLUTION_METER);
    png_write_info(pPng, pInfo);
    for (uint32_t y = 0; y < uiHeight; ++y)
        png_write_row(pPng, pPixels + static_cast<size_t>(y) * uiWidth);
    png_write_end(pPng, pInfo);
    png_destroy_write_struct(&pPng, &pInfo);
    return true;
}

std::string OpenError(const std::string& strPath)
{
    return "cannot write " + strPath + ": " + strerror(errno);
}

}  // namespace

std::string WriteGrayPng(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight,
                         uint32_t uiDpi)
{
    FilePtr pFile(fopen(strPath.c_str(), "wb"));
    if (pFile == nullptr)
        return OpenError(strPath);
    const bool bEncoded = EncodePng(pFile.get(), pPixels, uiWidth, uiHeight, uiDpi);
    if (fclose(pFile.release()) != 0 || !bEncoded)
        return "cannot write " + strPath + ": PNG encoding failed";
    return std::string();
}

std::string WriteGrayPgm(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight)
{
    FilePtr pFile(fopen(strPath.c_str(), "wb"));
    if (pFile == nullptr)
        return OpenError(strPath);
    const size_t uiBytes = static_cast<size_t>(uiWidth) * uiHeight;
    const bool bWritten = fprintf(pFile.get(), "P5\n%u %u\n255\n", uiWidth, uiHeight) > 0 &&
                          fwrite(pPixels, 1, uiBytes, pFile.get()) == uiBytes;
    if (fclose(pFile.release()) != 0 || !bWritten)
        return OpenError(strPath);
    return std::string();
}

std::string WriteGrayImage(const std::string& strPath, const uint8_t* pPixels, uint32_t uiWidth, uint32_t uiHeight,
                           uint32_t uiDpi)
{
    const bool bPgm = strPath.size() >= 4 && strcasecmp(strPath.c_str() + strPath.size() - 4, ".pgm") == 0;
    return bPgm ? WriteGrayPgm(strPath, pPixels, uiWidth, uiHeight)
                : WriteGrayPng(strPath, pPixels, uiWidth, uiHeight, uiDpi);
}
