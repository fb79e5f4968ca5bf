#include <cstdlib>
#include <ctime>
#include <future>
#include <gtest/gtest.h>
#include <set>
#include <vector>

#include "entry/CCSPContextList.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "module/WaitingLogin.h"

namespace {

class CCSPContextListTest : public ContextTest {
 protected:
  CCSPContextListTest() { AddContainer(m_module.InsertToken("Reader A"), Text("one")); }

  CCSPContextList m_list;
};

TEST_F(CCSPContextListTest, AnAddedContextIsFoundAsACopyUnderItsHandle) {
  TELVOCSPContext context(nullptr);
  const DWORD handle = m_list.AddContext(context);
  EXPECT_EQ(handle, context.GetHandle());
  const auto found = m_list.FindContext(handle);
  EXPECT_NE(&context, found.get());
  EXPECT_EQ(handle, found->GetHandle());
}

TEST_F(CCSPContextListTest, KeyHandlesAreAssignedBeforeTheCopy) {
  TELVOCSPContext context(nullptr);
  const auto found = m_list.FindContext(m_list.AddContext(context));
  EXPECT_EQ(context.GetExchangeKeyHandle(), found->GetExchangeKeyHandle());
  EXPECT_EQ(context.GetSignatureKeyHandle(), found->GetSignatureKeyHandle());
}

TEST_F(CCSPContextListTest, ContextsAddedInTheSameSecondGetDifferentHandles) {
  TELVOCSPContext first(nullptr);
  TELVOCSPContext second(nullptr);
  TELVOCSPContext third(nullptr);
  const DWORD a = m_list.AddContext(first);
  const DWORD b = m_list.AddContext(second);
  const DWORD c = m_list.AddContext(third);
  EXPECT_NE(a, b);
  EXPECT_NE(b, c);
  EXPECT_NE(a, c);
  EXPECT_EQ(b, m_list.FindContext(b)->GetHandle());
}

TEST_F(CCSPContextListTest, TheHandleIsTheFirstNumberOfAGeneratorSeededWithTheTime) {
  DWORD handle = 0;
  DWORD expected = 1;
  // Try again if a new second begins in between.
  for (int attempt = 0; attempt < 3 && handle != expected; ++attempt) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    expected = static_cast<DWORD>(std::rand()) % 0xFFFFFFFF;
    CCSPContextList list;
    TELVOCSPContext context(nullptr);
    handle = list.AddContext(context);
  }
  EXPECT_EQ(expected, handle);
}

TEST_F(CCSPContextListTest, ContextsAddedInTheSameSecondGetTheGeneratorsNumbersInOrder) {
  constexpr int kContexts = 5;
  std::vector<DWORD> handles;
  std::vector<DWORD> expected(kContexts, 1);
  // Try again if a new second begins in between.
  for (int attempt = 0; attempt < 3 && handles != expected; ++attempt) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (DWORD& number : expected) number = static_cast<DWORD>(std::rand()) % 0xFFFFFFFF;
    CCSPContextList list;
    handles.clear();
    for (int i = 0; i < kContexts; ++i) {
      TELVOCSPContext context(nullptr);
      handles.push_back(list.AddContext(context));
    }
  }
  EXPECT_EQ(expected, handles);
}

TEST_F(CCSPContextListTest, ThousandsOfContextsHaveDifferentHandlesAndAreFoundUntilRemoved) {
  constexpr std::size_t kContexts = 3000;
  TELVOCSPContext context(nullptr);
  std::vector<DWORD> handles(kContexts);
  for (DWORD& handle : handles) handle = m_list.AddContext(context);
  EXPECT_EQ(kContexts, std::set<DWORD>(handles.begin(), handles.end()).size());
  for (const DWORD handle : handles) {
    ASSERT_EQ(handle, m_list.FindContext(handle)->GetHandle());
    context.SetHandle(handle);
    m_list.RemoveContext(context);
    EXPECT_ANY_THROW(m_list.FindContext(handle));
  }
}

