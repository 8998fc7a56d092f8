// The exported KR9EMU_ functions: thin checks around the registry and the device model.
#include "KR9Emulator.h"

#include <cstring>

#include "sdk/Exception.h"
#include "emulator/KR9EmulatorRegistry.h"
#include "emulator/SyntheticFinger.h"

namespace {

// The model behind a device pointer, or the result code for a bad one.
int32_t Resolve(KR9EMU_Device* pDevice, std::shared_ptr<ClKR9DeviceModel>& pModel)
{
    if (pDevice == nullptr)
        return ZRT_ERROR_NO_HANDLE;
    pModel = ClKR9EmulatorRegistry::Instance().Find(pDevice);
    return pModel != nullptr ? ZRT_SUCCESS : ZRT_ERROR_INVALID_HANDLE;
}

// Runs fn on the model of a valid device; no exception leaves through the C interface.
template <typename TFn>
int32_t WithModel(KR9EMU_Device* pDevice, TFn fn)
{
    std::shared_ptr<ClKR9DeviceModel> pModel;
    const int32_t nResult = Resolve(pDevice, pModel);
    if (nResult != ZRT_SUCCESS)
        return nResult;
    try {
        return fn(*pModel);
    } catch (const std::bad_alloc&) {
        return ZRT_ERROR_OUT_OF_MEMORY;
    }
}

// Runs when the library is unloaded and when the process exits. Scanners still
// plugged then would outlive an unloaded library, their memory lost with the
// only pointers to it. The registry itself stays, so a thread that still calls
// in while the process exits finds no scanner rather than freed memory.
__attribute__((destructor)) void UnplugEverythingAtUnload()
{
    ClKR9EmulatorRegistry::Instance().UnplugAll();
}

}  // namespace

extern "C" {

TV_KR9_API KR9EMU_Device* KR9EMU_Plug(const char* serial)
{
    if (serial == nullptr)
        return nullptr;
    try {
        return ClKR9EmulatorRegistry::Instance().Plug(serial);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

TV_KR9_API int32_t KR9EMU_Unplug(KR9EMU_Device* device)
{
    if (device == nullptr)
        return ZRT_ERROR_NO_HANDLE;
    return ClKR9EmulatorRegistry::Instance().Unplug(device) ? ZRT_SUCCESS : ZRT_ERROR_INVALID_HANDLE;
}

TV_KR9_API int32_t KR9EMU_SetFingerPresent(KR9EMU_Device* device, int32_t present)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        model.SetFingerPresent(present != 0);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_Touch(KR9EMU_Device* device, uint32_t seed, uint32_t pressMs, uint32_t holdMs)
{
    // Longer than a minute is no touch anybody gives; it would only look like a hang.
    constexpr uint32_t kMaxMs = 60000;
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (pressMs > kMaxMs || holdMs > kMaxMs)
            return ZRT_ERROR_INVALID_PARAMETER;
        model.Touch(seed, pressMs, holdMs);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_SetFrames(KR9EMU_Device* device, const uint8_t* frames, uint32_t count)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (frames == nullptr && count > 0)
            return ZRT_ERROR_INVALID_PARAMETER;
        model.SetFrames(frames, count);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_SetTiming(KR9EMU_Device* device, uint32_t frameMs, uint32_t replyMs)
{
    // Beyond a minute per frame or reply nothing useful is modelled, and the host would only hang.
    constexpr uint32_t kMaxMs = 60000;
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (frameMs > kMaxMs || replyMs > kMaxMs)
            return ZRT_ERROR_INVALID_PARAMETER;
        model.SetTiming(frameMs, replyMs);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_SetRegister(KR9EMU_Device* device, uint8_t reg, uint8_t value)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        model.SetRegister(reg, value);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_SetFirmwareVersion(KR9EMU_Device* device, uint8_t major, uint8_t minor, uint8_t patch,
                                             uint8_t build)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        model.SetFirmwareVersion({{major, minor, patch, build}});
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_SetFault(KR9EMU_Device* device, int32_t fault, int32_t count)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (fault < KR9EMU_FAULT_SWALLOW_REPLY || fault > KR9EMU_FAULT_LATE_REPLY || count < -1)
            return ZRT_ERROR_INVALID_PARAMETER;
        model.SetFault(fault, count);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_GetStats(KR9EMU_Device* device, KR9EMU_Stats* stats)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (stats == nullptr)
            return ZRT_ERROR_INVALID_PARAMETER;
        model.GetStats(*stats);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_GetReportLog(KR9EMU_Device* device, uint8_t* reports, uint32_t* count)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        if (count == nullptr || (reports == nullptr && *count > 0))
            return ZRT_ERROR_INVALID_PARAMETER;
        const std::vector<ClKR9DeviceModel::Report> log = model.GetReportLog();
        const uint32_t uiCapacity = *count;
        *count = static_cast<uint32_t>(log.size());
        if (log.size() > uiCapacity)
            return ZRT_ERROR_SIZE_TOO_SMALL;
        for (size_t i = 0; i < log.size(); ++i)
            memcpy(reports + i * KR9EMU_REPORT_BYTES, log[i].data(), KR9EMU_REPORT_BYTES);
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_ClearReportLog(KR9EMU_Device* device)
{
    return WithModel(device, [&](ClKR9DeviceModel& model) {
        model.ClearReportLog();
        return ZRT_SUCCESS;
    });
}

TV_KR9_API int32_t KR9EMU_RenderFinger(uint8_t* frame, int32_t centerX, int32_t centerY, uint32_t seed)
{
    if (frame == nullptr)
        return ZRT_ERROR_INVALID_PARAMETER;
    RenderSyntheticFinger(frame, centerX, centerY, seed);
    return ZRT_SUCCESS;
}

}  // extern "C"
