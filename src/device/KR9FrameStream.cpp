// The frame pipe of the KR9: after a grab command the device sends the sensor
// image as two halves, each a run of chunks fetched through the
// physical-descriptor request (the layout stands in KR9WireProtocol.h). Here the
// chunks become a 256 x 360 image.
#include <array>
#include <cstring>

#include "sdk/Exception.h"
#include "device/KR9USBProtocol.h"
#include "device/KR9WireProtocol.h"
#include "support/Stream.h"

namespace {

using KR9Wire::kChunkSize;
using KR9Wire::kHalfColumns;
using KR9Wire::kPixelsPerHalf;
constexpr size_t kRows = KR9Wire::kFrameHeight;

// Interleaves the two halves into rows of 256 pixels. "First" is the half that came first.
template <typename TPixel>
void AssembleHalves(TPixel* pPixels, const TPixel* pFirst, const TPixel* pSecond, bool bExchangeHalves)
{
    const TPixel* pLeft = bExchangeHalves ? pSecond : pFirst;
    const TPixel* pRight = bExchangeHalves ? pFirst : pSecond;
    for (size_t r = 0; r < kRows; ++r) {
        memcpy(pPixels + r * 2 * kHalfColumns, pLeft + r * kHalfColumns, kHalfColumns * sizeof(TPixel));
        memcpy(pPixels + r * 2 * kHalfColumns + kHalfColumns, pRight + r * kHalfColumns, kHalfColumns * sizeof(TPixel));
    }
}

void ThrowUnexpectedEnd()
{
    throw ClExStreamUnexpectedEnd("Unexpected end of stream", ZRT_ERROR_UNEXPECTED_EOF, true, KR9_SITE);
}

}  // namespace

void ClKR9USBProtocol::ReadFrame16(uint16_t* pPixels, bool bExchangeHalves)
{
    constexpr size_t kHalfBytes = kPixelsPerHalf * sizeof(uint16_t);   // 92160
    constexpr size_t kWholeChunks = kHalfBytes / kChunkSize;            // 22
    constexpr size_t kTailWords = (kHalfBytes % kChunkSize) / 2;        // 1024

    // The streams write bytes into word storage, so the halves need no second copy.
    std::array<std::array<uint16_t, kPixelsPerHalf>, 2> halves;
    std::array<uint8_t, kChunkSize> chunk{};
    for (size_t h = 0; h < halves.size(); ++h) {
        ClMemStream stream(halves[h].data(), kHalfBytes, true);
        // Words arrive high byte first; the stream's swapped write stores them in host order.
        stream.SetByteSwap(true);
        auto writeWords = [&](size_t uiWords) {
            size_t uiWritten = 0;
            for (size_t w = 0; w < uiWords; ++w) {
                uint16_t usWord;
                memcpy(&usWord, chunk.data() + 2 * w, sizeof(usWord));
                uiWritten += stream.Write(usWord);
            }
            if (stream.GetThrowOnShort() && uiWritten != uiWords * sizeof(uint16_t))
                ThrowUnexpectedEnd();
        };
        // A chunk that the device failed to deliver leaves the previous bytes in
        // the buffer; the frame goes on with them, as nothing tells a damaged one.
        for (size_t c = 0; c < kWholeChunks; ++c) {
            m_pInterface->GetPhysicalDescriptor(chunk.data(), kChunkSize);
            writeWords(kChunkSize / 2);
        }
        m_pInterface->GetPhysicalDescriptor(chunk.data(), kChunkSize);
        writeWords(kTailWords);
    }

    AssembleHalves(pPixels, halves[0].data(), halves[1].data(), bExchangeHalves);
}

void ClKR9USBProtocol::ReadFrame8(uint8_t* pPixels, bool bExchangeHalves)
{
    constexpr size_t kHalfBytes = kPixelsPerHalf;                 // 46080
    constexpr size_t kWholeChunks = kHalfBytes / kChunkSize;      // 11
    constexpr size_t kTailBytes = kHalfBytes % kChunkSize;        // 1024

    std::array<std::array<uint8_t, kHalfBytes>, 2> halves;
    std::array<uint8_t, kChunkSize> chunk{};
    for (size_t h = 0; h < halves.size(); ++h) {
        ClMemStream stream(halves[h].data(), kHalfBytes, true);
        // Whole runs of bytes: one block write per chunk moves the same bytes
        // as single writes would, at a fraction of the cost per frame.
        auto writeBytes = [&](size_t uiBytes) {
            const size_t uiWritten = stream.WriteBlock(chunk.data(), uiBytes);
            if (stream.GetThrowOnShort() && uiWritten != uiBytes)
                ThrowUnexpectedEnd();
        };
        for (size_t c = 0; c < kWholeChunks; ++c) {
            m_pInterface->GetPhysicalDescriptor(chunk.data(), kChunkSize);
            writeBytes(kChunkSize);
        }
        m_pInterface->GetPhysicalDescriptor(chunk.data(), kChunkSize);
        writeBytes(kTailBytes);
    }
    AssembleHalves(pPixels, halves[0].data(), halves[1].data(), bExchangeHalves);
}
