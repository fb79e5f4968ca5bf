// The adapter over a real module, an unchanged SoftHSM2. The tests make the provider's calls through the function table
// that the provider gets.
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "Bytes.h"
#include "Certificates.h"
#include "Variable.h"
#include "adapter/software/RsaPublic.h"
#include "pkcs11/NativeTable.h"
#include "platform/TempFolder.h"
#include "softtoken/ProviderTemplates.h"

namespace adapter::testing {
namespace {

using softtoken::testing::Template;

class SoftHsmTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(folder.File("tokens"));
    WriteFile(folder.File("softhsm2.conf"),
              "directories.tokendir = " + folder.File("tokens") + "\nlog.level = ERROR\n");
    ASSERT_EQ(0,
              std::system("softhsm2-util --init-token --free --label Card --pin 123456 --so-pin 654321 > /dev/null"));
    Start("");
  }
  void TearDown() override { EXPECT_EQ(CKR_OK, f.C_Finalize(nullptr)); }

  void Start(const std::string& more) {
    WriteFile(folder.File("adapter.conf"), "module = /usr/lib/softhsm/libsofthsm2.so\nlabel = Card\n" + more);
    ASSERT_EQ(CKR_OK, f.C_Initialize(nullptr));
    CK_SLOT_ID slots[8] = {};
    CK_ULONG count = 8;
    ASSERT_EQ(CKR_OK, f.C_GetSlotList(CK_TRUE, slots, &count));
    ASSERT_EQ(1U, count);
    ASSERT_EQ(CKR_OK, f.C_OpenSession(slots[0], CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session));
  }
  void Restart(const std::string& more = "") {
    EXPECT_EQ(CKR_OK, f.C_Finalize(nullptr));
    Start(more);
  }

  CK_RV Login(std::string pin = "123456") {
    return table.C_LoginExtended(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), pin.size());
  }
  void MakeContainer() {
    auto forPublic = softtoken::testing::ProviderPublicKey(2048, "box");
    auto forPrivate = softtoken::testing::ProviderPrivateKey(2048, "box");
    CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_OBJECT_HANDLE publicKey = 0, privateKey = 0, certificate = 0;
    ASSERT_EQ(CKR_OK, Login());
    ASSERT_EQ(CKR_OK, f.C_GenerateKeyPair(session, &mechanism, forPublic.Data(), forPublic.Count(), forPrivate.Data(),
                                          forPrivate.Count(), &publicKey, &privateKey));
    auto made = softtoken::testing::ProviderCertificate("Mail", "box", MakeCertificate(TestKey()));
    ASSERT_EQ(CKR_OK, f.C_CreateObject(session, made.Data(), made.Count(), &certificate));
    ASSERT_EQ(CKR_OK, f.C_Logout(session));
  }
  std::vector<CK_OBJECT_HANDLE> Find(CK_OBJECT_CLASS objectClass) {
    auto wanted = Template().Number(CKA_CLASS, objectClass);
    std::vector<CK_OBJECT_HANDLE> found(20);
    CK_ULONG count = 0;
    EXPECT_EQ(CKR_OK, f.C_FindObjectsInit(session, wanted.Data(), wanted.Count()));
    EXPECT_EQ(CKR_OK, f.C_FindObjects(session, found.data(), 20, &count));
    EXPECT_EQ(CKR_OK, f.C_FindObjectsFinal(session));
    found.resize(count);
    return found;
  }
  Bytes Read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    Bytes value(1000);
    CK_ATTRIBUTE attribute = {type, value.data(), value.size()};
    EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, &attribute, 1)) << type;
    value.resize(attribute.ulValueLen == CK_UNAVAILABLE_INFORMATION ? 0 : attribute.ulValueLen);
    return value;
  }
  software::RsaPublicKey PublicKey() {
    const CK_OBJECT_HANDLE key = Find(CKO_PUBLIC_KEY).at(0);
    return {Read(key, CKA_MODULUS), Read(key, CKA_PUBLIC_EXPONENT)};
  }
  CK_RV Sign(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key, Bytes data, Bytes& signature) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    if (const CK_RV failed = f.C_SignInit(session, &mechanism, key)) return failed;
    CK_ULONG length = 0;
    EXPECT_EQ(CKR_OK, f.C_Sign(session, data.data(), data.size(), nullptr, &length));
    EXPECT_EQ(256U, length);
    signature.resize(length);
    // The provider then starts a whole new operation.
    EXPECT_EQ(CKR_OK, f.C_SignInit(session, &mechanism, key));
    return f.C_Sign(session, data.data(), data.size(), signature.data(), &length);
  }
  CK_RV SignAndVerify(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key, const Bytes& data) {
    Bytes signature;
    if (const CK_RV failed = Sign(type, key, data, signature)) return failed;
    const CK_MECHANISM mechanism = {type, nullptr, 0};
    return software::Verify(PublicKey(), mechanism, data.data(), data.size(), signature.data(), signature.size());
  }

  const TempFolder folder;
  const Variable adapterConf{"TELVO_ADAPTER_CONF", folder.File("adapter.conf")};
  const Variable softhsmConf{"SOFTHSM2_CONF", folder.File("softhsm2.conf")};
  ExtendedFunctionList& table = pkcs11::NativeTable();
  CK_FUNCTION_LIST& f = table.standard;
  CK_SESSION_HANDLE session = 0;
};

