// The module's Windows table, called as a Windows program calls it.
#include <algorithm>
#include <cstring>

#include "ProviderTemplates.h"
#include "TokenTest.h"
#include "Verifier.h"
#include "pkcs11/WindowsAttributes.h"
#include "pkcs11/WindowsFace.h"
#include "pkcs11/WindowsMechanism.h"

namespace softtoken::testing {

namespace windows = pkcs11::windows;
namespace {

using windows::Attribute;
using windows::kUnavailable;
using windows::Mechanism;
using windows::Number;

template <std::size_t Size>
std::string Field(const CK_UTF8CHAR (&field)[Size]) {
  return {reinterpret_cast<const char*>(field), Size};
}

struct WindowsKeyPair {
  Number publicKey = 0, privateKey = 0;
};

class WindowsFaceTest : public TokenTest {
 protected:
  void SetUp() override {
    WriteSettings(std::string(kOneCard) + "default_certificate = Signing\n");
    ASSERT_EQ(CKR_OK, w.C_Initialize(nullptr));
    ASSERT_EQ(CKR_OK, w.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session));
    ASSERT_EQ(CKR_OK, w.C_LoginExtended(session, CKU_USER, Text(kPin), 6));
  }

  Number Create(WindowsTemplate attributes) {
    Number object = 0;
    EXPECT_EQ(CKR_OK, w.C_CreateObject(session, attributes.Data(), attributes.Count(), &object));
    return object;
  }

  WindowsKeyPair GenerateKeyPair(CK_ULONG bits = 1024) {
    auto publicKey = ProviderPublicKey<WindowsTemplate>(bits, "container");
    auto privateKey = ProviderPrivateKey<WindowsTemplate>(bits, "container");
    Mechanism mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    WindowsKeyPair pair;
    EXPECT_EQ(CKR_OK, w.C_GenerateKeyPair(session, &mechanism, publicKey.Data(), publicKey.Count(), privateKey.Data(),
                                          privateKey.Count(), &pair.publicKey, &pair.privateKey));
    return pair;
  }

  std::string Read(Number object, CK_ATTRIBUTE_TYPE type) {
    Attribute attribute = {static_cast<Number>(type), nullptr, 0};
    EXPECT_EQ(CKR_OK, w.C_GetAttributeValue(session, object, &attribute, 1));
    std::string value(attribute.ulValueLen, '\0');
    attribute.pValue = value.data();
    EXPECT_EQ(CKR_OK, w.C_GetAttributeValue(session, object, &attribute, 1));
    return value;
  }

  Number ReadNumber(Number object, CK_ATTRIBUTE_TYPE type) {
    const std::string value = Read(object, type);
    EXPECT_EQ(sizeof(Number), value.size());
    Number number = 0;
    std::memcpy(&number, value.data(), std::min(sizeof number, value.size()));
    return number;
  }

  std::vector<Number> Find(WindowsTemplate attributes, Number piece = 10) {
    EXPECT_EQ(CKR_OK, w.C_FindObjectsInit(session, attributes.Data(), attributes.Count()));
    std::vector<Number> found, room(piece);
    Number count = 0;
    do {
      EXPECT_EQ(CKR_OK, w.C_FindObjects(session, room.data(), piece, &count));
      found.insert(found.end(), room.begin(), room.begin() + count);
    } while (count != 0);
    EXPECT_EQ(CKR_OK, w.C_FindObjectsFinal(session));
    return found;
  }

  windows::FunctionList& w = windows::Table();
  Number session = 0;
};

TEST_F(WindowsFaceTest, TheTableIsCompleteAndPacked) {
  windows::FunctionList* table = nullptr;
  ASSERT_EQ(CKR_OK, w.C_GetFunctionList(&table));
  EXPECT_EQ(&w, table);
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetFunctionList(nullptr));
  std::vector<void*> entries(73);
  std::memcpy(entries.data(), reinterpret_cast<const char*>(table) + 2, 73 * sizeof(void*));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const bool unused = i >= 68 && i < 72;
    EXPECT_EQ(unused, entries[i] == nullptr) << "entry " << i;
  }
}

