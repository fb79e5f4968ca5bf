// Signatures and decryptions, which the token does itself, and tokens that are removed.
#include "AdapterTest.h"

namespace adapter::testing {
namespace {

class PrivateOperationTest : public AdapterTest {
 protected:
  void Begin() {
    AddPublicKey("1");
    lower = AddPrivateKey("1");
    Start();
    session = Open();
    key = FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}});
    ASSERT_EQ(CKR_OK, Login(session));
    module.TakeCalls();
  }
  CK_RV SignInit(CK_MECHANISM_TYPE type = CKM_RSA_PKCS) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return Call<&Adapter::C_SignInit>(session, &mechanism, key);
  }
  CK_RV DecryptInit(CK_MECHANISM_TYPE type = CKM_RSA_PKCS) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return Call<&Adapter::C_DecryptInit>(session, &mechanism, key);
  }
  CK_RV Decrypt(std::string& plain, CK_ULONG room = 512) {
    std::string encrypted(128, '\x11');
    plain.assign(512, '\0');
    const CK_RV result = Call<&Adapter::C_Decrypt>(session, reinterpret_cast<CK_BYTE*>(encrypted.data()), CK_ULONG{128},
                                                   reinterpret_cast<CK_BYTE*>(plain.data()), &room);
    plain.resize(room);
    return result;
  }
  // The data that the module was given to sign.
  std::string SignedInput(CK_MECHANISM_TYPE type, const std::string& data) {
    std::string input, signature;
    module.use = [&](CK_MECHANISM_TYPE, const std::string& given) {
      input = given;
      return std::string(128, 's');
    };
    EXPECT_EQ(CKR_OK, Sign(session, key, data, signature, type));
    return input;
  }

  CK_SESSION_HANDLE session = 0;
  CK_OBJECT_HANDLE key = 0, lower = 0;
};

TEST_F(PrivateOperationTest, ReturnsALengthWithoutCallingTheModule) {
  Begin();
  CK_BYTE data[5] = {};
  CK_ULONG length = 0;
  ASSERT_EQ(CKR_OK, SignInit());
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_Sign>(session, data, CK_ULONG{5}, nullptr, &length));
  EXPECT_EQ(128U, length);
  CK_BYTE small[10] = {};
  length = sizeof small;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, Call<&Adapter::C_Sign>(session, data, CK_ULONG{5}, small, &length));
  EXPECT_EQ(128U, length);
  EXPECT_TRUE(module.calls.empty());
  // The caller may continue or start again.
  EXPECT_EQ(CKR_OK, SignInit());
  CK_BYTE signature[128] = {};
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_Sign>(session, data, CK_ULONG{5}, signature, &length));
  EXPECT_EQ(1, module.Count("C_SignInit"));
}

TEST_F(PrivateOperationTest, IsNotReplacedByASecondInit) {
  Begin();
  ASSERT_EQ(CKR_OK, SignInit());
  EXPECT_EQ(CKR_OPERATION_ACTIVE, SignInit());
}

TEST_F(PrivateOperationTest, PadsASignatureToTheLengthOfTheModulus) {
  Begin();
  std::string signature;
  ASSERT_EQ(CKR_OK, Sign(session, key, "data", signature));
  EXPECT_EQ(std::string(128 - 11, '\0') + "signed:data", signature);
}

TEST_F(PrivateOperationTest, DigestsTheDataBeforeTheModuleSigns) {
  Begin();
  const std::string input = SignedInput(CKM_SHA1_RSA_PKCS, "abc");
  const Bytes expected = FromHex("3021300906052b0e03021a05000414a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(std::string(expected.begin(), expected.end()), input);
  EXPECT_EQ(CKM_RSA_PKCS, module.mechanism);
  EXPECT_EQ(51U, SignedInput(CKM_SHA256_RSA_PKCS, "abc").size());
  EXPECT_EQ(83U, SignedInput(CKM_SHA512_RSA_PKCS, "abc").size());
  EXPECT_EQ(34U, SignedInput(CKM_MD5_RSA_PKCS, "abc").size());
}

TEST_F(PrivateOperationTest, PadsTheDataForATokenThatHasOnlyBareRsa) {
  module.mechanisms = {CKM_RSA_X_509};
  Begin();
  const std::string input = SignedInput(CKM_RSA_PKCS, std::string(36, 'h'));
  EXPECT_EQ(CKM_RSA_X_509, module.mechanism);
  EXPECT_EQ(std::string("\0\1", 2) + std::string(128 - 36 - 3, '\xFF') + std::string(1, '\0') + std::string(36, 'h'),
            input);
  // The adapter itself never removes padding.
  EXPECT_EQ(CKR_MECHANISM_INVALID, DecryptInit());
}

TEST_F(PrivateOperationTest, RefusesInputThatIsEmptyOrTooLong) {
  Begin();
  std::string signature;
  EXPECT_EQ(CKR_OK, Sign(session, key, std::string(117, 'x'), signature));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, Sign(session, key, std::string(118, 'x'), signature));
  EXPECT_EQ(CKR_DATA_LEN_RANGE, Sign(session, key, "", signature));
}

