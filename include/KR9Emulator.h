/*
 * KR9Emulator.h - virtual KR9 scanners.
 *
 * A virtual scanner is a model of the KR9's firmware inside the SDK library:
 * it answers every command, hands out session tags, keeps its registers, and
 * serves frames as 4096-byte chunks exactly as the hardware does. Once
 * plugged, it shows up in TV_KR9QueryScanners as "KR9 <serial>" beside real
 * USB scanners and can be opened and captured from like one. Applications
 * that never call KR9EMU_Plug see real hardware only.
 *
 * Every function is thread-safe: a test may drive the device from one thread
 * while the SDK talks to it from another. Results are 0 or a ZRT_ code:
 * -42 (ZRT_ERROR_NO_HANDLE) for a null device, -43 for a device pointer that
 * is not plugged (any more), -44 (ZRT_ERROR_INVALID_PARAMETER) for a bad argument.
 */
#ifndef KR9_EMULATOR_H
#define KR9_EMULATOR_H

#include <stdint.h>

#include "QuorvaneTactiviewKR9.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KR9EMU_Device KR9EMU_Device;

/* Sensor geometry: raw frames are KR9EMU_FRAME_WIDTH x KR9EMU_FRAME_HEIGHT bytes, row-major. */
#define KR9EMU_FRAME_WIDTH 256
#define KR9EMU_FRAME_HEIGHT 360
#define KR9EMU_FRAME_BYTES (KR9EMU_FRAME_WIDTH * KR9EMU_FRAME_HEIGHT)
/* A report as it travels on the wire (the host's 65-byte buffer without its report id byte). */
#define KR9EMU_REPORT_BYTES 64

/* Faults that KR9EMU_SetFault can inject. */
#define KR9EMU_FAULT_SWALLOW_REPLY 1 /* the device sends no reply: the host's read times out */
#define KR9EMU_FAULT_STATUS_254 2    /* a status byte that would be 255 (yes, success) is 254 */
#define KR9EMU_FAULT_CHUNK_FAIL 3    /* a chunk fetch fails; the chunk is lost */
#define KR9EMU_FAULT_LATE_REPLY 4    /* a reply arrives only after the host's read has timed out */

typedef struct KR9EMU_Stats
{
    uint32_t commandsById[256]; /* output reports received, by command id (byte 8 of the host's buffer) */
    uint32_t sessionsOpened;    /* session openings (reports of all 0xFF) */
    uint32_t reportsReceived;   /* every output report */
    uint32_t chunksServed;      /* chunk fetches answered with data */
    uint8_t registers[256];     /* the register file */
    int32_t started;            /* 1 between StartDevice and StopDevice */
    int32_t fingerPresent;      /* what IsFingerPresent answers */
} KR9EMU_Stats;

/* A new virtual scanner with that serial number (0 to 8 characters). NULL for a
 * null, overlong or already plugged serial. Register 28 starts at 0x5A, firmware
 * version 1.2.3.4, no finger, real-device timing. */
TV_KR9_API KR9EMU_Device* KR9EMU_Plug(const char* serial);

/* Removes the scanner from enumeration and frees the device object. Every
 * transfer of a session still open on it fails from then on, as with a USB
 * device that has been pulled out. */
TV_KR9_API int32_t KR9EMU_Unplug(KR9EMU_Device* device);

/* What the finger-presence command answers: non-zero for a finger on the sensor. */
TV_KR9_API int32_t KR9EMU_SetFingerPresent(KR9EMU_Device* device, int32_t present);

/* A scripted touch, as a person at the scanner would give it, in rounds from
 * now on: the finger stays away for half a second, is placed and pressed down
 * for pressMs (its contact area grows until it settles), held still for holdMs
 * and lifted; then the next round. The finger is synthetic: ridges about 9
 * pixels apart curving around a core, with sensor noise, the same for the same
 * seed. The timing follows the clock, so it suits a device with real timing
 * (the default of KR9EMU_SetTiming). holdMs 0 ends the touch; so do
 * KR9EMU_SetFingerPresent and KR9EMU_SetFrames. Up to 60000 ms each.
 *
 * KR9_VIRTUAL_SCANNERS=SERIAL[,SERIAL...] in the environment of a process plugs
 * such scanners when the library loads: a development aid to run an unmodified
 * application without hardware. */
TV_KR9_API int32_t KR9EMU_Touch(KR9EMU_Device* device, uint32_t seed, uint32_t pressMs, uint32_t holdMs);

/* Raw sensor pictures, count x KR9EMU_FRAME_BYTES bytes in image order (row-major,
 * column 0 at the left). Grabs deliver them in order and repeat the last one;
 * 16-bit grabs deliver each value times 257. count 0 goes back to the built-in
 * pictures: a synthetic finger while one is present, an empty sensor otherwise.
 * The frames are copied. */
TV_KR9_API int32_t KR9EMU_SetFrames(KR9EMU_Device* device, const uint8_t* frames, uint32_t count);

/* frameMs: how long the chunk fetches of one frame take in all; replyMs: how long a
 * reply takes. The defaults model a full-speed device (100 ms a frame, 2 ms a
 * reply); tests use 0. */
TV_KR9_API int32_t KR9EMU_SetTiming(KR9EMU_Device* device, uint32_t frameMs, uint32_t replyMs);

TV_KR9_API int32_t KR9EMU_SetRegister(KR9EMU_Device* device, uint8_t reg, uint8_t value);
TV_KR9_API int32_t KR9EMU_SetFirmwareVersion(KR9EMU_Device* device, uint8_t major, uint8_t minor, uint8_t patch,
                                             uint8_t build);

/* Injects a KR9EMU_FAULT_ for the next count occurrences; count -1 keeps it until
 * it is cleared with count 0. */
TV_KR9_API int32_t KR9EMU_SetFault(KR9EMU_Device* device, int32_t fault, int32_t count);

TV_KR9_API int32_t KR9EMU_GetStats(KR9EMU_Device* device, KR9EMU_Stats* stats);

/* Copies the output reports received so far (oldest first, at most the last 4096),
 * KR9EMU_REPORT_BYTES each, into reports. *count holds the capacity in reports on
 * entry and the number available on return; -702 when the buffer is too small
 * (nothing is copied then). reports may be null with a capacity of 0. */
TV_KR9_API int32_t KR9EMU_GetReportLog(KR9EMU_Device* device, uint8_t* reports, uint32_t* count);
TV_KR9_API int32_t KR9EMU_ClearReportLog(KR9EMU_Device* device);

/* Renders a synthetic fingerprint, a raw sensor picture of KR9EMU_FRAME_BYTES: dark
 * ridges in an elliptic finger area centred at (centerX, centerY) on a bright
 * empty sensor. The same seed gives the same picture. */
TV_KR9_API int32_t KR9EMU_RenderFinger(uint8_t* frame, int32_t centerX, int32_t centerY, uint32_t seed);

#ifdef __cplusplus
}
#endif

#endif /* KR9_EMULATOR_H */