TEST_F(WindowsFaceTest, RecordsAreConverted) {
  windows::Info info = {};
  ASSERT_EQ(CKR_OK, w.C_GetInfo(&info));
  EXPECT_EQ(40, info.cryptokiVersion.minor);
  EXPECT_EQ("Software token for development  ", Field(info.libraryDescription));
  windows::SlotInfo slot = {};
  ASSERT_EQ(CKR_OK, w.C_GetSlotInfo(0, &slot));
  EXPECT_EQ("Reader A 00 00", Field(slot.slotDescription).substr(0, 14));
  EXPECT_EQ(CKF_TOKEN_PRESENT, +slot.flags & CKF_TOKEN_PRESENT);
  windows::TokenInfo token = {};
  ASSERT_EQ(CKR_OK, w.C_GetTokenInfo(0, &token));
  EXPECT_EQ("A000000000000001", Field(token.serialNumber));
  EXPECT_EQ("Card A", Field(token.label).substr(0, 6));
  EXPECT_EQ(1u, +token.ulSessionCount);
  EXPECT_EQ(16u, +token.ulMaxPinLen);
  EXPECT_EQ(4u, +token.ulMinPinLen);
  EXPECT_EQ(kUnavailable, +token.ulFreePrivateMemory);
  EXPECT_EQ(std::string(16, ' '), Field(token.utcTime));
  windows::SessionInfo sessionInfo = {};
  ASSERT_EQ(CKR_OK, w.C_GetSessionInfo(session, &sessionInfo));
  EXPECT_EQ(CKS_RW_USER_FUNCTIONS, +sessionInfo.state);
  EXPECT_EQ(kReadWrite, +sessionInfo.flags);
  windows::MechanismInfo mechanism = {};
  ASSERT_EQ(CKR_OK, w.C_GetMechanismInfo(0, CKM_RSA_PKCS, &mechanism));
  EXPECT_EQ(512u, +mechanism.ulMinKeySize);
}

