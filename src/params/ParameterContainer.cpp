#include "params/ParameterContainer.h"

#include <cstring>
#include <memory>

namespace {

// The longest part of a path that a lookup reads, and the one length it refuses.
constexpr size_t kMaxPathPart = 255;

}  // namespace

ClParameterContainer::ClParameterContainer()
{
    m_pType = &typeid(ClParameterContainer);
    m_nFlags = kParameterContainer;
}

ClParameterContainer::ClParameterContainer(const char* pszName) : ClParameterContainer()
{
    SetName(pszName);
}

ClParameterContainer::~ClParameterContainer()
{
    DeleteChildren();
}

void ClParameterContainer::DeleteChildren()
{
    for (uint64_t i = m_Parameters.GetCount(); i > 0; --i)
        delete m_Parameters[i - 1];
    m_Parameters.SetSize(0);
}

ClParameter* ClParameterContainer::Clone() const
{
    std::unique_ptr<ClParameterContainer> pClone(new (std::nothrow) ClParameterContainer());
    if (pClone == nullptr)
        ThrowParameterAllocationFailed();
    CopySetupTo(*pClone);
    return pClone.release();
}

void ClParameterContainer::CopySetupTo(ClParameterBase& target) const
{
    ClParameterContainer* pTarget = target.AsContainer();
    if (pTarget == nullptr)
        ThrowParameterCastFailed();
    if (pTarget == this)
        return;
    ClParameter::CopySetupTo(target);
    pTarget->DeleteChildren();
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i) {
        std::unique_ptr<ClParameter> pChild(m_Parameters[i]->Clone());
        pTarget->Add(pChild.get());
        pChild.release();
    }
}

