// Parameter trees: registration, dotted paths, the walk over the leaves and
// deep copies.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "params/ParameterContainer.h"
#include "params/TypedParameter.h"

namespace {

// A root named R: a (container: b, c), d (empty container), e (container: f), g.
class ParameterTree : public testing::Test
{
protected:
    void SetUp() override
    {
        m_root.SetName("R");
        m_pA = m_root.CreateParameter<ClParameterContainer>("a");
        m_pB = BindInt(*m_pA, "b", &m_nB);
        m_pC = BindInt(*m_pA, "c", &m_nC);
        m_pD = m_root.CreateParameter<ClParameterContainer>("d");
        m_pE = m_root.CreateParameter<ClParameterContainer>("e");
        m_pF = BindInt(*m_pE, "f", &m_nF);
        m_pG = BindInt(m_root, "g", &m_nG);
    }

    static TpParameterNumeric<int>* BindInt(ClParameterContainer& container, const char* pszName, int* pVariable)
    {
        auto* pParameter = container.CreateParameter<TpParameterNumeric<int>>(pszName);
        pParameter->Bind(pVariable, kParameterIn | kParameterOut);
        return pParameter;
    }

    int m_nB = 1, m_nC = 2, m_nF = 3, m_nG = 4;
    ClParameterContainer m_root;
    ClParameterContainer *m_pA = nullptr, *m_pD = nullptr, *m_pE = nullptr;
    ClParameter *m_pB = nullptr, *m_pC = nullptr, *m_pF = nullptr, *m_pG = nullptr;
};

TEST_F(ParameterTree, AddRefusesNamesThatDifferOnlyByCase)
{
    // The refused parameter is deleted by the creator (the leak checker watches).
    EXPECT_EQ(CodeOf([&] { m_root.CreateParameter<TpParameterNumeric<int>>("G"); }),
              ZRT_ERROR_PARAM_VALUE_DUPLICATE);
    TpParameterNumeric<int> duplicate;
    duplicate.SetName("A");
    EXPECT_EQ(CodeOf([&] { m_root.Add(&duplicate); }), ZRT_ERROR_PARAM_VALUE_DUPLICATE);
    EXPECT_EQ(std::make_pair(duplicate.GetParent(), m_root.GetChildCount()),
              std::make_pair(static_cast<ClParameterContainer*>(nullptr), size_t(4)));
    EXPECT_EQ(m_root.FindChild("A"), m_pA);
}

TEST_F(ParameterTree, PathsRelativeAbsoluteAndThroughTheRootName)
{
    // Names fold case except the root's own; a leaf ends the path; the root's
    // name with nothing behind it names the root; the empty part looks for a
    // child with an empty name. From inside the tree relative paths start
    // there, absolute ones at the root, and only the root skips its own name.
    const struct { ClParameterContainer* pFrom; const char* pszPath; ClParameter* pFound; } aPaths[] = {
        {&m_root, "a.b", m_pB},   {&m_root, "A.B", m_pB},      {&m_root, ".a.b", m_pB},
        {&m_root, "R.a.b", m_pB}, {&m_root, "r.a.b", nullptr}, {&m_root, "a.b.c", m_pB},
        {&m_root, "g.x.y", m_pG}, {&m_root, "a", m_pA},        {&m_root, "a.x", nullptr},
        {&m_root, "x", nullptr},  {&m_root, nullptr, nullptr}, {&m_root, ".", &m_root},
        {&m_root, "R", &m_root},  {&m_root, "", nullptr},      {m_pA, "c", m_pC},
        {m_pA, ".e.f", m_pF},     {m_pA, ".", &m_root},        {m_pA, "R.c", nullptr}};
    for (const auto& path : aPaths)
        EXPECT_EQ(path.pFrom->Find(path.pszPath), path.pFound) << (path.pszPath ? path.pszPath : "(null)");
    // A full name joins the named ancestors (an unnamed root adds nothing: the handles' listings show it).
    char szName[16];
    size_t nSize = sizeof(szName);
    ASSERT_TRUE(m_pF->GetFullName(szName, &nSize));
    EXPECT_STREQ(szName, "R.e.f");
}

TEST_F(ParameterTree, PathPartsOfExactly255CharactersAreRefused)
{
    const std::string str254(254, 'p');
    const std::string str255(255, 'q');
    int nLong254 = 0, nLong255 = 0;
    ClParameter* pLong254 = BindInt(*m_pA, str254.c_str(), &nLong254);
    ClParameter* pLong255 = BindInt(m_root, str255.c_str(), &nLong255);

    EXPECT_EQ(m_root.Find(("R.a." + str254).c_str()), pLong254);

    EXPECT_EQ(CodeOf([&] { m_root.Find(str255.c_str()); }, "Parameter path part was to long max len is 255"),
              ZRT_ERROR_INTERNAL);

    // Longer parts are looked up under their first 255 characters.
    EXPECT_EQ(m_root.Find((str255 + "zzzz.b").c_str()), pLong255);
}

TEST_F(ParameterTree, LeafWalkIsDepthFirstAndSkipsEmptyContainers)
{
    std::vector<ClParameter*> leaves;
    for (ClParameter* pLeaf = m_root.GetFirstLeaf(); pLeaf != nullptr; pLeaf = m_root.GetNextLeaf(pLeaf))
        leaves.push_back(pLeaf);
    EXPECT_EQ(leaves, (std::vector<ClParameter*>{m_pB, m_pC, m_pF, m_pG}));

    EXPECT_EQ(m_pD->GetFirstLeaf(), nullptr);
    // The walk goes on above the container it was asked on.
    EXPECT_EQ(m_pA->GetNextLeaf(m_pC), m_pF);

    TpParameterNumeric<int> orphan;
    EXPECT_EQ(CodeOf([&] { m_root.GetNextLeaf(&orphan); }, "pParent is not set"), ZRT_ERROR_BAD_POINTER);
}

TEST_F(ParameterTree, CloneIsADeepCopyOfTheConfiguration)
{
    m_root.SetDescription("settings");
    std::unique_ptr<ClParameter> pClone(m_root.Clone());
    ClParameterContainer* pCopy = pClone->AsContainer();
    ASSERT_NE(pCopy, nullptr);
    EXPECT_STREQ(pCopy->GetDescription(), "settings");

    ClParameter* pCopyB = pCopy->Find("a.b");
    ASSERT_NE(pCopyB, nullptr);
    EXPECT_EQ(pCopyB->GetParent(), pCopy->FindChild("a")) << "the children are the copy's own";
    EXPECT_EQ(pCopyB->GetValuePointer(), &m_nB) << "bound to the same variables";
    pCopyB->SetFromString("77");
    EXPECT_EQ(m_nB, 77);
    EXPECT_NE(pCopy->FindChild("d"), nullptr) << "empty containers are copied too";

    // Copying into a container replaces what it held.
    ClParameterContainer target("T");
    int nOld = 0;
    BindInt(target, "old", &nOld);
    m_pA->CopySetupTo(target);
    EXPECT_EQ(target.FindChild("old"), nullptr);
    EXPECT_EQ(target.GetChildCount(), 2u);

    TpParameterNumeric<int> leaf;
    EXPECT_EQ(CodeOf([&] { m_root.CopySetupTo(leaf); }, "pCast is not set"), ZRT_ERROR_BAD_POINTER);
}

TEST_F(ParameterTree, ValueOperationsReachEveryChild)
{
    m_nC = 20;
    m_nG = 40;
    EXPECT_FALSE(m_root.IsStoredEqual());
    m_root.SwapStored();
    EXPECT_EQ(std::make_pair(m_nC, m_nG), std::make_pair(2, 4));
    m_root.RestoreStored();
    EXPECT_EQ(std::make_pair(m_nC, m_nG), std::make_pair(20, 40));

    // Between two trees of the same shape, child by child.
    std::unique_ptr<ClParameter> pClone(m_root.Clone());
    ClParameterContainer* pCopy = pClone->AsContainer();
    m_root.StoreValueOf(*pCopy);
    EXPECT_TRUE(m_root.IsStoredEqual());

    // A container of another shape, or no container, is refused before anything changes.
    ClParameterContainer smaller;
    BindInt(smaller, "b", &m_nB);
    m_nB = 5;
    EXPECT_EQ(CodeOf([&] { m_root.AssignStoredFrom(smaller); }), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CodeOf([&] { m_root.CopyStoredFrom(*m_pB); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(m_nB, 5);

    // A container has no value of its own.
    char szText[4] = "xyz";
    size_t nSize = sizeof(szText);
    EXPECT_TRUE(m_root.GetAsString(szText, &nSize));
    EXPECT_STREQ(szText, "");
    EXPECT_EQ(nSize, 1u);
}

}  // namespace