TEST_F(WindowsFaceTest, MissingRecordsAreRefused) {
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetInfo(nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetSlotInfo(0, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetTokenInfo(0, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetSessionInfo(session, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetMechanismInfo(0, CKM_RSA_PKCS, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetSlotList(1, nullptr, nullptr));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_FindObjects(session, nullptr, 1, nullptr));
}

TEST_F(WindowsFaceTest, ListsAreConverted) {
  Number count = 0;
  ASSERT_EQ(CKR_OK, w.C_GetSlotList(CK_TRUE, nullptr, &count));
  EXPECT_EQ(1u, count);
  Number slots[3] = {77, 77, 77};
  count = 3;
  ASSERT_EQ(CKR_OK, w.C_GetSlotList(CK_TRUE, slots, &count));
  EXPECT_EQ(1u, count);
  EXPECT_EQ(0u, slots[0]);
  EXPECT_EQ(77u, slots[1]);
  ASSERT_EQ(CKR_OK, w.C_GetMechanismList(0, nullptr, &count));
  EXPECT_EQ(42u, count);
  Number types[42] = {};
  count = 41;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_GetMechanismList(0, types, &count));
  EXPECT_EQ(42u, count);
  EXPECT_EQ(0u, types[1]);
  count = kUnavailable;
  EXPECT_EQ(CKR_OK, w.C_GetMechanismList(0, types, &count)) << "a count that is larger than the buffer";
  EXPECT_EQ(CKM_RSA_PKCS, types[1]);
}

TEST_F(WindowsFaceTest, AWrongPinReturnsTheTriesLeft) {
  ASSERT_EQ(CKR_OK, w.C_Logout(session));
  EXPECT_EQ(2u, w.C_LoginExtended(session, CKU_USER, Text("000000"), 6));
  EXPECT_EQ(CKR_PIN_INCORRECT, w.C_Login(session, CKU_USER, Text("000000"), 6));
  windows::SessionInfo info = {};
  ASSERT_EQ(CKR_OK, w.C_GetSessionInfo(session, &info));
  EXPECT_EQ(1u, +info.ulDeviceError);
  EXPECT_EQ(CKR_PIN_LOCKED, w.C_LoginExtended(session, CKU_USER, Text("000000"), 6));
}

TEST_F(WindowsFaceTest, InitializeChecksItsArguments) {
  ASSERT_EQ(CKR_OK, w.C_Finalize(nullptr));
  windows::InitializeArguments arguments = {};
  arguments.CreateMutex = arguments.DestroyMutex = arguments.LockMutex = arguments.UnlockMutex = &arguments;
  EXPECT_EQ(CKR_CANT_LOCK, w.C_Initialize(&arguments));
  arguments.flags = CKF_OS_LOCKING_OK;
  EXPECT_EQ(CKR_OK, w.C_Initialize(&arguments));
  EXPECT_EQ(CKR_CRYPTOKI_ALREADY_INITIALIZED, w.C_Initialize(nullptr));
}

TEST_F(WindowsFaceTest, TheProvidersKeyPairIsMadeReadAndUsed) {
  const WindowsKeyPair pair = GenerateKeyPair();
  for (const Number key : {pair.publicKey, pair.privateKey}) {
    EXPECT_EQ(CKK_RSA, ReadNumber(key, CKA_KEY_TYPE));
    EXPECT_EQ(1024u, ReadNumber(key, CKA_MODULUS_BITS));
    EXPECT_EQ(CKM_RSA_PKCS_KEY_PAIR_GEN, ReadNumber(key, CKA_KEY_GEN_MECHANISM));
    EXPECT_EQ("container", Read(key, CKA_ID));
  }
  EXPECT_EQ(CKO_PRIVATE_KEY, ReadNumber(pair.privateKey, CKA_CLASS));

  Mechanism rsa = {CKM_RSA_PKCS, nullptr, 0};
  std::string data = "message", signature(128, '\0');
  Number length = 0;
  ASSERT_EQ(CKR_OK, w.C_SignInit(session, &rsa, pair.privateKey));
  EXPECT_EQ(CKR_OK, w.C_Sign(session, BytesOf(data), 7, nullptr, &length));
  EXPECT_EQ(128u, length);
  length = 127;
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_Sign(session, BytesOf(data), 7, BytesOf(signature), &length));
  EXPECT_EQ(128u, length);
  EXPECT_EQ(CKR_OK, w.C_Sign(session, BytesOf(data), 7, BytesOf(signature), &length));
  ASSERT_EQ(CKR_OK, w.C_VerifyInit(session, &rsa, pair.publicKey));
  EXPECT_EQ(CKR_OK, w.C_Verify(session, BytesOf(data), 7, BytesOf(signature), length));
}

TEST_F(WindowsFaceTest, TheProvidersOtherObjectsAreMade) {
  const std::string modulus = Read(GenerateKeyPair().publicKey, CKA_MODULUS);
  const Number imported = Create(ProviderImportedKey<WindowsTemplate>(modulus, FromHex("00010001")));
  EXPECT_EQ(1024u, ReadNumber(imported, CKA_MODULUS_BITS));
  EXPECT_EQ(kUnavailable, ReadNumber(imported, CKA_KEY_GEN_MECHANISM)) << "all ones stay all ones";

  const Number certificate = Create(ProviderCertificate<WindowsTemplate>("Signing", "id", "value"));
  EXPECT_EQ(CKC_X_509, ReadNumber(certificate, CKA_CERTIFICATE_TYPE));
  EXPECT_EQ("\1", Read(certificate, CKA_DEFAULT_CERT));
  EXPECT_EQ("\1", Read(certificate, CKA_VERIFY));

  const std::string value = FromHex("0123456789abcdef23456789abcdef01");
  const Number des2 = Create(ProviderSecretKey<WindowsTemplate>(CKK_DES2, value));
  EXPECT_EQ(value, Read(des2, CKA_VALUE));
  EXPECT_EQ(CKK_DES2, ReadNumber(des2, CKA_KEY_TYPE));
}

TEST_F(WindowsFaceTest, EncryptsWithAnInitialisationVector) {
  const Number key = Create(ProviderSecretKey<WindowsTemplate>(CKK_AES, FromHex("2b7e151628aed2a6abf7158809cf4f3c")));
  std::string iv = FromHex("000102030405060708090a0b0c0d0e0f"), data = FromHex("6bc1bee22e409f96e93d7e117393172a");
  Mechanism cbc = {CKM_AES_CBC, iv.data(), 16};
  std::string encrypted(16, '\0');
  Number length = 16;
  ASSERT_EQ(CKR_OK, w.C_EncryptInit(session, &cbc, key));
  ASSERT_EQ(CKR_OK, w.C_Encrypt(session, BytesOf(data), 16, BytesOf(encrypted), &length));
  EXPECT_EQ(FromHex("7649abac8119b246cee98e9b12e9197d"), encrypted);
  cbc.ulParameterLen = 8;
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, w.C_EncryptInit(session, &cbc, key));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_EncryptInit(session, nullptr, key));
  cbc.mechanism = CKM_AES_CTR;
  EXPECT_EQ(CKR_MECHANISM_INVALID, w.C_EncryptInit(session, &cbc, key));
}