// The attributes that acquiring a context reads, before any login.
TEST_F(SoftHsmTest, ShowsAContainerBeforeALogin) {
  MakeContainer();
  Restart();
  ASSERT_EQ(1U, Find(CKO_CERTIFICATE).size());
  ASSERT_EQ(1U, Find(CKO_PUBLIC_KEY).size());
  ASSERT_EQ(1U, Find(CKO_PRIVATE_KEY).size());
  const CK_OBJECT_HANDLE certificate = Find(CKO_CERTIFICATE)[0], key = Find(CKO_PRIVATE_KEY)[0];
  for (const CK_ATTRIBUTE_TYPE type :
       {CKA_DEFAULT_CERT, CK_ATTRIBUTE_TYPE{CKA_ENCRYPT}, CK_ATTRIBUTE_TYPE{CKA_VERIFY}}) {
    EXPECT_EQ(1U, Read(certificate, type).size());
  }
  EXPECT_EQ(BytesOf("box"), Read(key, CKA_ID));
  EXPECT_EQ(PublicKey().modulus, Read(key, CKA_MODULUS));
  EXPECT_EQ(sizeof(CK_ULONG), Read(key, CKA_MODULUS_BITS).size());
  EXPECT_EQ(1U, Read(key, CKA_ALWAYS_SENSITIVE).size());
}

TEST_F(SoftHsmTest, SignsWithTheKeyThatWasFoundBeforeTheLogin) {
  MakeContainer();
  for (const char* const keep : {"keep_login = yes\n", "keep_login = no\n"}) {
    Restart(keep);
    const CK_OBJECT_HANDLE key = Find(CKO_PRIVATE_KEY).at(0);
    EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, SignAndVerify(CKM_RSA_PKCS, key, BytesOf("data")));
    for (int round = 0; round < 3; ++round) {
      ASSERT_EQ(CKR_OK, Login());
      EXPECT_EQ(CKR_OK, SignAndVerify(CKM_RSA_PKCS, key, Bytes(36, 'x')));
      EXPECT_EQ(CKR_OK, SignAndVerify(CKM_SHA1_RSA_PKCS, key, BytesOf("a longer message")));
      EXPECT_EQ(CKR_OK, SignAndVerify(CKM_SHA512_RSA_PKCS, key, BytesOf("a longer message")));
      ASSERT_EQ(CKR_OK, f.C_Logout(session));
      EXPECT_EQ(key, Find(CKO_PRIVATE_KEY).at(0));
    }
  }
}

