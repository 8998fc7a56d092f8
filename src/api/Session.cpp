// Opening and closing a scanner, and the session functions: each converts the
// handle and calls the member of ClKR9Handle with the same name.
#include "QuorvaneTactiviewKR9.h"

#include <cstring>
#include <string>

#include "sdk/CallFrame.h"
#include "sdk/GuardedMemory.h"
#include "sdk/SafeHandle.h"
#include "device/KR9Scanner.h"
#include "session/KR9Handle.h"

namespace {

using KR9SafeHandle = TpSafeHandle<ClKR9Handle, ClTactiviewKR9>;

// Names are compared in their first 16 bytes only, the width of a name record.
constexpr size_t kNameLength = TV_KR9_SCANNER_NAME_SIZE;

void OpenScanner(const char* pszName, void** phScanner)
{
    if (pszName == nullptr || phScanner == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    const std::string strName(pszName, strnlen(pszName, kNameLength));

    KR9SafeHandle::Create(phScanner);
    try {
        ClHIDDeviceList devices;
        ClKR9Scanner::Enumerate(devices);
        const StHIDDeviceInfo* pFound = nullptr;
        for (const StHIDDeviceInfo& device : devices) {
            if (strncmp(device.m_strName.c_str(), strName.c_str(), kNameLength) == 0) {
                pFound = &device;
                break;
            }
        }
        if (pFound == nullptr)
            throw ClExQuorvane(ZRT_ERROR_INVALID_PARAMETER, KR9_SITE);
        KR9SafeHandle::GetObject(*phScanner)->Open(*pFound);
    } catch (const ClException&) {
        // A failed open leaves no handle behind; the caller's variable becomes null.
        try {
            KR9SafeHandle::Destroy(phScanner);
        } catch (const ClException&) {
        }
        throw;
    }
}

void CloseScanner(void** phScanner)
{
    if (phScanner == nullptr)
        throw ClException("Null pointer not allowed", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
    void* hScanner = nullptr;
    if (!TryReadPointer(phScanner, &hScanner))
        ThrowHandleReferenceFault();
    // Capture thread first, device second; then the object and its record go.
    KR9SafeHandle::GetObject(hScanner)->Close();
    KR9SafeHandle::Destroy(phScanner);
}

// Runs member(args...) on the object behind the handle, in the default frame.
template <typename TMember, typename... TArgs>
int32_t RunMember(const char* pszFunction, void* hScanner, TMember member, TArgs... args)
{
    return RunInFrame(g_frameDefault, pszFunction,
                      [&] { (KR9SafeHandle::GetObject(hScanner)->*member)(args...); }, "");
}

}  // namespace

extern "C" {

TV_KR9_API int32_t TV_KR9_CALL TV_KR9OpenScanner(const char* pszName, void** phScanner)
{
    return RunInFrame(g_frameNameAndPointer, __func__, [&] { OpenScanner(pszName, phScanner); },
                      pszName != nullptr ? pszName : "(null)", static_cast<const void*>(phScanner));
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9CloseScanner(void** phScanner)
{
    return RunInFrame(g_frameDefault, __func__, [&] { CloseScanner(phScanner); }, "");
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9TriggerScanner(void* hScanner)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::Trigger);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetScannerCondition(void* hScanner, uint32_t* pCondition,
                                                         uint32_t* pSubCondition)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetScannerCondition, pCondition, pSubCondition);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImageSize(void* hScanner, uint64_t* pWidth, uint64_t* pHeight)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImageSize, pWidth, pHeight);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImageSize(void* hScanner, uint64_t* pWidth, uint64_t* pHeight)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImageSize, pWidth, pHeight);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImageDPI(void* hScanner, uint64_t* pDpiX, uint64_t* pDpiY)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImageDPI, pDpiX, pDpiY);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImageDPI(void* hScanner, uint64_t* pDpiX, uint64_t* pDpiY)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImageDPI, pDpiX, pDpiY);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetSerialNumber(void* hScanner, char* pszSerial)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetSerialNumber, pszSerial);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetVersionString(void* hScanner, char* pszVersion, uint64_t* pSize)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetVersionString, pszVersion, pSize);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9SetCaptureMode(void* hScanner, int32_t mode)
{
    return RunInFrame(g_frameMode, __func__,
                      [&] { KR9SafeHandle::GetObject(hScanner)->SetCaptureMode(mode); }, static_cast<int>(mode));
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetCaptureMode(void* hScanner, int32_t* pMode)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetCaptureMode, pMode);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetImage(void* hScanner, void* pImage, uint64_t* pReserved, uint8_t* pFinal,
                                              int32_t* pStatus)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImage, pImage, pReserved, pFinal, pStatus);
}

TV_KR9_API int32_t TV_KR9_CALL TV_KR9GetPreviewImage(void* hScanner, void* pImage, uint64_t* pReserved,
                                                     uint8_t* pFinal, int32_t* pStatus)
{
    return RunMember(__func__, hScanner, &ClKR9Handle::GetImage, pImage, pReserved, pFinal, pStatus);
}

}  // extern "C"