TEST_F(WindowsFaceTest, TheLoginIsCheckedBeforeTheMechanism) {
  const Number key = GenerateKeyPair().privateKey;
  ASSERT_EQ(CKR_OK, w.C_Logout(session));
  Mechanism unknown = {CKM_AES_CTR, nullptr, 0}, incomplete = {CKM_RSA_PKCS_OAEP, nullptr, 0};
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, w.C_SignInit(session, &unknown, key));
  EXPECT_EQ(CKR_USER_NOT_LOGGED_IN, w.C_DecryptInit(session, &incomplete, key));
}

TEST_F(WindowsFaceTest, ADigestIsComputed) {
  Mechanism sha = {CKM_SHA_1, nullptr, 0};
  std::string data = "abc", digest(20, '\0');
  Number length = 20;
  ASSERT_EQ(CKR_OK, w.C_DigestInit(session, &sha));
  ASSERT_EQ(CKR_OK, w.C_Digest(session, BytesOf(data), 3, BytesOf(digest), &length));
  EXPECT_EQ(FromHex("a9993e364706816aba3e25717850c26c9cd0d89d"), digest);
  ASSERT_EQ(CKR_OK, w.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_Digest(session, BytesOf(data), 3, BytesOf(digest), nullptr));
}

TEST_F(WindowsFaceTest, OaepParametersAreConverted) {
  const WindowsKeyPair pair = GenerateKeyPair();
  const PublicKey judge(Read(pair.publicKey, CKA_MODULUS), Read(pair.publicKey, CKA_PUBLIC_EXPONENT));
  std::string label = "label", plain(128, '\0');
  std::string encrypted = judge.EncryptOaep("SHA256", "SHA1", label, "message");
  windows::OaepParameters parameters = {CKM_SHA256, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, label.data(), 5};
  Mechanism oaep = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
  ASSERT_EQ(CKR_OK, w.C_DecryptInit(session, &oaep, pair.privateKey));
  Number length = 128;
  ASSERT_EQ(CKR_OK, w.C_Decrypt(session, BytesOf(encrypted), 128, BytesOf(plain), &length));
  EXPECT_EQ("message", plain.substr(0, length));
  oaep.ulParameterLen = sizeof(CK_RSA_PKCS_OAEP_PARAMS);
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, w.C_DecryptInit(session, &oaep, pair.privateKey));
  oaep = {CKM_RSA_PKCS_OAEP, nullptr, sizeof parameters};
  EXPECT_EQ(CKR_MECHANISM_PARAM_INVALID, w.C_DecryptInit(session, &oaep, pair.privateKey));
}

TEST_F(WindowsFaceTest, PssParametersMayBeUnaligned) {
  const WindowsKeyPair pair = GenerateKeyPair();
  const PublicKey judge(Read(pair.publicKey, CKA_MODULUS), Read(pair.publicKey, CKA_PUBLIC_EXPONENT));
  const windows::PssParameters parameters = {CKM_SHA256, CKG_MGF1_SHA256, 32};
  char place[1 + sizeof parameters] = {};
  std::memcpy(place + 1, &parameters, sizeof parameters);
  Mechanism pss = {CKM_SHA256_RSA_PKCS_PSS, place + 1, sizeof parameters};
  ASSERT_EQ(CKR_OK, w.C_SignInit(session, &pss, pair.privateKey));
  std::string data = "message", signature(128, '\0');
  Number length = 128;
  ASSERT_EQ(CKR_OK, w.C_Sign(session, BytesOf(data), 7, BytesOf(signature), &length));
  EXPECT_TRUE(judge.Verify("SHA256", true, data, signature));
}

TEST_F(WindowsFaceTest, ASearchMayBeReadInPieces) {
  for (int i = 0; i < 130; ++i) {
    WindowsTemplate data;
    data.Number(CKA_CLASS, CKO_DATA).Flag(CKA_TOKEN, false).Bytes(CKA_LABEL, std::to_string(1000 + i));
    Create(data);
  }
  const auto all = Find({}, 1000);
  ASSERT_EQ(130u, all.size());
  EXPECT_EQ(all, Find({}, 1));
  EXPECT_EQ(all, Find({}, 64));
  EXPECT_EQ(all, Find({}, 65));
  WindowsTemplate one;
  EXPECT_EQ(std::vector<Number>{all[7]}, Find(one.Number(CKA_CLASS, CKO_DATA).Bytes(CKA_LABEL, "1007")));
}

