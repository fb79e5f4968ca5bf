// Slots, tokens, and starting the module.
#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <sys/stat.h>

#include "TokenTest.h"

namespace softtoken::testing {
namespace {

template <std::size_t Size>
std::string Field(const CK_UTF8CHAR (&field)[Size]) {
  return {reinterpret_cast<const char*>(field), Size};
}

std::string Padded(std::string text, std::size_t size) {
  text.resize(size, ' ');
  return text;
}

using SlotTest = TokenTest;

constexpr char kThreeCards[] =
    "state = state\n"
    "[slot]\nreader = Reader A\nlabel = Card A\nserial = A000000000000001\n"
    "[slot]\nreader = Reader B\nlabel = Card B\nserial = B000000000000002\npresence = never\n"
    "[slot]\nreader = Reader C\nlabel = Card C\nserial = C000000000000003\n";

std::vector<CK_SLOT_ID> Slots(CK_FUNCTION_LIST& f, CK_BBOOL tokenPresent) {
  CK_ULONG count = 0;
  EXPECT_EQ(CKR_OK, f.C_GetSlotList(tokenPresent, nullptr, &count));
  std::vector<CK_SLOT_ID> slots(count);
  EXPECT_EQ(CKR_OK, f.C_GetSlotList(tokenPresent, slots.data(), &count));
  return slots;
}

TEST_F(SlotTest, EachSlotOfTheSettingsIsListed) {
  Start(kThreeCards);
  EXPECT_EQ((std::vector<CK_SLOT_ID>{0, 1, 2}), Slots(f, CK_FALSE));
  EXPECT_EQ((std::vector<CK_SLOT_ID>{0, 2}), Slots(f, CK_TRUE));
}

TEST_F(SlotTest, WithoutReadersThereIsNoSlot) {
  Start("state = state\nreaders = none\n");
  EXPECT_TRUE(Slots(f, CK_FALSE).empty());
  EXPECT_TRUE(Slots(f, CK_TRUE).empty());
  CK_SLOT_INFO info = {};
  EXPECT_EQ(CKR_SLOT_ID_INVALID, f.C_GetSlotInfo(0, &info));
}

TEST_F(SlotTest, AShortSlotListIsRefusedWithTheNeededLength) {
  Start(kThreeCards);
  CK_SLOT_ID slots[3] = {77, 77, 77};
  CK_ULONG count = 2;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_GetSlotList(CK_FALSE, slots, &count));
  EXPECT_EQ(3u, count);
  EXPECT_EQ(77u, slots[0]);
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_GetSlotList(CK_FALSE, slots, nullptr));
}

TEST_F(SlotTest, TheSlotIsDescribedByTheReadersName) {
  Start(kThreeCards);
  CK_SLOT_INFO info = {};
  ASSERT_EQ(CKR_OK, f.C_GetSlotInfo(2, &info));
  EXPECT_EQ(Padded("Reader C", 64), Field(info.slotDescription));
  EXPECT_EQ(CKF_REMOVABLE_DEVICE | CKF_TOKEN_PRESENT, info.flags);
  ASSERT_EQ(CKR_OK, f.C_GetSlotInfo(1, &info));
  EXPECT_EQ(CKF_REMOVABLE_DEVICE, info.flags);
  EXPECT_EQ(CKR_SLOT_ID_INVALID, f.C_GetSlotInfo(3, &info));
}

TEST_F(SlotTest, TheTokenIsDescribedByTheSettings) {
  Start(kThreeCards);
  const CK_TOKEN_INFO info = TokenInfo(2);
  EXPECT_EQ(Padded("Card C", 32), Field(info.label));
  EXPECT_EQ("C000000000000003", Field(info.serialNumber));
  EXPECT_EQ(CKF_RNG | CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED | CKF_TOKEN_INITIALIZED, info.flags);
  EXPECT_EQ(4u, info.ulMinPinLen);
  EXPECT_EQ(16u, info.ulMaxPinLen);
}

TEST_F(SlotTest, TheLabelFollowsTheSettings) {
  Start();
  ASSERT_EQ(CKR_OK, f.C_Finalize(nullptr));
  std::string changed = kOneCard;
  changed.replace(changed.find("Card A"), 6, "Card X");
  Start(changed);
  EXPECT_EQ(Padded("Card X", 32), Field(TokenInfo().label));
}

TEST_F(SlotTest, SessionsAreCounted) {
  Start();
  const CK_SESSION_HANDLE readOnly = Open(kReadOnly);
  Open(kReadWrite);
  EXPECT_EQ(2u, TokenInfo().ulSessionCount);
  EXPECT_EQ(1u, TokenInfo().ulRwSessionCount);
  EXPECT_EQ(CKR_OK, f.C_CloseSession(readOnly));
  EXPECT_EQ(1u, TokenInfo().ulSessionCount);
}

TEST_F(SlotTest, AnAbsentTokenHasNoInformation) {
  Start(kThreeCards);
  CK_TOKEN_INFO info = {};
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_GetTokenInfo(1, &info));
  CK_SESSION_HANDLE session = 0;
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_OpenSession(1, kReadWrite, nullptr, nullptr, &session));
  CK_ULONG count = 0;
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, f.C_GetMechanismList(1, nullptr, &count));
}

