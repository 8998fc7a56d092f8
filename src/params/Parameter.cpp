#include "params/Parameter.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "params/ParameterContainer.h"

namespace {

char AsciiLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// A private copy of a name or description; null stays null.
char* DuplicateParameterText(const char* pszText)
{
    if (pszText == nullptr)
        return nullptr;
    const size_t nLength = strlen(pszText);
    char* pszCopy = static_cast<char*>(malloc(nLength + 1));
    if (pszCopy == nullptr)
        ThrowParameterAllocationFailed();
    memcpy(pszCopy, pszText, nLength + 1);
    return pszCopy;
}

const char* NameForMessage(const ClParameter& parameter)
{
    return parameter.GetName() != nullptr ? parameter.GetName() : "";
}

}  // namespace

bool ParameterNamesEqual(const char* pszFirst, const char* pszSecond)
{
    if (pszFirst == nullptr || pszSecond == nullptr)
        return false;
    for (;; ++pszFirst, ++pszSecond) {
        if (AsciiLower(*pszFirst) != AsciiLower(*pszSecond))
            return false;
        if (*pszFirst == '\0')
            return true;
    }
}

void ThrowParameterCastFailed()
{
    throw ClException("pCast is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
}

void ThrowParameterAllocationFailed()
{
    throw ClExBadAlloc("Memory allocation failed", ZRT_ERROR_OUT_OF_MEMORY, true, "Unknown", -1);
}

// ---- ClParameterBase --------------------------------------------------------

ClParameterContainer* ClParameterBase::AsContainer()
{
    return dynamic_cast<ClParameterContainer*>(this);
}

ClParameter* ClParameterBase::AsParameter()
{
    return dynamic_cast<ClParameter*>(this);
}

ClParameterNumericInterface* ClParameterBase::AsNumeric()
{
    return dynamic_cast<ClParameterNumericInterface*>(this);
}

ClParameterEnumInterface* ClParameterBase::AsEnum()
{
    return dynamic_cast<ClParameterEnumInterface*>(this);
}

ClParameterBlobInterface* ClParameterBase::AsBlob()
{
    return dynamic_cast<ClParameterBlobInterface*>(this);
}

// ---- ClParameter --------------------------------------------------------------

ClParameter::~ClParameter()
{
    free(m_pszName);
    free(m_pszDescription);
}

void ClParameter::SetName(const char* pszName)
{
    // Copy first: the new name may be the old one.
    char* pszCopy = DuplicateParameterText(pszName);
    free(m_pszName);
    m_pszName = pszCopy;
}

void ClParameter::SetDescription(const char* pszDescription)
{
    char* pszCopy = DuplicateParameterText(pszDescription);
    free(m_pszDescription);
    m_pszDescription = pszCopy;
}

void ClParameter::CopySetupTo(ClParameterBase& target) const
{
    ClParameter* pTarget = target.AsParameter();
    if (pTarget == nullptr)
        ThrowParameterCastFailed();
    if (pTarget == this)
        return;
    pTarget->SetName(m_pszName);
    pTarget->SetDescription(m_pszDescription);
    pTarget->m_pType = m_pType;
    pTarget->m_nFlags = m_nFlags;
}

bool ClParameter::GetFullName(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    // Only the named part of the chain is written, so only that part is counted:
    // size and text always agree.
    size_t nNeeded = 0;
    for (const ClParameterBase* pLink = this; pLink != nullptr && pLink->GetName() != nullptr;
         pLink = pLink->GetParent())
        nNeeded += strlen(pLink->GetName()) + 1;
    if (nNeeded == 0)
        nNeeded = 1;  // the empty name still needs its terminator

    const size_t nRoom = *pnSize;
    *pnSize = nNeeded;
    if (nRoom < nNeeded)
        return false;
    if (pszText == nullptr)
        return true;

    // Written from the end backward, the parameter's own name last.
    char* pszCursor = pszText + nNeeded - 1;
    *pszCursor = '\0';
    for (const ClParameterBase* pLink = this; pLink != nullptr && pLink->GetName() != nullptr;
         pLink = pLink->GetParent()) {
        const size_t nLength = strlen(pLink->GetName());
        pszCursor -= nLength;
        memcpy(pszCursor, pLink->GetName(), nLength);
        if (pszCursor > pszText)
            *--pszCursor = '.';
    }
    return true;
}

// ---- ClParameterNumericInterface ---------------------------------------------

void ClParameterNumericInterface::SetFormat(const char* pszFormat)
{
    if (pszFormat == nullptr) {
        m_Format.SetSize(0);
        return;
    }
    const size_t nLength = strlen(pszFormat);
    m_Format.SetSize(nLength + 1);
    memcpy(m_Format.GetData(), pszFormat, nLength + 1);
}

void ClParameterNumericInterface::CopyNumericSetupTo(ClParameterNumericInterface& target) const
{
    if (&target == this)
        return;
    target.m_dScale = m_dScale;
    target.m_nPrecision = m_nPrecision;
    target.SetFormat(GetFormat());
}

// ---- Text helpers -------------------------------------------------------------

namespace ParameterText {

namespace {

[[noreturn]] void ThrowNotANumber(const ClParameter& parameter, const char* pszText)
{
    const std::string strMessage = std::string("Failed to set parameter \"") + NameForMessage(parameter) +
                                   "\" to value \"" + pszText + "\"";
    throw ClException(strMessage.c_str(), ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
}

// The later of the first "x" and the first "X", or null.
const char* FindHexadecimalMark(const char* pszText)
{
    const char* pszLower = strchr(pszText, 'x');
    const char* pszUpper = strchr(pszText, 'X');
    if (pszLower == nullptr)
        return pszUpper;
    if (pszUpper == nullptr)
        return pszLower;
    return pszLower > pszUpper ? pszLower : pszUpper;
}

}  // namespace

StNumber ReadNumber(const ClParameter& parameter, const char* pszText)
{
    if (pszText == nullptr)
        throw ClException("value string is NULL pointer!", ZRT_ERROR_TEMPLATE_PTR, true, KR9_SITE);

    char* pszEnd = nullptr;
    if (const char* pszMark = FindHexadecimalMark(pszText)) {
        // A 32-bit signed conversion: beyond its limits the value saturates.
        long long nHex = strtoll(pszMark + 1, &pszEnd, 16);
        if (*pszEnd != '\0')
            ThrowNotANumber(parameter, pszText);
        if (nHex > INT32_MAX)
            nHex = INT32_MAX;
        else if (nHex < INT32_MIN)
            nHex = INT32_MIN;
        return StNumber{nHex, static_cast<double>(nHex)};
    }

    const double dValue = strtod(pszText, &pszEnd);
    if (*pszEnd != '\0' || std::isinf(dValue))
        ThrowNotANumber(parameter, pszText);
    // strtoll saturates at the 64-bit limits, as the range check downstream expects.
    const long long nInteger = strtoll(pszText, nullptr, 10);
    return StNumber{nInteger, dValue};
}

void ThrowOutOfRange(const ClParameter& parameter)
{
    const std::string strMessage =
        std::string("Value out of range for parameter \"") + NameForMessage(parameter) + "\"";
    throw ClExRange(strMessage.c_str(), ZRT_ERROR_PARAM_OUT_OF_RANGE, true, KR9_SITE);
}

bool CopyOut(const char* pszSource, char* pszText, size_t* pnSize)
{
    const size_t nNeeded = strlen(pszSource) + 1;
    const size_t nRoom = *pnSize;
    *pnSize = nNeeded;
    if (nRoom < nNeeded)
        return false;
    if (pszText != nullptr)
        memcpy(pszText, pszSource, nNeeded);
    return true;
}

void TrimTrailingZeros(char* pszText)
{
    if (strchr(pszText, '.') == nullptr)
        return;
    size_t nLength = strlen(pszText);
    while (nLength > 0 && pszText[nLength - 1] == '0')
        --nLength;
    // One zero stays behind a separator, so the text still reads as a decimal number.
    if (nLength > 0 && (pszText[nLength - 1] == '.' || pszText[nLength - 1] == ',') && pszText[nLength] == '0')
        ++nLength;
    pszText[nLength] = '\0';
}

}  // namespace ParameterText

void ThrowParameterHasNoText()
{
    throw ClException("Abstract function", ZRT_ERROR_INTERNAL, true, KR9_SITE);
}

void ThrowParameterNotBound(const ClParameter& parameter)
{
    const std::string strMessage =
        std::string("Parameter \"") + NameForMessage(parameter) + "\" is not bound to a value";
    throw ClException(strMessage.c_str(), ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
}