TEST_F(WindowsFaceTest, AClaimedCountIsNotAllocated) {
  Create(ProviderCertificate<WindowsTemplate>("Signing", "id", "value"));
  ASSERT_EQ(CKR_OK, w.C_FindObjectsInit(session, nullptr, 0));
  Number found[2] = {77, 77}, count = 0;
  EXPECT_EQ(CKR_OK, w.C_FindObjects(session, found, kUnavailable, &count));
  EXPECT_EQ(1u, count);
  EXPECT_EQ(77u, found[1]);
}

TEST_F(WindowsFaceTest, NumbersHaveALengthOfFour) {
  const Number certificate = Create(ProviderCertificate<WindowsTemplate>("Signing", "id", "value"));
  Attribute attributes[] = {{CKA_CLASS, nullptr, 99},
                            {CKA_LABEL, nullptr, 99},
                            {CKA_ENCRYPT, nullptr, 99},
                            {CKA_CERTIFICATE_TYPE, nullptr, 99}};
  ASSERT_EQ(CKR_OK, w.C_GetAttributeValue(session, certificate, attributes, 4));
  EXPECT_EQ(4u, +attributes[0].ulValueLen);
  EXPECT_EQ(7u, +attributes[1].ulValueLen);
  EXPECT_EQ(1u, +attributes[2].ulValueLen);
  EXPECT_EQ(4u, +attributes[3].ulValueLen);
}

TEST_F(WindowsFaceTest, OnlyAShortBufferForANumberIsRefused) {
  const Number key = GenerateKeyPair().privateKey;
  unsigned char bytes[12];
  std::memset(bytes, 0xEE, sizeof bytes);
  for (const Number room : {0u, 3u}) {
    Attribute attributes[] = {{CKA_MODULUS_BITS, bytes, room}, {CKA_KEY_TYPE, bytes, room}};
    EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_GetAttributeValue(session, key, attributes, 2)) << room;
    EXPECT_EQ(kUnavailable, +attributes[0].ulValueLen);
    EXPECT_EQ(kUnavailable, +attributes[1].ulValueLen);
    EXPECT_EQ(0xEE, bytes[0]);
  }
  for (const Number room : {4u, 7u, 8u, 12u}) {
    std::memset(bytes, 0xEE, sizeof bytes);
    Attribute attribute = {CKA_MODULUS_BITS, bytes, room};
    EXPECT_EQ(CKR_OK, w.C_GetAttributeValue(session, key, &attribute, 1)) << room;
    EXPECT_EQ(4u, +attribute.ulValueLen);
    EXPECT_EQ(0xEE, bytes[4]) << "nothing is written past the number";
  }
  Attribute reused = {CKA_MODULUS_BITS, bytes, kUnavailable};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_GetAttributeValue(session, key, &reused, 1));
}

TEST_F(WindowsFaceTest, AShortBufferForBytesIsRefused) {
  const Number certificate = Create(ProviderCertificate<WindowsTemplate>("Signing", "id", "value"));
  char label[6] = {}, value[5] = {};
  Attribute attributes[] = {{CKA_LABEL, label, 6}, {CKA_VALUE, value, 5}};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_GetAttributeValue(session, certificate, attributes, 2));
  EXPECT_EQ(kUnavailable, +attributes[0].ulValueLen);
  EXPECT_EQ(5u, +attributes[1].ulValueLen);
  EXPECT_EQ(0, std::memcmp("value", value, 5));
}

TEST_F(WindowsFaceTest, ARefusedReadLeavesTheTemplateAlone) {
  Attribute attribute = {CKA_CLASS, nullptr, 99};
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, w.C_GetAttributeValue(session, 4711, &attribute, 1));
  EXPECT_EQ(99u, +attribute.ulValueLen);
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_GetAttributeValue(session, 4711, nullptr, 1));
}

