// Run-time loading against real system libraries, the directory search, and
// the stopwatch.
#include <chrono>
#include <cstring>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "support/DynamicLibraryLoader.h"
#include "support/StopWatch.h"

namespace {

typedef double (*PFN_UNARY)(double);

// A scratch directory, removed with everything in it.
struct StScratchDirectory
{
    std::filesystem::path path = [] {
        char szTemplate[] = "/tmp/kr9-loader-XXXXXX";
        return std::filesystem::path(mkdtemp(szTemplate) != nullptr ? szTemplate : "");
    }();
    ~StScratchDirectory() { std::error_code error; std::filesystem::remove_all(path, error); }
};

TEST(DynamicLibrary, LoadsASystemLibraryAndResolvesTypedFunctions)
{
    ClDynamicLibraryLoader loader;
    loader.Load(nullptr, "libm.so.6");
    ASSERT_TRUE(loader.IsLoaded());
    EXPECT_STREQ(loader.GetFileName(), "libm.so.6");
    EXPECT_EQ(loader.GetProc<double(double)>("sqrt")(9.0), 3.0);
    loader.Free();
    EXPECT_FALSE(loader.IsLoaded());
    EXPECT_EQ(loader.GetName(), nullptr);

    // One object holds one library: loading another replaces the first.
    ClDynamicLibrary library;
    library.Load("libm.so.6");
    library.Load("libc.so.6");
    EXPECT_STREQ(library.GetName(), "libc.so.6");
    EXPECT_NE(library.GetProc<size_t(const char*)>("strlen"), nullptr);
}

TEST(DynamicLibrary, FailuresCarryTheirCodeTheNameAndTheSystemsReason)
{
    ClDynamicLibraryLoader loader;
    // The system's reason, then the name.
    EXPECT_EQ(CodeOf([&] { loader.Load(nullptr, "libkr9-not-there.so.1"); },
                     "cannot open shared object file: No such file or directory\nlibkr9-not-there.so.1"),
              ZRT_ERROR_FILE_OPEN_FAIL);
    EXPECT_FALSE(loader.IsLoaded());

    // A missing symbol stops at that symbol; what was resolved before stays.
    loader.Load(nullptr, "libm.so.6");
    PFN_UNARY pfnCos = nullptr, pfnMissing = nullptr;
    const auto resolve = [&] {
        loader.GetProc("cos", pfnCos);
        loader.GetProc("kr9_no_such_function", pfnMissing);
    };
    EXPECT_EQ(CodeOf(resolve, "undefined symbol: kr9_no_such_function\nkr9_no_such_function"),
              ZRT_ERROR_UNKNOWN_PARAMETER);
    EXPECT_TRUE(pfnCos != nullptr && pfnMissing == nullptr);

    // With nothing loaded a symbol of the process (malloc) must not be found either.
    loader.Free();
    EXPECT_EQ(CodeOf([&] { loader.GetSymbol("malloc"); }), ZRT_ERROR_UNKNOWN_PARAMETER);
    EXPECT_EQ(CodeOf([&] { loader.Load(nullptr, nullptr); }), ZRT_ERROR_FILE_OPEN_FAIL);
    EXPECT_FALSE(loader.IsLoaded()) << "a null name must not load the program itself";
}

TEST(DynamicLibraryLoader, LoadsFromTheGivenDirectoryOrFallsBackToThePlainName)
{
    // The real file of libm, to be offered under a name the system cannot find.
    ClDynamicLibraryLoader system;
    system.Load(nullptr, "libm.so.6");
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(system.GetProc<double(double)>("cos")), &info), 0);
    const std::string strLibmPath = info.dli_fname;

    StScratchDirectory scratch;
    ASSERT_FALSE(scratch.path.empty());
    const char* pszProbe = "libkr9probe.so";
    const std::filesystem::path probePath = scratch.path / pszProbe;
    ASSERT_EQ(symlink(strLibmPath.c_str(), probePath.c_str()), 0);

    ClDynamicLibraryLoader loader;
    loader.Load(scratch.path.c_str(), pszProbe);
    EXPECT_EQ(std::string(loader.GetFileName()), probePath.string());
    EXPECT_DOUBLE_EQ(loader.GetProc<double(double)>("cos")(0.0), 1.0);

    // Not in the directory: the system's own search gets the name.
    loader.Load(scratch.path.c_str(), "libm.so.6");
    EXPECT_STREQ(loader.GetFileName(), "libm.so.6");

    // Found, but the full path does not fit the file name buffer: the plain name
    // is loaded, which the system does not know.
    std::filesystem::path deepDirectory = scratch.path;
    while (deepDirectory.string().size() <= ClDynamicLibraryLoader::kMaxPath)
        deepDirectory /= std::string(50, 'd');
    ASSERT_TRUE(std::filesystem::create_directories(deepDirectory));
    ASSERT_EQ(symlink(strLibmPath.c_str(), (deepDirectory / pszProbe).c_str()), 0);
    std::string strText;
    EXPECT_EQ(CodeOf([&] { loader.Load(deepDirectory.c_str(), pszProbe); }, &strText), ZRT_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(strText.substr(strText.size() - strlen(pszProbe) - 1), std::string("\n") + pszProbe);
    EXPECT_EQ(strText.find(deepDirectory.string()), std::string::npos);
}

TEST(StopWatch, MeasuresSecondsOnAMonotonicCounter)
{
    Qvn::CXStopWatch stopWatch;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double dFirst = stopWatch.GetElapsedSeconds();
    EXPECT_GE(dFirst, 0.020);
    EXPECT_GE(stopWatch.GetElapsedSeconds(), dFirst);
    stopWatch.Start();
    EXPECT_LT(stopWatch.GetElapsedSeconds(), dFirst);
}

}  // namespace
