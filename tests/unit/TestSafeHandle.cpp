// Issuing, validating and destroying opaque handles, with a handle class that
// exists only here and records what happens to it.
#include <atomic>
#include <cstring>
#include <thread>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "session/SDKHandleBase.h"
#include "sdk/SafeHandle.h"
#include "sdk/TactiviewKR9.h"

namespace {

struct StHookLog { int nCreated = 0, nAfterCreate = 0, nBeforeDestroy = 0, nDestroyed = 0; } g_hooks;

class ClTestHandle;
using TestHandleBase = TSDKHandleBase<ClTestHandle, ClTactiviewKR9, TSDKHandleBaseBase<ClTestHandle, ClTactiviewKR9>>;

class ClTestHandle : public TestHandleBase
{
public:
    ClTestHandle() { ++g_hooks.nCreated; }
    ~ClTestHandle() override { ++g_hooks.nDestroyed; }
    void OnAfterCreate() override { ++g_hooks.nAfterCreate; }
    void OnBeforeDestroy() override { ++g_hooks.nBeforeDestroy; }
};

using TestSafeHandle = TpSafeHandle<ClTestHandle, ClTactiviewKR9>;

class SafeHandle : public testing::Test
{
protected:
    void SetUp() override
    {
        g_hooks = StHookLog();
        ClTactiviewKR9::Acquire();
        m_nPageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        // One page that cannot be read or written, one that can only be read.
        m_pNoAccess = mmap(nullptr, m_nPageSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_pReadOnly = mmap(nullptr, m_nPageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_TRUE(m_pNoAccess != MAP_FAILED && m_pReadOnly != MAP_FAILED);
    }
    void TearDown() override
    {
        munmap(m_pNoAccess, m_nPageSize);
        munmap(m_pReadOnly, m_nPageSize);
        ClTactiviewKR9::Release();
    }

    size_t m_nPageSize = 0;
    void *m_pNoAccess = nullptr, *m_pReadOnly = nullptr;
};

TEST_F(SafeHandle, LifeOfAHandleRunsTheHooksOnceAndNullsTheVariable)
{
    void* hHandle = reinterpret_cast<void*>(0x1);
    ASSERT_EQ(CodeOf([&] { TestSafeHandle::Create(&hHandle); }), 0);
    EXPECT_EQ(std::make_pair(g_hooks.nCreated, g_hooks.nAfterCreate), std::make_pair(1, 1));
    ASSERT_NE(TestSafeHandle::GetObject(hHandle), nullptr);
    void* hCopy = hHandle;
    ASSERT_EQ(CodeOf([&] { TestSafeHandle::Destroy(&hHandle); }), 0);
    EXPECT_EQ(std::make_pair(g_hooks.nBeforeDestroy, g_hooks.nDestroyed), std::make_pair(1, 1));

    // Stale values are refused without being read; the variable, nulled by Destroy, gives -42.
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::GetObject(hCopy); }), ZRT_ERROR_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(&hCopy); }), ZRT_ERROR_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(&hHandle); }), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(g_hooks.nDestroyed, 1);
}

TEST_F(SafeHandle, GarbageValuesAreRefusedAndTheProcessLivesOn)
{
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::GetObject(nullptr); }), ZRT_ERROR_NO_HANDLE);

    // Readable memory that looks like a record but was never issued.
    StSafeHandleRecord lookalike;
    memcpy(lookalike.szHeadTag, "TV_KR9", 7);
    memcpy(lookalike.szTailTag, "TV_KR9", 7);
    lookalike.pObject = &lookalike;
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::GetObject(&lookalike); }), ZRT_ERROR_INVALID_HANDLE);

    char szNoTags[64] = "not a handle";
    for (void* hGarbage : {static_cast<void*>(szNoTags), m_pNoAccess, reinterpret_cast<void*>(0xdeadbeef)})
        EXPECT_EQ(CodeOf([&] { TestSafeHandle::GetObject(hGarbage); }), ZRT_ERROR_INVALID_HANDLE);
    void* hWild = reinterpret_cast<void*>(0x10);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(&hWild); }), ZRT_ERROR_INVALID_HANDLE);
}

TEST_F(SafeHandle, BadHandleVariablesGiveTheirOwnCodesAndTexts)
{
    const char* pszNull = "handle reference is NULL pointer";
    const char* pszFault = "protection fault while accessing handle reference";
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Create(nullptr); }, pszNull), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(nullptr); }, pszNull), ZRT_ERROR_INVALID_PARAMETER);
    // Variables in memory that cannot be written (or read) are reported, not crashed on.
    for (void* pVariable : {m_pNoAccess, m_pReadOnly})
        EXPECT_EQ(CodeOf([&] { TestSafeHandle::Create(static_cast<void**>(pVariable)); }, pszFault),
                  ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(static_cast<void**>(m_pNoAccess)); }, pszFault),
              ZRT_ERROR_BAD_POINTER);
    // A read-only variable holding null can be read: the null handle is the failure.
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(static_cast<void**>(m_pReadOnly)); }), ZRT_ERROR_NO_HANDLE);
    EXPECT_EQ(g_hooks.nCreated, 0) << "nothing is built for a bad variable";
}

TEST_F(SafeHandle, ValuesClosedOnAnotherThreadAreRefusedNotRead)
{
    // One thread issues and destroys handles; this one validates each, often just as it goes. Only the
    // record is checked: the object of a handle that is being closed is gone, which the caller must exclude.
    std::atomic<void*> hLatest{nullptr};
    std::atomic<bool> bDone{false};
    std::thread closer([&] {
        for (int i = 0; i < 20000; ++i) {
            void* hHandle = nullptr;
            TestSafeHandle::Create(&hHandle);
            hLatest = hHandle;
            TestSafeHandle::Destroy(&hHandle);
        }
        bDone = true;
    });
    int nUnexpected = 0;
    while (!bDone) {
        const int32_t nCode = CodeOf([&] { ValidateHandleRecord(hLatest.load()); });
        nUnexpected += nCode != 0 && nCode != ZRT_ERROR_INVALID_HANDLE && nCode != ZRT_ERROR_NO_HANDLE;
    }
    closer.join();
    EXPECT_EQ(nUnexpected, 0);
}

TEST_F(SafeHandle, IssuingNeedsAnInitialisedLibrary)
{
    ClTactiviewKR9::Release();
    void* hHandle = reinterpret_cast<void*>(0x5);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Create(&hHandle); }, "Initialization required prior to handle creation"),
              ZRT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(hHandle, reinterpret_cast<void*>(0x5)) << "the variable stays as it was";

    // A handle issued while initialised outlives the release and is still destroyed cleanly.
    ClTactiviewKR9::Acquire();
    ASSERT_EQ(CodeOf([&] { TestSafeHandle::Create(&hHandle); }), 0);
    ClTactiviewKR9::Release();
    EXPECT_NE(TestSafeHandle::GetObject(hHandle), nullptr);
    EXPECT_EQ(CodeOf([&] { TestSafeHandle::Destroy(&hHandle); }), 0);
    ClTactiviewKR9::Acquire();  // balances TearDown
}

}  // namespace
