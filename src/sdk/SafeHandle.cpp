#include "sdk/SafeHandle.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_set>

#include "sdk/NeverDestroyed.h"

const char g_szKR9HandleTag[kHandleTagSize] = "TV_KR9";

namespace {

// The table of handle kinds this SDK knows; a record must carry one of them at both ends.
const char* const s_apszHandleKinds[] = {g_szKR9HandleTag};

bool IsKnownTag(const char* pszTag)
{
    for (const char* pszKind : s_apszHandleKinds)
        if (strncmp(pszTag, pszKind, kHandleTagSize) == 0)
            return true;
    return false;
}

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
    // The object of an issued record with both tags, else null. Looked up and
    // read under the one lock: a record that another thread is freeing is
    // either still issued and intact, or no longer known and not read at all.
    void* FindObject(const void* hHandle)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_issued.count(hHandle) == 0)
            return nullptr;
        const StSafeHandleRecord* pRecord = static_cast<const StSafeHandleRecord*>(hHandle);
        if (!IsKnownTag(pRecord->szHeadTag) || !IsKnownTag(pRecord->szTailTag))
            return nullptr;
        return pRecord->pObject;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<const void*> m_issued;
};

// Never destroyed: handles may be validated from exit handlers and late threads.
ClHandleRegistry& Registry()
{
    static TpNeverDestroyed<ClHandleRegistry> s_registry;
    return s_registry.Get();
}

}  // namespace

void* ValidateHandleRecord(void* hHandle)
{
    if (hHandle == nullptr)
        throw ClExQuorvane(ZRT_ERROR_NO_HANDLE, KR9_SITE);
    void* pObject = Registry().FindObject(hHandle);
    if (pObject == nullptr)
        throw ClExQuorvane(ZRT_ERROR_INVALID_HANDLE, KR9_SITE);
    return pObject;
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
