// The objects that the provider makes, and the attributes that it reads.
#include <cstring>
#include <memory>

#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

// Reads several attributes of fixed size in one call, each into its own buffer, as the provider does.
class FixedRead {
 public:
  FixedRead& Flag(CK_ATTRIBUTE_TYPE type) { return Add(type, sizeof(CK_BBOOL)); }
  FixedRead& Number(CK_ATTRIBUTE_TYPE type) { return Add(type, sizeof(CK_ULONG)); }

  CK_ATTRIBUTE* Data() { return m_attributes.data(); }
  CK_ULONG Count() const { return m_attributes.size(); }

  CK_ULONG Get(std::size_t index) const {
    CK_ULONG value = 0;
    std::memcpy(&value, m_attributes[index].pValue, m_attributes[index].ulValueLen);
    return value;
  }
  std::vector<CK_ULONG> All() const {
    std::vector<CK_ULONG> values;
    for (std::size_t i = 0; i < m_attributes.size(); ++i) values.push_back(Get(i));
    return values;
  }

 private:
  FixedRead& Add(CK_ATTRIBUTE_TYPE type, CK_ULONG size) {
    m_buffers.push_back(std::make_unique<CK_ULONG>(0xEEEEEEEEEEEEEEEE));
    m_attributes.push_back({type, m_buffers.back().get(), size});
    return *this;
  }

  std::vector<std::unique_ptr<CK_ULONG>> m_buffers;
  std::vector<CK_ATTRIBUTE> m_attributes;
};

using Values = std::vector<CK_ULONG>;

class ProviderTest : public LoggedInTokenTest {
 protected:
  Values ReadFixed(CK_OBJECT_HANDLE object, FixedRead read) {
    EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, read.Data(), read.Count()));
    return read.All();
  }

  // Reads in two calls: first all lengths, then all values.
  std::vector<std::string> ReadVariable(CK_OBJECT_HANDLE object, const std::vector<CK_ATTRIBUTE_TYPE>& types) {
    std::vector<CK_ATTRIBUTE> attributes;
    attributes.reserve(types.size());
    for (const CK_ATTRIBUTE_TYPE type : types) attributes.push_back({type, nullptr, 0});
    EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, attributes.data(), attributes.size()));
    std::vector<std::string> values;
    values.reserve(types.size());
    for (const CK_ATTRIBUTE& attribute : attributes) values.emplace_back(attribute.ulValueLen, '\0');
    for (std::size_t i = 0; i < values.size(); ++i) attributes[i].pValue = values[i].data();
    EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, attributes.data(), attributes.size()));
    return values;
  }

  static FixedRead Base() {
    return std::move(FixedRead().Number(CKA_CLASS).Flag(CKA_MODIFIABLE).Flag(CKA_PRIVATE).Flag(CKA_TOKEN));
  }

  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
};

class ProviderKeyPairTest : public ProviderTest, public ::testing::WithParamInterface<CK_ULONG> {};

TEST_P(ProviderKeyPairTest, IsGeneratedReadAndUsed) {
  const CK_ULONG bits = GetParam();
  const KeyPair pair = GenerateKeyPair(session, bits, "my container");

  EXPECT_EQ((Values{CKO_PUBLIC_KEY, 1, 0, 1}), ReadFixed(pair.publicKey, Base()));
  EXPECT_EQ((Values{CKK_RSA, 1, 1, 1, 1, 1, bits, CKM_RSA_PKCS_KEY_PAIR_GEN}),
            ReadFixed(pair.publicKey, std::move(FixedRead()
                                                    .Number(CKA_KEY_TYPE)
                                                    .Flag(CKA_WRAP)
                                                    .Flag(CKA_ENCRYPT)
                                                    .Flag(CKA_VERIFY)
                                                    .Flag(CKA_VERIFY_RECOVER)
                                                    .Flag(CKA_LOCAL)
                                                    .Number(CKA_MODULUS_BITS)
                                                    .Number(CKA_KEY_GEN_MECHANISM))));
  const auto publicValues = ReadVariable(pair.publicKey, {CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_ID});
  EXPECT_EQ(bits / 8, publicValues[0].size());
  EXPECT_EQ(FromHex("010001"), publicValues[1]);
  EXPECT_EQ("my container", publicValues[2]);

  EXPECT_EQ((Values{CKO_PRIVATE_KEY, 1, 1, 1}), ReadFixed(pair.privateKey, Base()));
  EXPECT_EQ((Values{CKK_RSA, 1, 1, 1, 0, 1, 1, 1, bits, CKM_RSA_PKCS_KEY_PAIR_GEN, 1, 0}),
            ReadFixed(pair.privateKey, std::move(FixedRead()
                                                     .Number(CKA_KEY_TYPE)
                                                     .Flag(CKA_UNWRAP)
                                                     .Flag(CKA_DECRYPT)
                                                     .Flag(CKA_SIGN)
                                                     .Flag(CKA_SIGN_RECOVER)
                                                     .Flag(CKA_ALWAYS_SENSITIVE)
                                                     .Flag(CKA_NEVER_EXTRACTABLE)
                                                     .Flag(CKA_LOCAL)
                                                     .Number(CKA_MODULUS_BITS)
                                                     .Number(CKA_KEY_GEN_MECHANISM)
                                                     .Flag(CKA_SENSITIVE)
                                                     .Flag(CKA_EXTRACTABLE))));
  EXPECT_EQ(publicValues, ReadVariable(pair.privateKey, {CKA_MODULUS, CKA_PUBLIC_EXPONENT, CKA_ID}));
  EXPECT_EQ((std::vector<std::string>{"my container", "my container"}),
            ReadVariable(pair.privateKey, {CKA_ID, CKA_LABEL}));

  const std::string signature = Sign(session, rsa, pair.privateKey, "message");
  EXPECT_EQ(CKR_OK, Verify(session, rsa, pair.publicKey, "message", signature));
  EXPECT_EQ("secret", Decrypt(session, rsa, pair.privateKey, Encrypt(session, rsa, pair.publicKey, "secret")));
}

