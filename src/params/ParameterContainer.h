// A parameter that holds parameters: the node of a parameter tree. A caller
// reaches a leaf by a dotted path such as "Filter.nWidth"; a path that begins
// with "." starts at the root. Names are compared without regard to ASCII case.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include "params/Parameter.h"

class ClParameterContainer : public ClParameter
{
public:
    ClParameterContainer();
    explicit ClParameterContainer(const char* pszName);
    // Deletes the children, the last first.
    ~ClParameterContainer() override;

    ClParameter* Clone() const override;
    // Name, description and a deep copy of the children; the target's own children are deleted first.
    void CopySetupTo(ClParameterBase& target) const override;
    // The value operations go to the children by position; other must be a
    // container with at least as many children (ZRT_ERROR_BAD_POINTER and
    // ZRT_ERROR_INVALID_PARAMETER otherwise).
    void CopyStoredFrom(const ClParameterBase& other) override;
    void StoreValueOf(const ClParameterBase& other) override;
    void AssignValueFrom(const ClParameterBase& other, bool bForce) override;
    void RestoreStored() override;
    void AssignStoredFrom(const ClParameterBase& other) override;
    ClParameterContainer* AsContainer() override { return this; }
    ClParameter* AsParameter() override { return this; }
    bool IsParameter() const override { return true; }
    void SwapStored() override;
    // True when every child's value equals its stored value.
    bool IsStoredEqual() const override;
    bool IsContainer() const override { return true; }
    // A container has no value: texts are empty and writes do nothing.
    void SetFromString(const char* /*pszText*/) override {}
    bool GetAsString(char* pszText, size_t* pnSize) const override;
    bool GetStoredAsString(char* /*pszText*/, size_t* /*pnSize*/) const override { return false; }
    void* GetValuePointer() const override { return const_cast<ClParameterContainer*>(this); }

    // Takes ownership of the parameter. A name that is already present (ignoring
    // case) is refused with ZRT_ERROR_PARAM_VALUE_DUPLICATE and the parameter
    // stays the caller's.
    void Add(ClParameter* pParameter);
    // A new TParameter of that name, added and returned for binding.
    template <class TParameter>
    TParameter* CreateParameter(const char* pszName);

    // The first child of that name, ignoring case, or null.
    ClParameter* FindChild(const char* pszName) const;
    // The parameter a dotted path names, or null. A leaf ends the path: what
    // follows it is ignored. A path part of exactly 255 characters raises
    // ZRT_ERROR_INTERNAL.
    ClParameter* Find(const char* pszPath);
    // The top of the tree this container belongs to.
    ClParameter* GetRoot();

    // The leaves in depth-first order of registration; containers are never
    // handed out and empty ones are passed over. Null when there are no more.
    ClParameter* GetFirstLeaf(size_t nStartIndex = 0) const;
    ClParameter* GetNextLeaf(ClParameter* pCurrent) const;

    size_t GetChildCount() const { return static_cast<size_t>(m_Parameters.GetCount()); }
    ClParameter* GetChild(size_t nIndex) const { return m_Parameters[nIndex]; }

private:
    void DeleteChildren();
    // other as a container that has at least this container's children.
    const ClParameterContainer& MatchingContainer(const ClParameterBase& other) const;
    // Reads one part of a path into szPart and moves pszPath behind it.
    static void ReadPathPart(const char*& pszPath, char (&szPart)[256]);

    TpArrayDynamic<ClParameter*, 10> m_Parameters;  // owned, in order of registration
};

template <class TParameter>
TParameter* ClParameterContainer::CreateParameter(const char* pszName)
{
    std::unique_ptr<TParameter> pParameter(new (std::nothrow) TParameter());
    if (pParameter == nullptr)
        ThrowParameterAllocationFailed();
    pParameter->SetName(pszName);
    // A refused parameter stays ours and goes with the exception; an added one is the container's.
    Add(pParameter.get());
    return pParameter.release();
}