TEST_F(SlotTest, TokensDoNotShareObjectsOrLogins) {
  Start(kThreeCards);
  const CK_SESSION_HANDLE a = Open(kReadWrite, 0), c = Open(kReadWrite, 2);
  ASSERT_EQ(CKR_OK, Login(a, "12345678"));
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, SessionInfo(a).state);
  EXPECT_EQ(CKS_RW_PUBLIC_SESSION, SessionInfo(c).state);
  GenerateKeyPair(a);
  EXPECT_EQ(2u, Find(a, {}).size());
  EXPECT_EQ(0u, Find(c, {}).size());
}

TEST_F(SlotTest, SessionsMustBeSerial) {
  Start();
  CK_SESSION_HANDLE session = 0;
  EXPECT_EQ(CKR_SESSION_PARALLEL_NOT_SUPPORTED, f.C_OpenSession(0, CKF_RW_SESSION, nullptr, nullptr, &session));
  EXPECT_EQ(CKR_SLOT_ID_INVALID, f.C_OpenSession(7, kReadWrite, nullptr, nullptr, &session));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_OpenSession(0, kReadWrite, nullptr, nullptr, nullptr));
}

TEST_F(SlotTest, AClosedSessionIsUnknown) {
  Start();
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(CKR_OK, f.C_CloseSession(session));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_CloseSession(session));
  CK_BYTE random = 0;
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_GenerateRandom(session, &random, 1));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_GenerateRandom(0, &random, 1));
}

TEST_F(SlotTest, UnsupportedEntriesReturnTheirOwnCodes) {
  Start();
  const CK_SESSION_HANDLE session = Open();
  CK_SLOT_ID slot = 0;
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_InitToken(0, Text(kSoPin), 6, Text("x")));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_WaitForSlotEvent(0, &slot, nullptr));
  EXPECT_EQ(CKR_FUNCTION_NOT_PARALLEL, f.C_GetFunctionStatus(session));
  EXPECT_EQ(CKR_FUNCTION_NOT_PARALLEL, f.C_CancelFunction(session));
  CK_ULONG length = 0;
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_GetOperationState(session, nullptr, &length));
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
  const KeyPair pair = GenerateSessionKeyPair(session);
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_SignRecoverInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, f.C_VerifyRecoverInit(session, &rsa, pair.publicKey));
}

TEST_F(SlotTest, TheTableIsCompleteAndHasTheExtendedLogin) {
  const ExtendedFunctionList& table = NativeTable();
  EXPECT_EQ(2, table.standard.version.major);
#define ENTRY(name, parameters, arguments) EXPECT_NE(nullptr, table.standard.name) << #name;
#include "cryptoki/CryptokiEntries.inc"
  for (const void* unused : table.unused) EXPECT_EQ(nullptr, unused);
  EXPECT_NE(nullptr, table.C_LoginExtended);
  CK_FUNCTION_LIST* list = nullptr;
  EXPECT_EQ(CKR_OK, f.C_GetFunctionList(&list));
  EXPECT_EQ(&f, list);
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_GetFunctionList(nullptr));
}

TEST_F(SlotTest, GetInfoDescribesTheModule) {
  Start();
  CK_INFO info = {};
  ASSERT_EQ(CKR_OK, f.C_GetInfo(&info));
  EXPECT_EQ(2, info.cryptokiVersion.major);
  EXPECT_EQ(40, info.cryptokiVersion.minor);
  EXPECT_EQ(Padded("Software token for development", 32), Field(info.libraryDescription));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_GetInfo(nullptr));
}

TEST_F(SlotTest, BeforeInitializeEveryCallFails) {
  CK_ULONG count = 0;
  CK_INFO info = {};
  EXPECT_EQ(CKR_CRYPTOKI_NOT_INITIALIZED, f.C_GetSlotList(CK_FALSE, nullptr, &count));
  EXPECT_EQ(CKR_CRYPTOKI_NOT_INITIALIZED, f.C_GetInfo(&info));
  EXPECT_EQ(CKR_CRYPTOKI_NOT_INITIALIZED, f.C_SignFinal(1, nullptr, &count));
  EXPECT_EQ(CKR_CRYPTOKI_NOT_INITIALIZED, LoginExtended(1));
  EXPECT_EQ(CKR_CRYPTOKI_NOT_INITIALIZED, f.C_Finalize(nullptr));
}

CK_RV CreateMutex(void**) { return CKR_OK; }
CK_RV UseMutex(void*) { return CKR_OK; }