INSTANTIATE_TEST_SUITE_P(Bits, ProviderKeyPairTest, ::testing::Values(512, 1024, 2048, 4096),
                         [](const auto& test) { return std::to_string(test.param); });

struct SecretKeyCase {
  const char* name;
  CK_KEY_TYPE type;
  const char* value;  // no parity bits set
  CK_MECHANISM_TYPE ecb;
};

void PrintTo(const SecretKeyCase& test, std::ostream* out) { *out << test.name; }

class ProviderSecretKeyTest : public ProviderTest, public ::testing::WithParamInterface<SecretKeyCase> {};

TEST_P(ProviderSecretKeyTest, IsCreatedReadAndUsed) {
  const std::string value = FromHex(GetParam().value);
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(GetParam().type, value));
  EXPECT_EQ((Values{CKO_SECRET_KEY, 1, 1, 0}), ReadFixed(key, Base()));
  EXPECT_EQ((std::vector<std::string>{std::string(128, '\0'), std::string(128, '\0')}),
            ReadVariable(key, {CKA_ID, CKA_LABEL}));
  EXPECT_EQ((Values{GetParam().type, 1, 1, 1, 1, 1, 1, 0, 0, 1}),
            ReadFixed(key, std::move(FixedRead()
                                         .Number(CKA_KEY_TYPE)
                                         .Flag(CKA_DERIVE)
                                         .Flag(CKA_WRAP)
                                         .Flag(CKA_UNWRAP)
                                         .Flag(CKA_ENCRYPT)
                                         .Flag(CKA_DECRYPT)
                                         .Flag(CKA_SIGN)
                                         .Flag(CKA_VERIFY)
                                         .Flag(CKA_SENSITIVE)
                                         .Flag(CKA_EXTRACTABLE))));
  EXPECT_EQ(value, Read(session, key, CKA_VALUE)) << "exactly as given";
  const CK_MECHANISM ecb = {GetParam().ecb, nullptr, 0};
  const std::string data = "sixteen bytes ok";
  EXPECT_EQ(data, Decrypt(session, ecb, key, Encrypt(session, ecb, key, data)));
  EXPECT_EQ(CKR_OK, f.C_DestroyObject(session, key));
}

const SecretKeyCase kSecretKeys[] = {
    {"Des", CKK_DES, "0022446688aaccee", CKM_DES_ECB},
    {"Des2", CKK_DES2, "0022446688aacceeee00224466889900", CKM_DES3_ECB},
    {"Des3", CKK_DES3, "0022446688aacceeee002244668899004466889900ccdd22", CKM_DES3_ECB},
    {"Aes", CKK_AES, "00112233445566778899aabbccddeeff", CKM_AES_ECB},
};

INSTANTIATE_TEST_SUITE_P(Types, ProviderSecretKeyTest, ::testing::ValuesIn(kSecretKeys),
                         [](const auto& test) { return test.param.name; });

