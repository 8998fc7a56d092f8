// Run-time loading on POSIX systems: dlopen, dlsym, dlclose. The system's
// reason for a failure comes from dlerror(), not errno.
#ifndef _WIN32

#include "support/DynamicLibraryPlatform.h"

#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>

namespace DynamicLibraryPlatform {

namespace {

void TakeLastError(std::string& strError)
{
    const char* pszError = dlerror();
    strError = pszError != nullptr ? pszError : "Unknown dynamic loader error";
}

}  // namespace

void* OpenLibrary(const char* pszName, std::string& strError)
{
    // Every symbol is bound now, as a Windows import table is: a library with an
    // unresolved dependency fails here rather than at its first call. Its
    // symbols stay private to us, so the application's own copy of a library
    // (libusb, say) is never disturbed.
    void* hModule = dlopen(pszName, RTLD_NOW | RTLD_LOCAL);
    if (hModule == nullptr)
        TakeLastError(strError);
    return hModule;
}

bool CloseLibrary(void* hModule, std::string& strError)
{
    if (dlclose(hModule) == 0)
        return true;
    TakeLastError(strError);
    return false;
}

void* FindSymbol(void* hModule, const char* pszSymbol, std::string& strError)
{
    dlerror();  // forget any earlier failure, so the text below is this call's
    void* pSymbol = dlsym(hModule, pszSymbol);
    if (pSymbol == nullptr)
        TakeLastError(strError);
    return pSymbol;
}

size_t SearchFile(const char* pszPath, const char* pszName, char* pszBuffer, size_t nBufferSize)
{
    std::string strCandidate;
    if (pszName[0] == '/') {
        // A full path names its file itself; the directory does not apply.
        strCandidate = pszName;
    } else {
        strCandidate = pszPath;
        if (!strCandidate.empty() && strCandidate.back() != '/')
            strCandidate += '/';
        strCandidate += pszName;
    }

    struct stat fileStatus;
    if (stat(strCandidate.c_str(), &fileStatus) != 0 || S_ISDIR(fileStatus.st_mode))
        return 0;
    if (strCandidate.size() < nBufferSize)
        memcpy(pszBuffer, strCandidate.c_str(), strCandidate.size() + 1);
    return strCandidate.size();
}

}  // namespace DynamicLibraryPlatform

#endif  // !_WIN32
