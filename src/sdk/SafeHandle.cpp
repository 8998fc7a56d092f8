#include "SafeHandle.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_set>

const char g_szKR9HandleTag[kHandleTagSize] = "TV_KR9";

namespace {

// The table of handle kinds this SDK knows; a record must carry one of them at both ends.
const char* const s_apszHandleKinds[] = {g_szKR9HandleTag};

class ClHandleRegistry
{
public:
    void Add(const void* pRecord)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_issued.insert(pRecord);
    }
    bool Remove(const void* pRecord)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_issued.erase(pRecord) == 1;
    }
    bool Contains(const void* pRecord)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_issued.count(pRecord) == 1;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<const void*> m_issued;
};

// Never destroyed: handles may be validated from exit handlers and late threads.
ClHandleRegistry& Registry()
{
    static ClHandleRegistry* s_pRegistry = new ClHandleRegistry();
    return *s_pRegistry;
}

bool IsKnownTag(const char* pszTag)
{
    for (const char* pszKind : s_apszHandleKinds)
        if (strncmp(pszTag, pszKind, kHandleTagSize) == 0)
            return true;
    return false;
}

}  // namespace

void* ValidateHandleRecord(void* hHandle)
{
    if (hHandle == nullptr)
        throw ClExQuorvane(ZRT_ERROR_NO_HANDLE, KR9_SITE);
    if (!Registry().Contains(hHandle))
        throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
    const StSafeHandleRecord* pRecord = static_cast<const StSafeHandleRecord*>(hHandle);
    if (!IsKnownTag(pRecord->szHeadTag) || !IsKnownTag(pRecord->szTailTag))
        throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
    if (pRecord->pObject == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
    return pRecord->pObject;
}

StSafeHandleRecord* AllocateHandleRecord(void* pObject)
{
    StSafeHandleRecord* pRecord = static_cast<StSafeHandleRecord*>(malloc(sizeof(StSafeHandleRecord)));
    if (pRecord == nullptr)
        return nullptr;
    memcpy(pRecord->szHeadTag, g_szKR9HandleTag, kHandleTagSize);
    pRecord->pObject = pObject;
    memcpy(pRecord->szTailTag, g_szKR9HandleTag, kHandleTagSize);
    try {
        Registry().Add(pRecord);
    } catch (const std::bad_alloc&) {
        free(pRecord);
        return nullptr;
    }
    return pRecord;
}

void FreeHandleRecord(void* hHandle)
{
    if (Registry().Remove(hHandle))
        free(hHandle);
}

void ThrowHandleReferenceFault()
{
    throw ClException("protection fault while accessing handle reference", ZRT_ERROR_BAD_POINTER, true, "Unknown", -1);
}