TEST_F(SlotTest, InitializeChecksItsArguments) {
  WriteSettings(kOneCard);
  CK_C_INITIALIZE_ARGS arguments = {};
  arguments.CreateMutex = CreateMutex;
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_Initialize(&arguments)) << "only some of the mutex functions";
  arguments.DestroyMutex = arguments.LockMutex = arguments.UnlockMutex = UseMutex;
  EXPECT_EQ(CKR_CANT_LOCK, f.C_Initialize(&arguments)) << "only the application's mutexes";
  arguments.flags = CKF_OS_LOCKING_OK;
  arguments.pReserved = &arguments;
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_Initialize(&arguments));
  arguments.pReserved = nullptr;
  EXPECT_EQ(CKR_OK, f.C_Initialize(&arguments));
  EXPECT_EQ(CKR_CRYPTOKI_ALREADY_INITIALIZED, f.C_Initialize(&arguments));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, f.C_Finalize(&arguments));
}

TEST_F(SlotTest, BadSettingsAreReportedOnStderr) {
  WriteSettings("[slot]\ntries = many\n");
  StderrCapture capture;
  EXPECT_EQ(CKR_GENERAL_ERROR, f.C_Initialize(nullptr));
  EXPECT_EQ("telvopkcs11: " + Folder() + "/settings.conf:2: 'tries' is a number from 1 to 15\n", capture.Text());
}

TEST_F(SlotTest, AMissingSoftHsmIsReportedOnStderr) {
  WriteSettings("softhsm = /nowhere/hsm.so\n" + std::string(kOneCard));
  StderrCapture capture;
  EXPECT_EQ(CKR_GENERAL_ERROR, f.C_Initialize(nullptr));
  EXPECT_NE(std::string::npos, capture.Text().find("/nowhere/hsm.so"));
}

TEST_F(SlotTest, ALibraryThatIsNotAModuleIsReportedOnStderr) {
  Dl_info library = {};
  ASSERT_NE(0, ::dladdr(::dlsym(RTLD_DEFAULT, "OPENSSL_cleanse"), &library));
  WriteSettings("softhsm = " + std::string(library.dli_fname) + "\n" + kOneCard);
  StderrCapture capture;
  EXPECT_EQ(CKR_GENERAL_ERROR, f.C_Initialize(nullptr));
  EXPECT_EQ("telvopkcs11: " + std::string(library.dli_fname) + " is no PKCS#11 module\n", capture.Text());
}

TEST_F(SlotTest, AfterAFailedStartTheNextOneWorks) {
  WriteSettings(kOneCard);
  WriteFile(Folder() + "/state", "a file where the folder belongs");
  {
    StderrCapture capture;
    EXPECT_EQ(CKR_GENERAL_ERROR, f.C_Initialize(nullptr));
  }
  std::filesystem::remove(Folder() + "/state");
  EXPECT_EQ(CKR_OK, f.C_Initialize(nullptr));
}

TEST_F(SlotTest, ADamagedCardFailsTheStartUntilItIsRemoved) {
  Start();
  ASSERT_EQ(CKR_OK, f.C_Finalize(nullptr));
  WriteFile(Folder() + "/state/A000000000000001.card", "nonsense");
  {
    StderrCapture capture;
    EXPECT_EQ(CKR_GENERAL_ERROR, f.C_Initialize(nullptr));
    EXPECT_NE(std::string::npos, capture.Text().find("A000000000000001.card is damaged"));
  }
  std::filesystem::remove_all(Folder() + "/state");
  EXPECT_EQ(CKR_OK, f.C_Initialize(nullptr));
}

TEST_F(SlotTest, OnlyTheUserCanAccessTheStateFolder) {
  Start();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(Folder() + "/state")) {
    const auto mode = entry.status().permissions() & std::filesystem::perms::all;
    const auto expected = entry.is_directory()
                              ? std::filesystem::perms::owner_all
                              : std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
    EXPECT_EQ(expected, mode) << entry.path();
  }
  struct stat status = {};
  ASSERT_EQ(0, ::stat((Folder() + "/state").c_str(), &status));
  EXPECT_EQ(0700u, status.st_mode & 0777u);
}

TEST_F(SlotTest, ACardWhoseFileWasDeletedIsANewCard) {
  Start();
  CK_SESSION_HANDLE session = Open();
  ASSERT_EQ(CKR_OK, Login(session));
  GenerateKeyPair(session);
  ASSERT_EQ(CKR_OK, f.C_Finalize(nullptr));
  std::filesystem::remove(Folder() + "/state/A000000000000001.card");
  ASSERT_EQ(CKR_OK, f.C_Initialize(nullptr));
  session = Open();
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(0u, Find(session, {}).size());
}

TEST_F(SlotTest, NothingIsWrittenToStderr) {
  StderrCapture capture;
  Start();
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(2u, LoginExtended(session, "000000"));
  EXPECT_EQ(CKR_OK, LoginExtended(session));
  GenerateKeyPair(session);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  EXPECT_NE(CKR_OK, f.C_SignInit(session, &mechanism, 4711));
  Template incomplete;
  incomplete.Number(CKA_CLASS, CKO_SECRET_KEY);
  CK_OBJECT_HANDLE object = 0;
  EXPECT_NE(CKR_OK, f.C_CreateObject(session, incomplete.Data(), incomplete.Count(), &object));
  Restart();
  EXPECT_EQ("", capture.Text());
}

}  // namespace
}  // namespace softtoken::testing