TEST_F(PrivateOperationTest, DecryptsOnlyOnceIfTheFirstBufferIsTooSmall) {
  Begin();
  module.use = [](CK_MECHANISM_TYPE, const std::string&) { return std::string(100, 'p'); };
  std::string plain;
  ASSERT_EQ(CKR_OK, DecryptInit());
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, Decrypt(plain, 99));
  EXPECT_EQ(100U, plain.size());
  EXPECT_EQ(CKR_OK, Decrypt(plain, 100));
  EXPECT_EQ(std::string(100, 'p'), plain);
  EXPECT_EQ(1, module.Count("C_Decrypt"));
}

TEST_F(PrivateOperationTest, RefusesImpossibleLengthsFromTheModule) {
  Begin();
  std::string result;
  for (const CK_ULONG lie : {CK_ULONG{1000}, static_cast<CK_ULONG>(-1), CK_ULONG{0}}) {
    module.lengthLie = lie;
    EXPECT_EQ(CKR_GENERAL_ERROR, Sign(session, key, "data", result)) << lie;
  }
  for (const CK_ULONG lie : {CK_ULONG{129}, CK_ULONG{128}, static_cast<CK_ULONG>(-1)}) {
    module.lengthLie = lie;
    ASSERT_EQ(CKR_OK, DecryptInit());
    EXPECT_EQ(CKR_GENERAL_ERROR, Decrypt(result)) << lie;
  }
}

TEST_F(PrivateOperationTest, EndsAnOperationThatTheModuleLeftActive) {
  Begin();
  module.keepsOperation = true;
  std::string signature;
  ASSERT_EQ(CKR_OK, Sign(session, key, "data", signature));
  EXPECT_EQ(CKR_OK, Sign(session, key, "data", signature));
  EXPECT_TRUE(module.loggedIn);
}

TEST_F(PrivateOperationTest, LogsInAgainForAKeyThatNeedsThePinEachTime) {
  Begin();
  module.objects[lower][CKA_ALWAYS_AUTHENTICATE] = Flag(true);
  ASSERT_NE(0U, FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}}));
  std::string signature;
  EXPECT_EQ(CKR_OK, Sign(session, key, "data", signature));
  EXPECT_EQ(1U, module.needsContextLogin);
}

TEST_F(PrivateOperationTest, ReportsARemovedTokenOncePerSession) {
  for (const CK_RV answer : {CKR_DEVICE_REMOVED, CKR_TOKEN_NOT_PRESENT, CKR_SESSION_HANDLE_INVALID}) {
    Stop();
    module = Script();
    Begin();
    const CK_SESSION_HANDLE other = Open();
    module.removal = answer;
    std::string signature;
    EXPECT_EQ(CKR_DEVICE_REMOVED, Sign(session, key, "data", signature));
    EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Sign(session, key, "data", signature));
    EXPECT_EQ(CKR_DEVICE_REMOVED, Logout(other));
    EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, Logout(other));
  }
}

TEST_F(PrivateOperationTest, NeedsANewLoginWhenTheTokenIsBack) {
  Begin();
  module.slots[0].tokenIn = false;
  module.loggedIn = false;
  EXPECT_TRUE(Slots(true).empty());
  EXPECT_EQ(CKR_DEVICE_REMOVED, Logout(session));
  module.slots[0].tokenIn = true;
  session = Open();
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, Call<&Adapter::C_DestroyObject>(session, key));
  key = FindOne(session, Attributes{{CKA_CLASS, Number(CKO_PRIVATE_KEY)}});
  std::string signature;
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, Sign(session, key, "data", signature));
  EXPECT_EQ(CKR_OK, Login(session));
  EXPECT_EQ(CKR_OK, Sign(session, key, "data", signature));
}

TEST_F(PrivateOperationTest, ReportsARemovalWhenTheTokenWasExchanged) {
  Begin();
  module.slots[0].serial = "2222222222222222";
  Slots(true);
  EXPECT_EQ(CKR_DEVICE_REMOVED, Logout(session));
}

TEST_F(PrivateOperationTest, OpensASessionAtOnceWhenThePulledTokenIsBack) {
  Begin();
  module.sessions.clear();
  const CK_SESSION_HANDLE fresh = Open();
  EXPECT_EQ(CKR_OK, Login(fresh));
  EXPECT_EQ(CKR_DEVICE_REMOVED, Logout(session));
}

TEST_F(PrivateOperationTest, SurvivesFalseCountsAndLengthsInASearch) {
  Begin();
  module.foundLie = 1000000;
  CK_OBJECT_HANDLE found = 0;
  EXPECT_EQ(CKR_GENERAL_ERROR, Call<&Adapter::C_FindObjectsInit>(session, nullptr, CK_ULONG{0}));
  module.foundLie.reset();
  for (const CK_ULONG lie : {CK_ULONG{5000}, CK_ULONG{0x7FFFFFFF}, static_cast<CK_ULONG>(-1), CK_ULONG{0}}) {
    module.attributeLie = lie;
    EXPECT_EQ(CKR_OK, Call<&Adapter::C_FindObjectsInit>(session, nullptr, CK_ULONG{0})) << lie;
    CK_ULONG count = 0;
    while (Call<&Adapter::C_FindObjects>(session, &found, CK_ULONG{1}, &count) == CKR_OK && count == 1) {
      Read(session, found, CKA_LABEL);
    }
    EXPECT_EQ(CKR_OK, Call<&Adapter::C_FindObjectsFinal>(session));
  }
}

}  // namespace
}  // namespace adapter::testing