TEST_F(WindowsFaceTest, NumbersAreFourBytesInTemplatesToo) {
  Number object = 0;
  WindowsTemplate wide;
  wide.Bytes(CKA_CLASS, std::string(8, '\0'));
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, w.C_CreateObject(session, wide.Data(), 1, &object));
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, w.C_FindObjectsInit(session, wide.Data(), 1));
  Attribute withoutValue = {CKA_CLASS, nullptr, 4};
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, w.C_CreateObject(session, &withoutValue, 1, &object));
  Attribute endless = {CKA_LABEL, &object, kUnavailable};
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, w.C_CreateObject(session, &endless, 1, &object));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_CreateObject(session, nullptr, 1, &object));
}

TEST_F(WindowsFaceTest, ListsOfNumbersAreTranslatedBothWays) {
  const Number allowed[] = {CKM_AES_ECB, CKM_AES_CBC, CKM_AES_CBC_PAD};
  auto attributes = ProviderSecretKey<WindowsTemplate>(CKK_AES, std::string(16, 'k'));
  attributes.Bytes(CKA_ALLOWED_MECHANISMS, {reinterpret_cast<const char*>(allowed), sizeof allowed});
  const Number key = Create(attributes);
  const std::string read = Read(key, CKA_ALLOWED_MECHANISMS);
  ASSERT_EQ(sizeof allowed, read.size());
  std::vector<Number> types(3);
  std::memcpy(types.data(), read.data(), read.size());
  std::sort(types.begin(), types.end());
  EXPECT_EQ((std::vector<Number>{CKM_AES_ECB, CKM_AES_CBC, CKM_AES_CBC_PAD}), types);
  Number room[2] = {77, 77};
  Attribute small = {CKA_ALLOWED_MECHANISMS, room, sizeof room};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, w.C_GetAttributeValue(session, key, &small, 1));
  EXPECT_EQ(kUnavailable, +small.ulValueLen);
  EXPECT_EQ(77u, room[0]);
}

TEST_F(WindowsFaceTest, NestedTemplatesAreRefused) {
  auto attributes = ProviderSecretKey<WindowsTemplate>(CKK_AES, std::string(16, 'k'));
  const Number key = Create(attributes);
  Number object = 0;
  attributes.Bytes(CKA_WRAP_TEMPLATE, "");
  EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, w.C_CreateObject(session, attributes.Data(), attributes.Count(), &object));
  Number type = 0;
  Attribute read[] = {{CKA_UNWRAP_TEMPLATE, nullptr, 0}, {CKA_KEY_TYPE, &type, 4}};
  EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, w.C_GetAttributeValue(session, key, read, 2));
  EXPECT_EQ(kUnavailable, +read[0].ulValueLen);
  EXPECT_EQ(CKK_AES, type) << "the others are read";
  EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, w.C_GetAttributeValue(session, key, read, 1)) << "alone";
}

TEST_F(WindowsFaceTest, AttributesAreSet) {
  const Number key = GenerateKeyPair().privateKey;
  WindowsTemplate label;
  label.Bytes(CKA_LABEL, "new label");
  EXPECT_EQ(CKR_OK, w.C_SetAttributeValue(session, key, label.Data(), 1));
  EXPECT_EQ("new label", Read(key, CKA_LABEL));
}

TEST_F(WindowsFaceTest, AnObjectIsCopied) {
  const Number key = Create(ProviderSecretKey<WindowsTemplate>(CKK_AES, std::string(16, 'k')));
  WindowsTemplate label;
  label.Bytes(CKA_LABEL, "copy");
  Number copy = 0;
  ASSERT_EQ(CKR_OK, w.C_CopyObject(session, key, label.Data(), 1, &copy));
  EXPECT_EQ(std::string(16, 'k'), Read(copy, CKA_VALUE));
  EXPECT_EQ(CKR_OK, w.C_DestroyObject(session, copy));
}

