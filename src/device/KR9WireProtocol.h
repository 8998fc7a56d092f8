// What travels between the host and a KR9: the command report with its
// fields, the command ids, status bytes and registers, and the layout of the
// chunk stream that carries a frame. The host's protocol and the virtual
// scanners of the emulator both read it from here, so the two ends of the
// wire cannot drift apart.
#pragma once

#include <cstddef>
#include <cstdint>

namespace KR9Wire {

// ---- the command report ------------------------------------------------------
// One layout for requests and replies. Offsets count in the host's buffer,
// whose first byte is the report id; the bytes behind it are what travels.
constexpr size_t kReportSize = 65;
constexpr uint8_t kReportId = 0;
constexpr size_t kSessionOffset = 1;        // the session tag: m_uiSessionA, then m_usSessionB
constexpr size_t kSessionSize = 6;          // 4 + 2 opaque bytes, repeated as received
constexpr size_t kCommandOffset = 8;        // byte 7 before it is reserved
constexpr size_t kArgumentOffset = 9;       // first argument of a request; status byte of a reply

// The report without its id byte, as the device sees it, and where a field lies in it.
constexpr size_t kTravellingSize = kReportSize - 1;
constexpr size_t Travelling(size_t uiOffset)
{
    return uiOffset - 1;
}

// The first exchange of a session carries neither tag nor command: every byte
// behind the report id holds this value, and the reply brings the tag.
constexpr uint8_t kOpenSessionFill = 0xFF;

// Command ids.
enum ECommand : uint8_t
{
    eWriteRegister = 1,
    eReadRegister = 2,
    eGetFirmwareVersion = 4,
    eGrabFrameClosed = 5,      // 16-bit frame, one report follows it
    eStartDevice = 8,
    eGrabFrame16 = 9,
    eIsFingerPresent = 10,
    eStopDevice = 16,
    eGetDeviceString0 = 18,    // the serial number
    eGetDeviceString1 = 20,
    eIsFrameReady = 26,
    eGrabFrame8 = 30,
    eGetDeviceString2 = 33,
};

// Status byte of a reply: only 255 means yes or success.
constexpr uint8_t kStatusYes = 255;
constexpr uint8_t kStatusNo = 0;

// The argument every grab command carries.
constexpr uint8_t kGrabArgument = 1;

// The one register the host uses: a device setting that must survive a session
// and be 0 for a frame of the register-off grab.
constexpr uint8_t kRegister28 = 28;

// Longest text of the device-string kinds 0, 1, 2; a field of full length has no terminator.
constexpr size_t kDeviceStringKinds = 3;
constexpr size_t kDeviceStringLimits[kDeviceStringKinds] = {8, 12, 32};
constexpr ECommand kDeviceStringCommands[kDeviceStringKinds] = {eGetDeviceString0, eGetDeviceString1,
                                                                eGetDeviceString2};

// ---- the frame stream --------------------------------------------------------
// A frame comes as two halves of 128 columns, each a run of whole chunks fetched
// with the HID physical-descriptor request; rows top first, no header or
// checksum, the tail of the last chunk of a half unused. 16-bit samples travel
// high byte first.
constexpr size_t kFrameWidth = 256;
constexpr size_t kFrameHeight = 360;
constexpr size_t kHalfColumns = kFrameWidth / 2;
constexpr size_t kPixelsPerHalf = kHalfColumns * kFrameHeight;   // 46080
constexpr size_t kChunkSize = 4096;
// The descriptor type of the chunk request (GET_DESCRIPTOR to the interface).
constexpr uint8_t kPhysicalDescriptorType = 0x23;

// Chunks of one half for samples of the given width in bytes: the last is partly used.
constexpr size_t ChunksPerHalf(size_t uiBytesPerPixel)
{
    return (kPixelsPerHalf * uiBytesPerPixel + kChunkSize - 1) / kChunkSize;
}

}  // namespace KR9Wire
