// Libraries bound at run time rather than at link time (the USB library of
// the device layer). ClDynamicLibrary holds one loaded library;
// ClDynamicLibraryLoader adds a search in a directory and serialises loading.
// A wrapper derives from the loader, loads its library once and resolves each
// function it needs into a typed pointer:
//
//     Load(nullptr, "libusb-1.0.so.0");
//     GetProc("libusb_init", m_pfnInit);                  // into a member
//     auto* pfnExit = GetProc<void(libusb_context*)>("libusb_exit");
//
// Failures raise ClExDynamicLibraryLoadFail with the library's or the symbol's
// name and the system's reason: ZRT_ERROR_FILE_OPEN_FAIL (cannot load),
// ZRT_ERROR_IO (cannot unload), ZRT_ERROR_UNKNOWN_PARAMETER (symbol missing;
// the family's code for an unknown name).
#pragma once

#include <cstddef>
#include <type_traits>

#include <boost/thread/mutex.hpp>

class ClDynamicLibrary
{
public:
    ClDynamicLibrary() = default;
    ClDynamicLibrary(const ClDynamicLibrary&) = delete;
    ClDynamicLibrary& operator=(const ClDynamicLibrary&) = delete;
    // Unloads; a failure to unload can only be logged here.
    virtual ~ClDynamicLibrary();

    // Loads the library by name or path, as the system's loader finds it. One
    // object holds one library: one loaded before is unloaded first.
    void Load(const char* pszName);
    // Unloads the library; nothing happens when none is loaded.
    void Free();

    bool IsLoaded() const { return m_hModule != nullptr; }
    // The name as it was given to Load, or null.
    const char* GetName() const { return m_pszName; }

    // The address of a symbol of the loaded library; never null.
    void* GetSymbol(const char* pszSymbol) const;

    // Resolves a symbol into a typed pointer. On failure the pointer keeps its value.
    template <typename TPointer>
    void GetProc(const char* pszSymbol, TPointer& pointer) const
    {
        static_assert(std::is_pointer<TPointer>::value, "GetProc fills a pointer");
        pointer = reinterpret_cast<TPointer>(GetSymbol(pszSymbol));
    }
    // The same for a function type given explicitly: GetProc<double(double)>("cos").
    template <typename TFunction>
    TFunction* GetProc(const char* pszSymbol) const
    {
        return reinterpret_cast<TFunction*>(GetSymbol(pszSymbol));
    }

private:
    void* m_hModule = nullptr;     // null while nothing is loaded
    char* m_pszName = nullptr;     // owned copy of the name given to Load
};

class ClDynamicLibraryLoader : private ClDynamicLibrary
{
public:
    // The capacity of a file name, terminator included, as on the platform
    // with the shortest paths.
    static constexpr size_t kMaxPath = 260;

    ClDynamicLibraryLoader() = default;
    ~ClDynamicLibraryLoader() override = default;

    // Loads under the object's lock and records the name loaded.
    void LoadLocked(const char* pszName);
    // With a directory, loads the file pszName found there; when it is not
    // there, or its full path does not fit kMaxPath, pszName goes to the
    // system's loader as it is. With a null directory, the same at once.
    void Load(const char* pszPath, const char* pszName);

    // The name that the last LoadLocked loaded (cut to kMaxPath - 1 characters);
    // empty before the first load and after a failed one.
    const char* GetFileName() const { return m_szFileName; }

    using ClDynamicLibrary::Free;
    using ClDynamicLibrary::GetName;
    using ClDynamicLibrary::GetProc;
    using ClDynamicLibrary::GetSymbol;
    using ClDynamicLibrary::IsLoaded;

private:
    boost::mutex m_mutex;
    char m_szFileName[kMaxPath] = {};
};

// Helpers around the program's directory in the SDK family. This SDK uses
// none of them; the one instance lives for the whole process as it does in
// the family's other libraries.
class ClMainDirTools
{
public:
    virtual ~ClMainDirTools() = default;
};
