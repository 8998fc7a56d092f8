/*
 * QuorvaneTactiviewKR9.h - C interface of the KR9 fingerprint live scanner SDK.
 *
 * Every function returns a result code: 0 (ZRT_SUCCESS) on success, a negative
 * ZRT_ code on failure. TV_KR9GetErrorDescriptionA turns a code into text.
 * Buffers always belong to the caller; nothing the library returns needs
 * freeing. Images are 8-bit, single plane, 256 x 360 pixels at 500 dpi.
 *
 * Typical session:
 *   TV_KR9Initialize(NULL);
 *   TV_KR9QueryScanners(NULL, &count);           (count 0 first: -702 + count)
 *   TV_KR9QueryScanners(names, &count);          (16-byte records)
 *   TV_KR9OpenScanner(names, &h);
 *   TV_KR9SetCaptureMode(h, 0);
 *   loop: TV_KR9GetImage(h, image, &reserved, &final, &status)
 *         until final != 0 or status != 0
 *   TV_KR9CloseScanner(&h);
 *   TV_KR9Uninitialize();
 */
#ifndef QUORVANE_TACTIVIEW_KR9_H
#define QUORVANE_TACTIVIEW_KR9_H

#include <stdint.h>

#if defined(_WIN32)
#  if defined(TV_KR9_BUILDING_LIBRARY)
#    define TV_KR9_API __declspec(dllexport)
#  else
#    define TV_KR9_API __declspec(dllimport)
#  endif
#  define TV_KR9_CALL __stdcall
#else
#  define TV_KR9_API __attribute__((visibility("default")))
#  define TV_KR9_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The property integer of this interface is 32 bits wide on every platform. */
typedef int32_t TV_KR9Long;

/* Width of one record in the list that TV_KR9QueryScanners fills. */
#define TV_KR9_SCANNER_NAME_SIZE 16

#include "QuorvaneTactiviewKR9Codes.h"

/* ---- Lifecycle ---------------------------------------------------------- */
TV_KR9_API int32_t TV_KR9_CALL TV_KR9Initialize(void* pReserved);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9Uninitialize(void);
/* 0 when the SDK serves interface version "major.minor" (2.7 or newer),
 * -103 when that version is too old, -44 when the text is no version. */
TV_KR9_API int32_t TV_KR9_CALL TV_KR9CompatibilityCheck(const char* pszVersion);
/* Static text of a result code; "Unknown error code." for codes not in the table. */
TV_KR9_API const char* TV_KR9_CALL TV_KR9GetErrorDescriptionA(uint32_t code);

/* ---- Discovery and opening ---------------------------------------------- */
TV_KR9_API int32_t TV_KR9_CALL TV_KR9QueryScanners(char* pNames, uint64_t* pCount);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9OpenScanner(const char* pszName, void** phScanner);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9CloseScanner(void** phScanner);

/* ---- Session ------------------------------------------------------------ */
TV_KR9_API int32_t TV_KR9_CALL TV_KR9TriggerScanner(void* hScanner);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetScannerCondition(void* hScanner, uint32_t* pCondition,
                                                         uint32_t* pSubCondition);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImageSize(void* hScanner, uint64_t* pWidth, uint64_t* pHeight);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImageSize(void* hScanner, uint64_t* pWidth,
                                                         uint64_t* pHeight);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImageDPI(void* hScanner, uint64_t* pDpiX, uint64_t* pDpiY);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImageDPI(void* hScanner, uint64_t* pDpiX, uint64_t* pDpiY);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetSerialNumber(void* hScanner, char* pszSerial);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetVersionString(void* hScanner, char* pszVersion, uint64_t* pSize);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetCaptureMode(void* hScanner, int32_t mode);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetCaptureMode(void* hScanner, int32_t* pMode);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImage(void* hScanner, void* pImage, uint64_t* pReserved,
                                              uint8_t* pFinal, int32_t* pStatus);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImage(void* hScanner, void* pImage, uint64_t* pReserved,
                                                     uint8_t* pFinal, int32_t* pStatus);

/* ---- Properties --------------------------------------------------------- */
TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetPropertyA(void* hScanner, const char* pszName, const char* pszValue);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetPropertyLongA(void* hScanner, const char* pszName, TV_KR9Long value);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPropertyA(void* hScanner, const char* pszName, char* pszValue,
                                                  uint64_t* pSize);
TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPropertyLongA(void* hScanner, const char* pszName, TV_KR9Long* pValue);

#ifdef __cplusplus
}
#endif

#endif /* QUORVANE_TACTIVIEW_KR9_H */