TEST_F(SoftHsmTest, DecryptsWhatTheAdapterEncrypted) {
  MakeContainer();
  const CK_OBJECT_HANDLE publicKey = Find(CKO_PUBLIC_KEY).at(0), key = Find(CKO_PRIVATE_KEY).at(0);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
  Bytes message = BytesOf("session key"), encrypted(256), plain(256);
  CK_ULONG length = encrypted.size();
  ASSERT_EQ(CKR_OK, f.C_EncryptInit(session, &mechanism, publicKey));
  ASSERT_EQ(CKR_OK, f.C_Encrypt(session, message.data(), message.size(), encrypted.data(), &length));
  ASSERT_EQ(CKR_OK, Login());
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &mechanism, key));
  length = 4;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_Decrypt(session, encrypted.data(), 256, plain.data(), &length));
  ASSERT_EQ(message.size(), length);
  EXPECT_EQ(CKR_OK, f.C_Decrypt(session, encrypted.data(), 256, plain.data(), &length));
  plain.resize(length);
  EXPECT_EQ(message, plain);
  encrypted[0] ^= 0x80U;
  length = encrypted.size();
  ASSERT_EQ(CKR_OK, f.C_DecryptInit(session, &mechanism, key));
  plain.resize(256);
  EXPECT_NE(CKR_OK, f.C_Decrypt(session, encrypted.data(), 256, plain.data(), &length));
}

TEST_F(SoftHsmTest, ChangesThePin) {
  MakeContainer();
  std::string first = "123456", second = "777777";
  const auto text = [](std::string& pin) { return reinterpret_cast<CK_UTF8CHAR*>(pin.data()); };
  ASSERT_EQ(CKR_OK, f.C_SetPIN(session, text(first), 6, text(second), 6));
  EXPECT_EQ(2U, Login("123456"));  // SoftHSM2 reports few tries left after every wrong PIN
  CK_SESSION_INFO info = {};
  ASSERT_EQ(CKR_OK, f.C_GetSessionInfo(session, &info));
  EXPECT_EQ(2U, info.ulDeviceError);
  EXPECT_EQ(CKR_OK, Login("777777"));
}

TEST_F(SoftHsmTest, LeavesNoObjectsOfADestroyedContainer) {
  MakeContainer();
  ASSERT_EQ(CKR_OK, Login());
  for (const CK_OBJECT_CLASS objectClass : {CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY}) {
    EXPECT_EQ(CKR_OK, f.C_DestroyObject(session, Find(objectClass).at(0)));
  }
  EXPECT_TRUE(Find(CKO_CERTIFICATE).empty() && Find(CKO_PUBLIC_KEY).empty() && Find(CKO_PRIVATE_KEY).empty());
}

TEST_F(SoftHsmTest, SignsInManyThreads) {
  MakeContainer();
  const CK_OBJECT_HANDLE key = Find(CKO_PRIVATE_KEY).at(0);
  ASSERT_EQ(CKR_OK, Login());
  CK_SESSION_INFO info = {};
  ASSERT_EQ(CKR_OK, f.C_GetSessionInfo(session, &info));
  std::vector<std::thread> threads;
  std::atomic<int> good = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      CK_SESSION_HANDLE own = 0;
      CK_MECHANISM mechanism = {CKM_RSA_PKCS, nullptr, 0};
      CK_BYTE data[20] = {}, signature[256] = {};
      CK_ULONG length = sizeof signature;
      bool fine = f.C_OpenSession(info.slotID, CKF_SERIAL_SESSION, nullptr, nullptr, &own) == CKR_OK;
      fine = fine && f.C_SignInit(own, &mechanism, key) == CKR_OK;
      fine = fine && f.C_Sign(own, data, sizeof data, signature, &length) == CKR_OK;
      fine = fine && f.C_CloseSession(own) == CKR_OK;
      good += fine ? 1 : 0;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(8, good);
}

}  // namespace
}  // namespace adapter::testing
