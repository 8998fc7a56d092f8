#include "support/DynamicLibraryLoader.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <boost/thread/lock_guard.hpp>

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"
#include "support/DynamicLibraryPlatform.h"

namespace {

// Built when the library is loaded, gone when it is unloaded.
ClMainDirTools s_mainDirTools;

// A symbol that is not there is an unknown name to the caller.
constexpr int32_t kMissingSymbolCode = ZRT_ERROR_UNKNOWN_PARAMETER;

}  // namespace

// ---- ClDynamicLibrary -------------------------------------------------------------

ClDynamicLibrary::~ClDynamicLibrary()
{
    try {
        Free();
    } catch (const ClException& ex) {
        // The library stays mapped; all we can do is say so.
        try {
            ClSDKLogger::Log(eLogError, "Unloading a library failed: %.512s", ex.GetText());
        } catch (...) {
        }
    }
    free(m_pszName);
}

void ClDynamicLibrary::Load(const char* pszName)
{
    // The system would take a null name for the program itself.
    if (pszName == nullptr)
        throw ClExDynamicLibraryLoadFail("(null)", "No library name given", ZRT_ERROR_FILE_OPEN_FAIL, KR9_SITE);
    Free();

    std::string strError;
    void* hModule = DynamicLibraryPlatform::OpenLibrary(pszName, strError);
    if (hModule == nullptr)
        throw ClExDynamicLibraryLoadFail(pszName, strError.c_str(), ZRT_ERROR_FILE_OPEN_FAIL, KR9_SITE);

    char* pszNameCopy = strdup(pszName);
    if (pszNameCopy == nullptr) {
        DynamicLibraryPlatform::CloseLibrary(hModule, strError);
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, false, KR9_SITE);
    }
    m_hModule = hModule;
    m_pszName = pszNameCopy;
    ClSDKLogger::LogDebug("Library loaded: %.512s", pszName);
}

void ClDynamicLibrary::Free()
{
    if (m_hModule == nullptr)
        return;
    std::string strError;
    if (!DynamicLibraryPlatform::CloseLibrary(m_hModule, strError))
        throw ClExDynamicLibraryLoadFail(m_pszName, strError.c_str(), ZRT_ERROR_IO, KR9_SITE);
    m_hModule = nullptr;
    free(m_pszName);
    m_pszName = nullptr;
}

void* ClDynamicLibrary::GetSymbol(const char* pszSymbol) const
{
    const char* pszShownSymbol = pszSymbol != nullptr ? pszSymbol : "(null)";
    // With no library the POSIX loader would search the whole process instead.
    if (m_hModule == nullptr)
        throw ClExDynamicLibraryLoadFail(pszShownSymbol, "No library loaded", kMissingSymbolCode, KR9_SITE);
    if (pszSymbol == nullptr)
        throw ClExDynamicLibraryLoadFail(pszShownSymbol, "No symbol name given", kMissingSymbolCode, KR9_SITE);

    std::string strError;
    void* pSymbol = DynamicLibraryPlatform::FindSymbol(m_hModule, pszSymbol, strError);
    if (pSymbol == nullptr)
        throw ClExDynamicLibraryLoadFail(pszSymbol, strError.c_str(), kMissingSymbolCode, KR9_SITE);
    return pSymbol;
}

// ---- ClDynamicLibraryLoader -------------------------------------------------------

void ClDynamicLibraryLoader::LoadLocked(const char* pszName)
{
    boost::lock_guard<boost::mutex> lock(m_mutex);
    m_szFileName[0] = '\0';
    ClDynamicLibrary::Load(pszName);
    snprintf(m_szFileName, sizeof(m_szFileName), "%s", pszName);
}

void ClDynamicLibraryLoader::Load(const char* pszPath, const char* pszName)
{
    const char* pszToLoad = pszName;
    char szFound[kMaxPath];
    if (pszPath != nullptr && pszName != nullptr) {
        const size_t nFoundLength = DynamicLibraryPlatform::SearchFile(pszPath, pszName, szFound, sizeof(szFound));
        // A path too long for the buffer was found but not copied: the system
        // gets the plain name then, as when nothing was found.
        if (nFoundLength != 0 && nFoundLength < sizeof(szFound))
            pszToLoad = szFound;
    }
    LoadLocked(pszToLoad);
}
