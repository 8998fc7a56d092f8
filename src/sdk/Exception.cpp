#include "sdk/Exception.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale.h>

namespace {

char* DuplicateText(const char* pszText)
{
    if (pszText == nullptr)
        return nullptr;
    const size_t nLength = strlen(pszText);
    char* pszCopy = static_cast<char*>(malloc(nLength + 1));
    if (pszCopy == nullptr)
        throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
    memcpy(pszCopy, pszText, nLength + 1);
    return pszCopy;
}

// "<first>\n<second>" in a new heap block.
char* ComposeText(const char* pszFirst, const char* pszSecond)
{
    if (pszSecond == nullptr)
        pszSecond = "";
    const size_t nLength = strlen(pszFirst) + 1 + strlen(pszSecond);
    char* pszText = static_cast<char*>(malloc(nLength + 1));
    if (pszText == nullptr)
        return nullptr;
    snprintf(pszText, nLength + 1, "%s\n%s", pszFirst, pszSecond);
    return pszText;
}

// The system's message for an errno value in the neutral "C" language, so a
// log line reads the same whatever locale the application has set.
const char* NeutralErrorText(int nErrorNumber)
{
    static locale_t s_cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    if (s_cLocale == static_cast<locale_t>(0))
        return strerror(nErrorNumber);
    return strerror_l(nErrorNumber, s_cLocale);
}

}  // namespace

// ---- Qvn family -------------------------------------------------------------

namespace Qvn {

const char* CXException::what() const noexcept
{
    const char* pszText = GetDescription();
    return pszText != nullptr ? pszText : "";
}

const char* CXException::GetText() const
{
    return GetDescription();
}

CXSystemException::CXSystemException(int32_t nErrorNumber) : m_nErrorNumber(nErrorNumber) {}

const char* CXSystemException::GetDescription() const
{
    return strerror(m_nErrorNumber);
}

int32_t CXSystemException::GetErrorNumber() const
{
    return m_nErrorNumber;
}

CXSystemSpecificException::CXSystemSpecificException(int32_t nErrorNumber) : CXSystemException(nErrorNumber) {}

CXSystemSpecificException::CXSystemSpecificException(const CXSystemSpecificException& other)
    : CXSystemException(other), m_pszSystemText(nullptr)
{
}

CXSystemSpecificException::~CXSystemSpecificException()
{
    free(m_pszSystemText);
}

const char* CXSystemSpecificException::GetDescription() const
{
    // Fetched anew on every call; the text of the previous call is released first.
    free(m_pszSystemText);
    m_pszSystemText = nullptr;
    const char* pszSystem = NeutralErrorText(GetErrorNumber());
    if (pszSystem != nullptr)
        m_pszSystemText = strdup(pszSystem);
    return m_pszSystemText;
}

}  // namespace Qvn

// ---- ClException --------------------------------------------------------------

ClException::ClException(int32_t nCode, bool bOwnsText, const char* pszFile, int32_t nLine)
    : m_pszFile(pszFile), m_nLine(nLine), m_nCode(nCode), m_bOwnsText(bOwnsText)
{
    const char* pszMessage = GetErrorMessage(nCode);
    m_pszText = bOwnsText ? DuplicateText(pszMessage) : const_cast<char*>(pszMessage);
}

ClException::ClException(const char* pszText, int32_t nCode, bool /*bOwnsText*/, const char* pszFile,
                         int32_t nLine)
    : m_pszFile(pszFile), m_nLine(nLine), m_nCode(nCode), m_bOwnsText(true)
{
    m_pszText = ComposeText(GetErrorMessage(nCode), pszText);
    if (m_pszText == nullptr)
        throw ClExBadAlloc(nullptr, ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
}

ClException::ClException(const ClException& other)
    : Qvn::ClQuorvaneException(other),
      m_pszFile(other.m_pszFile),
      m_nLine(other.m_nLine),
      m_nCode(other.m_nCode),
      m_bOwnsText(other.m_bOwnsText)
{
    m_pszText = other.m_bOwnsText ? DuplicateText(other.m_pszText) : other.m_pszText;
}

ClException& ClException::operator=(const ClException& other)
{
    if (this != &other) {
        char* pszText = other.m_bOwnsText ? DuplicateText(other.m_pszText) : other.m_pszText;
        FreeText();
        m_pszText = pszText;
        m_pszFile = other.m_pszFile;
        m_nLine = other.m_nLine;
        m_nCode = other.m_nCode;
        m_bOwnsText = other.m_bOwnsText;
    }
    return *this;
}

ClException::~ClException()
{
    FreeText();
}

void ClException::FreeText()
{
    if (m_bOwnsText)
        free(m_pszText);
    m_pszText = nullptr;
}

const char* ClException::what() const noexcept
{
    const char* pszText = GetText();
    return pszText != nullptr ? pszText : "";
}

const char* ClException::GetText() const
{
    return m_pszText;
}

void ClException::SetText(const char* pszText)
{
    if (m_bOwnsText) {
        char* pszCopy = DuplicateText(pszText);
        free(m_pszText);
        m_pszText = pszCopy;
    } else {
        m_pszText = const_cast<char*>(pszText);
    }
}

void ClException::SetTextFormatted(const char* pszFormat, ...)
{
    FreeText();
    m_bOwnsText = true;

    va_list args;
    va_start(args, pszFormat);
    va_list argsForMeasure;
    va_copy(argsForMeasure, args);
    const int nLength = vsnprintf(nullptr, 0, pszFormat, argsForMeasure);
    va_end(argsForMeasure);
    if (nLength > 0) {
        m_pszText = static_cast<char*>(malloc(static_cast<size_t>(nLength) + 1));
        if (m_pszText == nullptr) {
            va_end(args);
            throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
        }
        vsnprintf(m_pszText, static_cast<size_t>(nLength) + 1, pszFormat, args);
    }
    va_end(args);
}

// ---- ClExSystem ---------------------------------------------------------------

ClExSystem::ClExSystem(const char* pszText, const char* pszFile, int32_t nLine)
    : ClExSystem(pszText, pszFile, nLine, errno)
{
}

ClExSystem::ClExSystem(const char* pszText, const char* pszFile, int32_t nLine, int nErrorNumber)
    : ClExSystem(pszText, NeutralErrorText(nErrorNumber), pszFile, nLine)
{
}

ClExSystem::ClExSystem(const char* pszText, const char* pszSystemText, const char* pszFile, int32_t nLine)
    : ClException(pszText, ZRT_ERROR_FROM_SYSTEM_FUNCTION, true, pszFile, nLine)
{
    char szSystem[512];
    snprintf(szSystem, sizeof(szSystem), "%s", pszSystemText != nullptr ? pszSystemText : "Unknown system error");

    // System messages may end in line breaks; cut them off from the end, stepping
    // over other control characters, up to the first printable one.
    for (size_t i = strlen(szSystem); i > 0; --i) {
        unsigned char c = static_cast<unsigned char>(szSystem[i - 1]);
        if (c >= 32)
            break;
        if (c == '\r' || c == '\n')
            szSystem[i - 1] = '\0';
    }
    SetTextFormatted("%s\n%s", szSystem, pszText != nullptr ? pszText : "");
}