TEST_F(WindowsFaceTest, AKeyIsGeneratedWrappedAndUnwrapped) {
  const WindowsKeyPair pair = GenerateKeyPair();
  WindowsTemplate attributes;
  attributes.Number(CKA_VALUE_LEN, 16).Flag(CKA_EXTRACTABLE, true).Flag(CKA_SENSITIVE, false);
  Mechanism generate = {CKM_AES_KEY_GEN, nullptr, 0}, rsa = {CKM_RSA_PKCS, nullptr, 0};
  Number key = 0, unwrapped = 0, length = 128;
  ASSERT_EQ(CKR_OK, w.C_GenerateKey(session, &generate, attributes.Data(), attributes.Count(), &key));
  EXPECT_EQ(16u, ReadNumber(key, CKA_VALUE_LEN));
  std::string wrapped(128, '\0');
  ASSERT_EQ(CKR_OK, w.C_WrapKey(session, &rsa, pair.publicKey, key, BytesOf(wrapped), &length));
  WindowsTemplate target;
  target.Number(CKA_CLASS, CKO_SECRET_KEY).Number(CKA_KEY_TYPE, CKK_AES).Flag(CKA_EXTRACTABLE, true);
  target.Flag(CKA_SENSITIVE, false);
  ASSERT_EQ(CKR_OK, w.C_UnwrapKey(session, &rsa, pair.privateKey, BytesOf(wrapped), length, target.Data(),
                                  target.Count(), &unwrapped));
  EXPECT_EQ(Read(key, CKA_VALUE), Read(unwrapped, CKA_VALUE));
  EXPECT_EQ(CKR_MECHANISM_INVALID, w.C_DeriveKey(session, &rsa, key, target.Data(), target.Count(), &unwrapped));
}

TEST_F(WindowsFaceTest, ALengthQueryNeedsNoDataAndAFailureEndsTheOperation) {
  const WindowsKeyPair pair = GenerateKeyPair();
  Mechanism rsa = {CKM_RSA_PKCS, nullptr, 0}, sha = {CKM_SHA256, nullptr, 0};
  std::string data = "message", out(128, '\0');
  Number length = 0;
  ASSERT_EQ(CKR_OK, w.C_EncryptInit(session, &rsa, pair.publicKey));
  EXPECT_EQ(CKR_OK, w.C_Encrypt(session, nullptr, 5, nullptr, &length));
  EXPECT_EQ(128, length);
  ASSERT_EQ(CKR_OK, w.C_SignInit(session, &rsa, pair.privateKey));
  length = 0;
  EXPECT_EQ(CKR_OK, w.C_Sign(session, nullptr, 5, nullptr, &length));
  EXPECT_EQ(128, length);
  ASSERT_EQ(CKR_OK, w.C_DigestInit(session, &sha));
  EXPECT_EQ(CKR_OK, w.C_Digest(session, nullptr, 5, nullptr, &length));
  EXPECT_EQ(32, length);
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_Digest(session, nullptr, 5, BytesOf(out), &length));
  ASSERT_EQ(CKR_OK, w.C_EncryptInit(session, &rsa, pair.publicKey));
  EXPECT_EQ(CKR_ARGUMENTS_BAD, w.C_Encrypt(session, BytesOf(data), 7, BytesOf(out), nullptr));
  ASSERT_EQ(CKR_OK, w.C_EncryptInit(session, &rsa, pair.publicKey));
  length = 128;
  EXPECT_EQ(CKR_OK, w.C_Encrypt(session, BytesOf(data), 7, BytesOf(out), &length));
}

TEST_F(WindowsFaceTest, UnsupportedEntriesReturnTheirOwnCodes) {
  Number slot = 0, length = 0;
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, w.C_InitToken(0, Text(kSoPin), 6, Text("x")));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, w.C_WaitForSlotEvent(0, &slot, nullptr));
  EXPECT_EQ(CKR_NO_EVENT, w.C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr));
  EXPECT_EQ(CKR_FUNCTION_NOT_PARALLEL, w.C_GetFunctionStatus(session));
  EXPECT_EQ(CKR_FUNCTION_NOT_SUPPORTED, w.C_GetOperationState(session, nullptr, &length));
  EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, w.C_GetFunctionStatus(kUnavailable));
}

TEST_F(WindowsFaceTest, AnObjectsSizeIsUnavailable) {
  Number size = 0;
  EXPECT_EQ(CKR_OK, w.C_GetObjectSize(session, GenerateKeyPair().publicKey, &size));
  EXPECT_EQ(kUnavailable, size);
}

