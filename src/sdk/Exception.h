// The exception family of the SDK. Everything below the exported functions
// fails by throwing a ClException (or a class derived from it) by value; the
// call frame catches the base by reference and returns its code. The older
// Qvn::CXException family is raised only where no code exists (a mutex that
// cannot be made at load time) and is never turned into a result.
#pragma once

#include <cstdint>
#include <exception>

#include "sdk/ErrorTable.h"

// Site of a throw: the everyday way to say where a failure was raised.
#define KR9_SITE __FILE__, __LINE__

namespace Qvn {

class ClQuorvaneException : public std::exception
{
public:
    ~ClQuorvaneException() override = default;
    // Message text of the exception; may be null.
    virtual const char* GetText() const = 0;
};

class CXException : public ClQuorvaneException
{
public:
    ~CXException() override = default;
    const char* what() const noexcept override;
    const char* GetText() const override;
    virtual const char* GetDescription() const = 0;
};

// A failure of a C library call, carrying its errno value.
class CXSystemException : public CXException
{
public:
    explicit CXSystemException(int32_t nErrorNumber);
    ~CXSystemException() override = default;
    const char* GetDescription() const override;
    virtual int32_t GetErrorNumber() const;

private:
    int32_t m_nErrorNumber;
};

// A failure of an operating-system call, described by the system's own
// language-neutral message for the number.
class CXSystemSpecificException : public CXSystemException
{
public:
    explicit CXSystemSpecificException(int32_t nErrorNumber);
    CXSystemSpecificException(const CXSystemSpecificException& other);
    CXSystemSpecificException& operator=(const CXSystemSpecificException&) = delete;
    ~CXSystemSpecificException() override;
    const char* GetDescription() const override;

private:
    mutable char* m_pszSystemText = nullptr;
};

}  // namespace Qvn

class ClException : public Qvn::ClQuorvaneException
{
public:
    // The text is the table's message for the code; copied when bOwnsText is set.
    ClException(int32_t nCode, bool bOwnsText, const char* pszFile, int32_t nLine);
    // The text is "<table message>\n<pszText>" and always owned.
    ClException(const char* pszText, int32_t nCode, bool bOwnsText, const char* pszFile, int32_t nLine);
    ClException(const ClException& other);
    ClException& operator=(const ClException& other);
    ~ClException() override;

    const char* what() const noexcept override;
    const char* GetText() const override;

    int32_t GetCode() const { return m_nCode; }
    const char* GetFile() const { return m_pszFile; }
    int32_t GetLine() const { return m_nLine; }
    bool OwnsText() const { return m_bOwnsText; }

    // Owned text: the old block is freed and a copy taken. Borrowed text: only the pointer is kept.
    void SetText(const char* pszText);
    // Formats into a new owned block; an empty result leaves the text null.
    void SetTextFormatted(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));

protected:
    // Only for the classes whose code the throw site chooses after construction.
    void SetCode(int32_t nCode) { m_nCode = nCode; }

private:
    void FreeText();

    char* m_pszText = nullptr;
    const char* m_pszFile;
    int32_t m_nLine;
    int32_t m_nCode;
    bool m_bOwnsText;
};

class ClExQuorvane : public ClException
{
public:
    ClExQuorvane(int32_t nCode, const char* pszFile, int32_t nLine) : ClException(nCode, false, pszFile, nLine) {}
    ~ClExQuorvane() override = default;
};

// The four text-carrying classes share constructor 2 of the base.
#define KR9_DECLARE_TEXT_EXCEPTION(Name, Base)                                                      \
    class Name : public Base                                                                        \
    {                                                                                               \
    public:                                                                                         \
        Name(const char* pszText, int32_t nCode, bool bOwnsText, const char* pszFile, int32_t nLine) \
            : Base(pszText, nCode, bOwnsText, pszFile, nLine)                                       \
        {                                                                                           \
        }                                                                                           \
        ~Name() override = default;                                                                 \
    }

KR9_DECLARE_TEXT_EXCEPTION(ClExBadAlloc, ClException);
KR9_DECLARE_TEXT_EXCEPTION(ClExRange, ClException);
KR9_DECLARE_TEXT_EXCEPTION(ClExStream, ClException);
KR9_DECLARE_TEXT_EXCEPTION(ClExStreamUnexpectedEnd, ClExStream);
KR9_DECLARE_TEXT_EXCEPTION(ClExStreamFailToWrite, ClExStream);

// A failed system call: code ZRT_ERROR_FROM_SYSTEM_FUNCTION, text "<system message>\n<pszText>"
// built from errno at the throw.
class ClExSystem : public ClException
{
public:
    // errno is taken as the argument list is evaluated, before anything else can change it.
    ClExSystem(const char* pszText, const char* pszFile, int32_t nLine);
    ~ClExSystem() override = default;

protected:
    // For system calls that do not report through errno (the dynamic loader's
    // dlerror()): the caller hands over the system's message itself.
    ClExSystem(const char* pszText, const char* pszSystemText, const char* pszFile, int32_t nLine);

private:
    ClExSystem(const char* pszText, const char* pszFile, int32_t nLine, int nErrorNumber);
};

// A library that cannot be loaded or released, or a missing symbol; the site sets the code.
class ClExDynamicLibraryLoadFail : public ClExSystem
{
public:
    ClExDynamicLibraryLoadFail(const char* pszText, int32_t nCode, const char* pszFile, int32_t nLine)
        : ClExSystem(pszText, pszFile, nLine)
    {
        SetCode(nCode);
    }
    // The loader's own error text (dlerror()) in place of the errno message.
    ClExDynamicLibraryLoadFail(const char* pszText, const char* pszSystemText, int32_t nCode, const char* pszFile,
                               int32_t nLine)
        : ClExSystem(pszText, pszSystemText, pszFile, nLine)
    {
        SetCode(nCode);
    }
    ~ClExDynamicLibraryLoadFail() override = default;
};
