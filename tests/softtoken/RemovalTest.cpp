// Cards that are pulled and put back.
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

class RemovalTest : public TokenTest {
 protected:
  void SetUp() override {
    Insert();
    Start(std::string(kOneCard) + "presence = file card\n");
    session = Open();
    ASSERT_EQ(CKR_OK, Login(session));
  }

  void Insert() { WriteFile(Folder() + "/card", ""); }
  void Remove() { std::filesystem::remove(Folder() + "/card"); }
  // Pulls the card and puts it back between two calls.
  void Swap() {
    const timespec times[2] = {{1000, 0}, {++m_swaps, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, (Folder() + "/card").c_str(), times, 0));
  }

  CK_FLAGS SlotFlags() {
    CK_SLOT_INFO info = {};
    EXPECT_EQ(CKR_OK, f.C_GetSlotInfo(0, &info));
    return info.flags;
  }

  CK_ULONG PresentSlots() {
    CK_ULONG count = 0;
    EXPECT_EQ(CKR_OK, f.C_GetSlotList(CK_TRUE, nullptr, &count));
    return count;
  }

  CK_RV Random(CK_SESSION_HANDLE on) {
    CK_BYTE byte = 0;
    return f.C_GenerateRandom(on, &byte, 1);
  }

  CK_SESSION_HANDLE session = 0;

 private:
  time_t m_swaps = 1000;
};

TEST_F(RemovalTest, APulledCardIsNotPresent) {
  EXPECT_EQ(1u, PresentSlots());
  EXPECT_NE(0u, SlotFlags() & CKF_TOKEN_PRESENT);
  Remove();
  EXPECT_EQ(0u, PresentSlots());
  EXPECT_EQ(0u, SlotFlags() & CKF_TOKEN_PRESENT);
  CK_TOKEN_INFO info = {};
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_GetTokenInfo(0, &info));
  CK_SESSION_HANDLE refused = 0;
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &refused));
}

TEST_F(RemovalTest, EachSessionReportsTheRemovalOnce) {
  const CK_SESSION_HANDLE other = Open();
  Remove();
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Random(session));
  CK_SESSION_INFO info = {};
  EXPECT_EQ(CKR_DEVICE_REMOVED, f.C_GetSessionInfo(other, &info));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_GetSessionInfo(other, &info));
}

TEST_F(RemovalTest, ClosingADeadSessionReportsTheRemovalToo) {
  Remove();
  EXPECT_EQ(CKR_DEVICE_REMOVED, f.C_CloseSession(session));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_CloseSession(session));
}

TEST_F(RemovalTest, ClosingAllSessionsForgetsTheDeadOnes) {
  Remove();
  EXPECT_EQ(CKR_OK, f.C_CloseAllSessions(0));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Random(session));
}

TEST_F(RemovalTest, AfterReinsertionTheObjectsRemainAndTheLoginIsLost) {
  const KeyPair pair = GenerateKeyPair(session);
  const std::string modulus = Read(session, pair.publicKey, CKA_MODULUS);
  Remove();
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session));
  Insert();
  session = Open();
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(session).state);
  const auto found = Find(session, {});
  ASSERT_EQ(2u, found.size());
  EXPECT_EQ(modulus, Read(session, found[0], CKA_MODULUS));
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, f.C_SignInit(session, &rsa, found[1]));
  ASSERT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(128u, Sign(session, rsa, found[1], "message").size());
}

TEST_F(RemovalTest, SessionObjectsDoNotSurviveARemoval) {
  Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  Remove();
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session));
  Insert();
  EXPECT_EQ(0u, Find(Open(), {}).size());
}

TEST_F(RemovalTest, ASwapBetweenTwoCallsCountsAsARemoval) {
  Swap();
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session));
  session = Open();
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(session).state);
  EXPECT_EQ(CKR_OK, Random(session));
  Swap();
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session));
}

TEST_F(RemovalTest, ADeadSessionIsNotCountedAndHoldsNoLogin) {
  Swap();
  const CK_SESSION_HANDLE fresh = Open();
  EXPECT_EQ(1u, TokenInfo().ulSessionCount);
  ASSERT_EQ(CKR_OK, Login(fresh));
  EXPECT_EQ(CKR_DEVICE_REMOVED, Random(session)) << "although a card is in again";
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, SessionInfo(fresh).state);
}

TEST_F(RemovalTest, ARemovalDuringAnOperationIsReported) {
  const KeyPair pair = GenerateKeyPair(session);
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
  ASSERT_EQ(CKR_OK, f.C_SignInit(session, &rsa, pair.privateKey));
  Remove();
  CK_BYTE signature[128] = {};
  CK_ULONG length = sizeof signature;
  EXPECT_EQ(CKR_DEVICE_REMOVED, f.C_Sign(session, signature, 10, signature, &length));
}

TEST_F(RemovalTest, ARemovalDoesNotRestoreTheTries) {
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  Swap();
  EXPECT_EQ(1u, LoginExtended(Open(), "000000"));
}

TEST_F(RemovalTest, EventsAreReportedOnce) {
  CK_SLOT_ID slot = 77;
  EXPECT_EQ(CKR_NO_EVENT, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  Remove();
  EXPECT_EQ(CKR_OK, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  EXPECT_EQ(0u, slot);
  EXPECT_EQ(CKR_NO_EVENT, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  Insert();
  EXPECT_EQ(CKR_OK, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  EXPECT_EQ(CKR_NO_EVENT, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_WaitForSlotEvent(CKF_DONT_BLOCK, nullptr, nullptr));
}

using EmptyReaderTest = TokenTest;

TEST_F(EmptyReaderTest, ACardCanBeInsertedLater) {
  Start(std::string(kOneCard) + "presence = file card\n");
  CK_SESSION_HANDLE refused = 0;
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &refused));
  WriteFile(Folder() + "/card", "");
  EXPECT_EQ(CKR_OK, Login(Open()));
}

// No such reader exists, whether or not a PC/SC service is running.
TEST_F(EmptyReaderTest, AMissingReaderHasNoCard) {
  std::string settings = kOneCard;
  settings.replace(settings.find("Reader A 00 00"), 14, "No such reader, surely");
  Start(settings + "presence = reader\n");
  CK_ULONG count = 77;
  EXPECT_EQ(CKR_OK, f.C_GetSlotList(CK_TRUE, nullptr, &count));
  EXPECT_EQ(0u, count);
}

}  // namespace
}  // namespace softtoken::testing