TEST_F(CCSPContextListTest, AnUnknownHandleIsBad) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_UID), "The context does not exist", m_list.FindContext(0));
  TELVOCSPContext context(nullptr);
  const DWORD handle = m_list.AddContext(context);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_UID), "The context does not exist", m_list.FindContext(HCRYPTPROV{handle} + 1));
}

TEST_F(CCSPContextListTest, AHandleWithUpperBitsIsBad) {
  TELVOCSPContext context(nullptr);
  const DWORD handle = m_list.AddContext(context);
  EXPECT_CONTEXT_ERROR(NTE_BAD_UID, "The context does not exist",
                       m_list.FindContext(HCRYPTPROV{handle} | HCRYPTPROV{1} << 32U));
}

// A context with the handle that a test chooses.
class FixedHandle : public TELVOCSPContext {
 public:
  explicit FixedHandle(DWORD handle) : TELVOCSPContext(static_cast<HINSTANCE>(nullptr)), m_fixed(handle) {}
  DWORD GetHandle() const override { return m_fixed; }
  boost::shared_ptr<CCSPContext> Copy() const override {
    return boost::shared_ptr<CCSPContext>(new FixedHandle(*this));
  }

 private:
  DWORD m_fixed;
};

TEST_F(CCSPContextListTest, AHandleOfZeroIsFoundAndReleasedLikeAnyOther) {
  FixedHandle context(0);
  EXPECT_EQ(0U, m_list.AddContext(context));
  EXPECT_EQ(0U, m_list.FindContext(0)->GetHandle());
  m_list.RemoveContext(context);
  EXPECT_CONTEXT_ERROR(NTE_BAD_UID, "The context does not exist", m_list.FindContext(0));
}

TEST_F(CCSPContextListTest, RemovingAnUnknownContextIsSilent) {
  TELVOCSPContext context(nullptr);
  context.SetHandle(4711);
  m_list.RemoveContext(context);
}

TEST_F(CCSPContextListTest, ARemovedContextLivesAsLongAsACallHoldsIt) {
  TELVOCSPContext context(nullptr);
  const auto held = m_list.FindContext(m_list.AddContext(context));
  m_list.RemoveContext(*held);
  EXPECT_EQ(context.GetHandle(), held->GetHandle());
}

TEST_F(CCSPContextListTest, RemovingTheLastOwnerClosesTheSession) {
  DWORD handle = 0;
  {
    const auto context = Acquire("one");
    handle = m_list.AddContext(*context);
  }
  TELVOCSPContext sameHandle(nullptr);
  sameHandle.SetHandle(handle);
  m_list.RemoveContext(sameHandle);
  EXPECT_EQ(Calls{"C_CloseSession(1)"}, m_module.TakeCalls());
}

TEST_F(CCSPContextListTest, ClosingASessionHoldsTheLoginLockButNotTheListsLock) {
  DWORD handle = 0;
  {
    const auto context = Acquire("one");
    handle = m_list.AddContext(*context);
  }
  TELVOCSPContext other(nullptr);
  const DWORD otherHandle = m_list.AddContext(other);
  WaitingLogin login;
  m_module.BeforeNext("C_CloseSession", [&] {
    login.Ask();
    EXPECT_EQ(otherHandle,
              std::async(std::launch::async, [&] { return m_list.FindContext(otherHandle)->GetHandle(); }).get());
  });
  TELVOCSPContext sameHandle(nullptr);
  sameHandle.SetHandle(handle);
  m_list.RemoveContext(sameHandle);
  EXPECT_TRUE(login.HadToWait());
}

TEST_F(CCSPContextListTest, ASharedSessionStaysOpenOnRemoval) {
  const auto context = Acquire("one");
  m_list.AddContext(*context);
  m_list.RemoveContext(*context);
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(CCSPContextListTest, DestroyingTheListClosesNoSession) {
  {
    CCSPContextList list;
    const auto context = Acquire("one");
    list.AddContext(*context);
  }
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

}  // namespace
