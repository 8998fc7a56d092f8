// The operating system's side of run-time loading. Each platform has one file
// implementing these functions (DynamicLibraryPosix.cpp with dlopen and
// friends; a Windows build adds one with LoadLibraryW, FreeLibrary,
// GetProcAddress and SearchPathW). Nothing above this seam knows the platform.
#pragma once

#include <cstddef>
#include <string>

namespace DynamicLibraryPlatform {

// Each call that fails puts the system's reason into strError.

// The module handle, or null.
void* OpenLibrary(const char* pszName, std::string& strError);
bool CloseLibrary(void* hModule, std::string& strError);
// The symbol's address, or null.
void* FindSymbol(void* hModule, const char* pszSymbol, std::string& strError);

// Looks for the file pszName in the directory pszPath. Returns the length of
// the path found, or 0. The path is copied into pszBuffer, terminated, only
// when it fits; a longer one is reported by its length alone.
size_t SearchFile(const char* pszPath, const char* pszName, char* pszBuffer, size_t nBufferSize);

}  // namespace DynamicLibraryPlatform