const ClParameterContainer& ClParameterContainer::MatchingContainer(const ClParameterBase& other) const
{
    const auto* pOther = dynamic_cast<const ClParameterContainer*>(&other);
    if (pOther == nullptr)
        ThrowParameterCastFailed();
    // Checked before anything changes, so a mismatch leaves both trees as they were.
    if (pOther->m_Parameters.GetCount() < m_Parameters.GetCount())
        throw ClException("The other container has fewer parameters", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    return *pOther;
}

void ClParameterContainer::CopyStoredFrom(const ClParameterBase& other)
{
    const ClParameterContainer& source = MatchingContainer(other);
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->CopyStoredFrom(*source.m_Parameters[i]);
}

void ClParameterContainer::StoreValueOf(const ClParameterBase& other)
{
    const ClParameterContainer& source = MatchingContainer(other);
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->StoreValueOf(*source.m_Parameters[i]);
}

void ClParameterContainer::AssignValueFrom(const ClParameterBase& other, bool bForce)
{
    const ClParameterContainer& source = MatchingContainer(other);
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->AssignValueFrom(*source.m_Parameters[i], bForce);
}

void ClParameterContainer::RestoreStored()
{
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->RestoreStored();
}

void ClParameterContainer::AssignStoredFrom(const ClParameterBase& other)
{
    const ClParameterContainer& source = MatchingContainer(other);
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->AssignStoredFrom(*source.m_Parameters[i]);
}

void ClParameterContainer::SwapStored()
{
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        m_Parameters[i]->SwapStored();
}

bool ClParameterContainer::IsStoredEqual() const
{
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        if (!m_Parameters[i]->IsStoredEqual())
            return false;
    return true;
}

bool ClParameterContainer::GetAsString(char* pszText, size_t* pnSize) const
{
    if (pnSize == nullptr)
        return false;
    if (*pnSize >= 2 && pszText != nullptr)
        pszText[0] = '\0';
    *pnSize = 1;
    return true;
}

void ClParameterContainer::Add(ClParameter* pParameter)
{
    if (pParameter == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
    if (FindChild(pParameter->GetName()) != nullptr)
        throw ClExQuorvane(ZRT_ERROR_PARAM_VALUE_DUPLICATE, KR9_SITE);
    m_Parameters.Add(pParameter);
    pParameter->m_pParent = this;
}

ClParameter* ClParameterContainer::FindChild(const char* pszName) const
{
    for (uint64_t i = 0; i < m_Parameters.GetCount(); ++i)
        if (ParameterNamesEqual(m_Parameters[i]->GetName(), pszName))
            return m_Parameters[i];
    return nullptr;
}

ClParameter* ClParameterContainer::GetRoot()
{
    ClParameterBase* pTop = this;
    while (pTop->GetParent() != nullptr)
        pTop = pTop->GetParent();
    return pTop->AsParameter();
}

void ClParameterContainer::ReadPathPart(const char*& pszPath, char (&szPart)[256])
{
    // The count goes one beyond the limit when the part is longer than 255
    // characters: such a part is read as its first 255 characters and the
    // reading position stays inside it. Only a part of exactly 255 is refused.
    size_t nCount = 0;
    size_t nTaken = 0;
    while (*pszPath != '\0' && *pszPath != '.' && nCount++ < kMaxPathPart)
        szPart[nTaken++] = *pszPath++;
    szPart[nTaken] = '\0';
    if (nCount == kMaxPathPart)
        throw ClException("Parameter path part was to long max len is 255", ZRT_ERROR_INTERNAL, false, "Unknown", -1);
}

ClParameter* ClParameterContainer::Find(const char* pszPath)
{
    if (pszPath == nullptr)
        return nullptr;
    if (strcmp(pszPath, ".") == 0)
        return GetRoot();
    if (pszPath[0] == '.') {
        ClParameter* pRoot = GetRoot();
        if (pRoot == nullptr)
            return nullptr;
        if (ClParameterContainer* pRootContainer = pRoot->AsContainer())
            return pRootContainer->Find(pszPath + 1);
        return pRoot;
    }

    char szPart[kMaxPathPart + 1];
    ReadPathPart(pszPath, szPart);

    // A path may name the root itself first; that name must match exactly.
    if (m_pParent == nullptr && m_pszName != nullptr && strcmp(szPart, m_pszName) == 0) {
        // The root's name with nothing behind it names the root.
        if (*pszPath == '\0')
            return this;
        ++pszPath;
        ReadPathPart(pszPath, szPart);
    }

    ClParameter* pChild = FindChild(szPart);
    if (*pszPath != '.' || pChild == nullptr)
        return pChild;
    if (ClParameterContainer* pChildContainer = pChild->AsContainer())
        return pChildContainer->Find(pszPath + 1);
    return pChild;
}

ClParameter* ClParameterContainer::GetFirstLeaf(size_t nStartIndex) const
{
    for (uint64_t i = nStartIndex; i < m_Parameters.GetCount(); ++i) {
        ClParameter* pChild = m_Parameters[i];
        if (pChild == nullptr)
            ThrowParameterAllocationFailed();
        ClParameterContainer* pChildContainer = pChild->AsContainer();
        if (pChildContainer == nullptr)
            return pChild;
        if (ClParameter* pLeaf = pChildContainer->GetFirstLeaf(0))
            return pLeaf;
    }
    return nullptr;
}

ClParameter* ClParameterContainer::GetNextLeaf(ClParameter* pCurrent) const
{
    if (pCurrent == nullptr)
        return GetFirstLeaf(0);
    if (pCurrent->GetParent() == nullptr)
        throw ClException("pParent is not set", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);

    // Continue behind pCurrent among its siblings, then behind each ancestor in turn.
    const ClParameterContainer* pLevel = pCurrent->GetParent();
    for (;;) {
        uint64_t nIndex = 0;
        while (nIndex < pLevel->m_Parameters.GetCount() && pLevel->m_Parameters[nIndex] != pCurrent)
            ++nIndex;
        if (ClParameter* pLeaf = pLevel->GetFirstLeaf(static_cast<size_t>(nIndex + 1)))
            return pLeaf;
        if (pLevel->m_pParent == nullptr)
            return nullptr;
        pCurrent = const_cast<ClParameterContainer*>(pLevel);
        pLevel = pLevel->m_pParent;
    }
}