TEST(WindowsAttributesTest, EachAttributeHasItsKind) {
  using windows::KindOf;
  using windows::ValueKind;
  for (const CK_ATTRIBUTE_TYPE type :
       {CKA_CLASS, CKA_CERTIFICATE_TYPE, CKA_CERTIFICATE_CATEGORY, CKA_JAVA_MIDP_SECURITY_DOMAIN,
        CKA_NAME_HASH_ALGORITHM, CKA_KEY_TYPE, CKA_MODULUS_BITS, CKA_PRIME_BITS, CKA_SUB_PRIME_BITS, CKA_VALUE_BITS,
        CKA_VALUE_LEN, CKA_KEY_GEN_MECHANISM, CKA_AUTH_PIN_FLAGS, CKA_HW_FEATURE_TYPE, CKA_MECHANISM_TYPE}) {
    EXPECT_EQ(ValueKind::OneNumber, KindOf(type)) << std::hex << type;
  }
  // OTP and display attributes, by their published values.
  for (const CK_ATTRIBUTE_TYPE type :
       {0x220u, 0x221u, 0x222u, 0x224u, 0x225u, 0x226u, 0x227u, 0x400u, 0x401u, 0x402u, 0x403u, 0x404u, 0x406u}) {
    EXPECT_EQ(ValueKind::OneNumber, KindOf(type)) << std::hex << type;
  }
  for (const CK_ATTRIBUTE_TYPE type : {CKA_TOKEN, CKA_LABEL, CKA_VALUE, CKA_MODULUS, CKA_START_DATE, CKA_DEFAULT_CERT,
                                       CKA_OTP_USER_FRIENDLY_MODE, CKA_OTP_COUNTER, CKA_COLOR, CKA_CHAR_SETS}) {
    EXPECT_EQ(ValueKind::Bytes, KindOf(type)) << std::hex << type;
  }
  EXPECT_EQ(ValueKind::NumberList, KindOf(CKA_ALLOWED_MECHANISMS));
  for (const CK_ATTRIBUTE_TYPE type : {CKA_WRAP_TEMPLATE, CKA_UNWRAP_TEMPLATE, CKA_DERIVE_TEMPLATE}) {
    EXPECT_EQ(ValueKind::Nested, KindOf(type)) << std::hex << type;
  }
}

TEST(WindowsAttributesTest, NumbersThatDoNotFitBecomeAllOnes) {
  EXPECT_EQ(0u, windows::Narrowed(0));
  EXPECT_EQ(0xFFFFFFFEu, windows::Narrowed(0xFFFFFFFE));
  EXPECT_EQ(kUnavailable, windows::Narrowed(0xFFFFFFFF));
  EXPECT_EQ(kUnavailable, windows::Narrowed(0x100000000));
  EXPECT_EQ(kUnavailable, windows::Narrowed(CK_UNAVAILABLE_INFORMATION));
  EXPECT_EQ(0xFFFFFFFEu, windows::Widened(0xFFFFFFFE));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, windows::Widened(kUnavailable));
}

TEST(WindowsAttributesTest, AllOnesAreWidenedInATemplate) {
  WindowsTemplate attributes;
  attributes.Number(CKA_KEY_GEN_MECHANISM, kUnavailable).Bytes(CKA_LABEL, "label").Number(CKA_VALUE_LEN, 16);
  Attribute* const given = attributes.Data();
  windows::TemplateIn native(given, attributes.Count());
  ASSERT_EQ(3u, native.Count());
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, *static_cast<CK_ULONG*>(native.Data()[0].pValue));
  EXPECT_EQ(sizeof(CK_ULONG), native.Data()[0].ulValueLen);
  EXPECT_EQ(+given[1].pValue, native.Data()[1].pValue) << "bytes are not copied";
  EXPECT_EQ(16u, *static_cast<CK_ULONG*>(native.Data()[2].pValue));
}

// SoftHSM offers no mechanism with this parameter, so the conversion is checked directly.
TEST(WindowsMechanismTest, TheLengthOfAMacIsConverted) {
  Number length = 10;
  Mechanism mechanism = {CKM_SHA_1_HMAC_GENERAL, &length, sizeof length};
  windows::MechanismIn native(&mechanism);
  ASSERT_EQ(sizeof(CK_ULONG), native.Get()->ulParameterLen);
  EXPECT_EQ(10u, *static_cast<CK_ULONG*>(native.Get()->pParameter));
  mechanism.ulParameterLen = 8;
  EXPECT_EQ(0u, windows::MechanismIn(&mechanism).Get()->ulParameterLen);
}

TEST(WindowsMechanismTest, ANullMechanismStaysNull) {
  windows::MechanismIn native(nullptr);
  EXPECT_EQ(nullptr, native.Get());
}

}  // namespace
}  // namespace softtoken::testing