class ProviderImportedKeyTest : public ProviderTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(ProviderImportedKeyTest, EncryptsVerifiesAndIsDestroyed) {
  const KeyPair pair = GenerateKeyPair(session);
  const std::string modulus = Read(session, pair.publicKey, CKA_MODULUS);
  const std::string exponent = FromHex(GetParam());
  const CK_OBJECT_HANDLE imported = Create(session, ProviderImportedKey(modulus, exponent));

  EXPECT_EQ((Values{CKO_PUBLIC_KEY, 0, 0, 0}), ReadFixed(imported, Base()));
  EXPECT_EQ(1024u, ReadNumber(session, imported, CKA_MODULUS_BITS));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, ReadNumber(session, imported, CKA_KEY_GEN_MECHANISM));
  EXPECT_EQ((std::vector<std::string>{modulus, exponent}), ReadVariable(imported, {CKA_MODULUS, CKA_PUBLIC_EXPONENT}));
  EXPECT_EQ("secret", Decrypt(session, rsa, pair.privateKey, Encrypt(session, rsa, imported, "secret")));
  const std::string signature = Sign(session, rsa, pair.privateKey, "message");
  EXPECT_EQ(CKR_OK, Verify(session, rsa, imported, "message", signature));
  EXPECT_EQ(CKR_SIGNATURE_INVALID, Verify(session, rsa, imported, "messagf", signature));
  EXPECT_EQ(CKR_OK, f.C_DestroyObject(session, imported));
}

INSTANTIATE_TEST_SUITE_P(Exponents, ProviderImportedKeyTest, ::testing::Values("00010001", "010001"),
                         [](const auto& test) { return std::string("E") + test.param; });

TEST_F(ProviderTest, ACertificateGetsItsTypeAndShowsItsUses) {
  const CK_OBJECT_HANDLE certificate = Create(session, ProviderCertificate("label", "container", "the DER value"));
  EXPECT_EQ((Values{CKO_CERTIFICATE, 1, 0, 1}), ReadFixed(certificate, Base()));
  EXPECT_EQ((std::vector<std::string>{"container", "label"}), ReadVariable(certificate, {CKA_ID, CKA_LABEL}));
  EXPECT_EQ(
      (Values{1, 1, CKC_X_509}),
      ReadFixed(certificate, std::move(FixedRead().Flag(CKA_ENCRYPT).Flag(CKA_VERIFY).Number(CKA_CERTIFICATE_TYPE))));
  EXPECT_EQ(std::vector<std::string>{"the DER value"}, ReadVariable(certificate, {CKA_VALUE}));
  EXPECT_EQ(std::vector<std::string>{std::string(1, '\0')}, ReadVariable(certificate, {CKA_DEFAULT_CERT}));
}

TEST_F(ProviderTest, ACertificateKeepsAGivenType) {
  Template attributes = ProviderCertificate("label", "container", "value");
  const CK_OBJECT_HANDLE certificate = Create(session, attributes.Number(CKA_CERTIFICATE_TYPE, CKC_X_509));
  EXPECT_EQ(CKC_X_509, ReadNumber(session, certificate, CKA_CERTIFICATE_TYPE));
}

TEST_F(ProviderTest, ADataObjectIsRead) {
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_DATA).Flag(CKA_TOKEN, true).Flag(CKA_PRIVATE, false);
  attributes.Bytes(CKA_LABEL, "data").Bytes(CKA_APPLICATION, "app").Bytes(CKA_OBJECT_ID, FromHex("0602aa03"));
  const CK_OBJECT_HANDLE data = Create(session, attributes.Bytes(CKA_VALUE, "value"));
  EXPECT_EQ((Values{CKO_DATA, 1, 0, 1}), ReadFixed(data, Base()));
  EXPECT_EQ((std::vector<std::string>{FromHex("0602aa03"), "data"}), ReadVariable(data, {CKA_OBJECT_ID, CKA_LABEL}));
  EXPECT_EQ(std::vector<std::string>{"app"}, ReadVariable(data, {CKA_APPLICATION}));
}

// The provider first reads every object's class, then the attributes of that class.
TEST_F(ProviderTest, AWholeCardIsReadBeforeALogin) {
  GenerateKeyPair(session, 1024, "one");
  Create(session, ProviderCertificate("one", "one", "value"));
  Restart();
  session = Open();
  Values classes;
  for (const CK_OBJECT_HANDLE object : Find(session, {})) {
    classes.push_back(ReadFixed(object, Base())[0]);
    EXPECT_EQ((std::vector<std::string>{"one", "one"}), ReadVariable(object, {CKA_ID, CKA_LABEL}));
  }
  EXPECT_EQ((Values{CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY}), classes);
}

}  // namespace
}  // namespace softtoken::testing
