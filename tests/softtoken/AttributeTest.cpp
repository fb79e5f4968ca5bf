// Attributes that SoftHSM does not have, alone and together with those that it has.
#include <algorithm>
#include <cstring>

#include "ProviderTemplates.h"
#include "SharedNames.h"
#include "TokenTest.h"
#include "VirtualAttributes.h"

namespace softtoken::testing {
namespace {

class AttributeTest : public TokenTest {
 protected:
  void SetUp() override {
    Start(std::string(kOneCard) + "default_certificate = The default\n");
    session = Open();
    ASSERT_EQ(CKR_OK, Login(session));
  }

  bool IsDefault(const std::string& label) {
    const CK_OBJECT_HANDLE certificate = Create(session, ProviderCertificate(label, "id", "value"));
    return Read(session, certificate, CKA_DEFAULT_CERT) == "\1";
  }

  CK_SESSION_HANDLE session = 0;
};

TEST_F(AttributeTest, TheDefaultCertificateIsNamedByItsLabel) {
  EXPECT_TRUE(IsDefault("The default"));
  EXPECT_FALSE(IsDefault("the default"));
  EXPECT_FALSE(IsDefault("The default one"));
  EXPECT_FALSE(IsDefault(""));
}

TEST_F(AttributeTest, APaddedLabelIsTheSameLabel) {
  EXPECT_TRUE(IsDefault(std::string("The default\0\0\0", 14)));
  EXPECT_TRUE(IsDefault("The default    "));
}

TEST_F(AttributeTest, OnlyCertificatesMayBeTheDefault) {
  const KeyPair pair = GenerateKeyPair(session, 1024, "The default");
  for (const CK_OBJECT_HANDLE key : {pair.publicKey, pair.privateKey}) {
    CK_BBOOL flag = CK_FALSE;
    CK_ATTRIBUTE attribute = {CKA_DEFAULT_CERT, &flag, sizeof flag};
    EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, f.C_GetAttributeValue(session, key, &attribute, 1));
    EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attribute.ulValueLen);
  }
}

TEST_F(AttributeTest, TheBitsOfAPrivateKeyComeFromItsModulus) {
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_PRIVATE_KEY).Number(CKA_KEY_TYPE, CKK_RSA).Flag(CKA_TOKEN, false);
  attributes.Bytes(CKA_MODULUS, FromHex("0003") + std::string(62, '\1')).Bytes(CKA_PRIVATE_EXPONENT, "\3");
  const CK_OBJECT_HANDLE key = Create(session, attributes);
  EXPECT_EQ(62u * 8 + 2, ReadNumber(session, key, CKA_MODULUS_BITS)) << "without the leading zeros";
}

TEST_F(AttributeTest, APrivateKeyWithoutAModulusHasNoBits) {
  Template attributes;
  attributes.Number(CKA_CLASS, CKO_PRIVATE_KEY).Number(CKA_KEY_TYPE, CKK_DH).Flag(CKA_SENSITIVE, false);
  attributes.Bytes(CKA_PRIME, "prime").Bytes(CKA_BASE, "base").Bytes(CKA_VALUE, "value").Flag(CKA_EXTRACTABLE, true);
  const CK_OBJECT_HANDLE key = Create(session, attributes);
  EXPECT_EQ("value", Read(session, key, CKA_VALUE));
  CK_ULONG bits = 0;
  CK_ATTRIBUTE attribute = {CKA_MODULUS_BITS, &bits, sizeof bits};
  EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, f.C_GetAttributeValue(session, key, &attribute, 1));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attribute.ulValueLen);
}

TEST_F(AttributeTest, VirtualAndRealAttributesAreMixedInAnyOrder) {
  const CK_OBJECT_HANDLE certificate = Create(session, ProviderCertificate("The default", "id", "value"));
  const CK_ATTRIBUTE_TYPE types[] = {CKA_ENCRYPT, CKA_LABEL, CKA_DEFAULT_CERT, CKA_CERTIFICATE_TYPE,
                                     CKA_VERIFY,  CKA_VALUE, CKA_ENCRYPT};
  std::vector<CK_ATTRIBUTE> attributes;
  attributes.reserve(std::size(types));
  for (const CK_ATTRIBUTE_TYPE type : types) attributes.push_back({type, nullptr, 0});
  ASSERT_EQ(CKR_OK, f.C_GetAttributeValue(session, certificate, attributes.data(), attributes.size()));
  std::vector<CK_ULONG> lengths;
  lengths.reserve(attributes.size());
  for (const CK_ATTRIBUTE& attribute : attributes) lengths.push_back(attribute.ulValueLen);
  EXPECT_EQ((std::vector<CK_ULONG>{1, 11, 1, sizeof(CK_ULONG), 1, 5, 1}), lengths);

  std::vector<std::string> values;
  values.reserve(lengths.size());
  for (const CK_ULONG length : lengths) values.emplace_back(length + 3, '#');
  for (std::size_t i = 0; i < values.size(); ++i) {
    attributes[i].pValue = values[i].data();
    attributes[i].ulValueLen = values[i].size();
  }
  ASSERT_EQ(CKR_OK, f.C_GetAttributeValue(session, certificate, attributes.data(), attributes.size()));
  EXPECT_EQ("\1###", values[0]);
  EXPECT_EQ("The default###", values[1]);
  EXPECT_EQ("\1###", values[2]);
  EXPECT_EQ(std::string(8, '\0') + "###", values[3]);
  EXPECT_EQ("\1###", values[4]);
  EXPECT_EQ("value###", values[5]);
  EXPECT_EQ("\1###", values[6]);
  for (std::size_t i = 0; i < values.size(); ++i) EXPECT_EQ(lengths[i], attributes[i].ulValueLen);
}

TEST_F(AttributeTest, AShortBufferDoesNotKeepTheOthersFromBeingRead) {
  const CK_OBJECT_HANDLE certificate = Create(session, ProviderCertificate("label", "id", "value"));
  char flag = '#', label[5] = {}, value[3] = {'#', '#', '#'};
  CK_ATTRIBUTE attributes[] = {{CKA_ENCRYPT, &flag, 0}, {CKA_LABEL, label, 5}, {CKA_VALUE, value, 3}};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_GetAttributeValue(session, certificate, attributes, 3));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attributes[0].ulValueLen);
  EXPECT_EQ('#', flag);
  EXPECT_EQ(5u, attributes[1].ulValueLen);
  EXPECT_EQ(0, std::memcmp("label", label, 5));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attributes[2].ulValueLen);
  EXPECT_EQ('#', value[0]);
}

TEST_F(AttributeTest, AShortBufferForTheBitsOfAPrivateKeyIsRefused) {
  const KeyPair pair = GenerateKeyPair(session);
  unsigned char bits[4] = {};
  CK_ATTRIBUTE attribute = {CKA_MODULUS_BITS, bits, sizeof bits};
  EXPECT_EQ(CKR_BUFFER_TOO_SMALL, f.C_GetAttributeValue(session, pair.privateKey, &attribute, 1));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attribute.ulValueLen);
}

TEST_F(AttributeTest, ASensitiveAttributeDoesNotKeepTheOthersFromBeingRead) {
  const KeyPair pair = GenerateKeyPair(session);
  CK_ULONG bits = 0;
  unsigned char exponent[256] = {};
  CK_ATTRIBUTE attributes[] = {{CKA_PRIVATE_EXPONENT, exponent, sizeof exponent},
                               {CKA_MODULUS_BITS, &bits, sizeof bits}};
  EXPECT_EQ(CKR_ATTRIBUTE_SENSITIVE, f.C_GetAttributeValue(session, pair.privateKey, attributes, 2));
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, attributes[0].ulValueLen);
  EXPECT_EQ(1024u, bits);
  EXPECT_EQ(sizeof bits, attributes[1].ulValueLen);
}

TEST_F(AttributeTest, AnUnknownObjectHasNoVirtualAttributes) {
  CK_BBOOL flag = CK_FALSE;
  CK_ATTRIBUTE attribute = {CKA_ENCRYPT, &flag, sizeof flag};
  EXPECT_EQ(CKR_OBJECT_HANDLE_INVALID, f.C_GetAttributeValue(session, 4711, &attribute, 1));
}

TEST_F(AttributeTest, VirtualAttributesAreReadOnly) {
  const CK_OBJECT_HANDLE certificate = Create(session, ProviderCertificate("label", "id", "value"));
  Template attributes;
  attributes.Bytes(CKA_LABEL, "x").Flag(CKA_DEFAULT_CERT, true);
  EXPECT_EQ(CKR_ATTRIBUTE_READ_ONLY,
            f.C_SetAttributeValue(session, certificate, attributes.Data(), attributes.Count()));
  EXPECT_EQ("label", Read(session, certificate, CKA_LABEL));
}

TEST_F(AttributeTest, TheSameAttributeOfAKeyCanBeSet) {
  const CK_OBJECT_HANDLE key = Create(session, ProviderSecretKey(CKK_AES, std::string(16, 'k')));
  Template attributes;
  attributes.Flag(CKA_ENCRYPT, false);
  EXPECT_EQ(CKR_OK, f.C_SetAttributeValue(session, key, attributes.Data(), attributes.Count()));
  EXPECT_EQ(std::string(1, '\0'), Read(session, key, CKA_ENCRYPT));
}

TEST_F(AttributeTest, VirtualAttributesCanBeSearchedFor) {
  const CK_OBJECT_HANDLE first = Create(session, ProviderCertificate("The default", "1", "value"));
  const CK_OBJECT_HANDLE second = Create(session, ProviderCertificate("other", "2", "value"));
  const KeyPair pair = GenerateKeyPair(session);
  using Handles = std::vector<CK_OBJECT_HANDLE>;
  EXPECT_EQ(Handles{first}, Find(session, Template().Flag(CKA_DEFAULT_CERT, true)));
  EXPECT_EQ(Handles{second},
            Find(session, Template().Number(CKA_CLASS, CKO_CERTIFICATE).Flag(CKA_DEFAULT_CERT, false)));
  EXPECT_EQ((Handles{first, second}),
            Find(session, Template().Flag(CKA_VERIFY, true).Number(CKA_CLASS, CKO_CERTIFICATE)));
  EXPECT_EQ((Handles{pair.publicKey, pair.privateKey}), Find(session, Template().Number(CKA_MODULUS_BITS, 1024)));
  EXPECT_EQ(Handles{}, Find(session, Template().Number(CKA_MODULUS_BITS, 2048)));
  EXPECT_EQ(Handles{}, Find(session, Template().Bytes(CKA_DEFAULT_CERT, "")));
}

// Checks the table of the attributes that SoftHSM can store against SoftHSM itself.
struct Sample {
  CK_ATTRIBUTE_TYPE type;
  char kind;  // flag, number, bytes or date
};

const Sample kSamples[] = {
    {CKA_TOKEN, 'f'},
    {CKA_PRIVATE, 'f'},
    {CKA_MODIFIABLE, 'f'},
    {CKA_COPYABLE, 'f'},
    {CKA_DESTROYABLE, 'f'},
    {CKA_LABEL, 'b'},
    {CKA_APPLICATION, 'b'},
    {CKA_OBJECT_ID, 'b'},
    {CKA_CERTIFICATE_CATEGORY, 'n'},
    {CKA_ISSUER, 'b'},
    {CKA_SERIAL_NUMBER, 'b'},
    {CKA_URL, 'b'},
    {CKA_HASH_OF_SUBJECT_PUBLIC_KEY, 'b'},
    {CKA_HASH_OF_ISSUER_PUBLIC_KEY, 'b'},
    {CKA_JAVA_MIDP_SECURITY_DOMAIN, 'n'},
    {CKA_NAME_HASH_ALGORITHM, 'n'},
    {CKA_TRUSTED, 'f'},
    {CKA_ID, 'b'},
    {CKA_START_DATE, 'd'},
    {CKA_END_DATE, 'd'},
    {CKA_DERIVE, 'f'},
    {CKA_ENCRYPT, 'f'},
    {CKA_VERIFY, 'f'},
    {CKA_VERIFY_RECOVER, 'f'},
    {CKA_WRAP, 'f'},
    {CKA_WRAP_TEMPLATE, 'd'},
    {CKA_SENSITIVE, 'f'},
    {CKA_EXTRACTABLE, 'f'},
    {CKA_DECRYPT, 'f'},
    {CKA_SIGN, 'f'},
    {CKA_SIGN_RECOVER, 'f'},
    {CKA_UNWRAP, 'f'},
    {CKA_UNWRAP_TEMPLATE, 'd'},
    {CKA_WRAP_WITH_TRUSTED, 'f'},
    {CKA_ALWAYS_AUTHENTICATE, 'f'},
    {CKA_MODULUS_BITS, 'n'},
    {CKA_VALUE_LEN, 'n'},
    {CKA_LOCAL, 'f'},
    {CKA_KEY_GEN_MECHANISM, 'n'},
    {CKA_ALWAYS_SENSITIVE, 'f'},
    {CKA_NEVER_EXTRACTABLE, 'f'},
    {CKA_DEFAULT_CERT, 'f'},
};

void Add(Template& attributes, const Sample& sample) {
  switch (sample.kind) {
    case 'f':
      attributes.Flag(sample.type, false);
      break;
    case 'n':
      attributes.Number(sample.type, 0);
      break;
    case 'b':
      attributes.Bytes(sample.type, "abc");
      break;
    default:
      attributes.Bytes(sample.type, "");
  }
}

Template Minimal(CK_OBJECT_CLASS objectClass) {
  Template attributes;
  attributes.Number(CKA_CLASS, objectClass);
  switch (objectClass) {
    case CKO_CERTIFICATE:
      attributes.Bytes(CKA_SUBJECT, "abc").Bytes(CKA_VALUE, "abc");
      break;
    case CKO_PUBLIC_KEY:
      attributes.Number(CKA_KEY_TYPE, CKK_RSA).Bytes(CKA_MODULUS, std::string(64, '\xC1'));
      attributes.Bytes(CKA_PUBLIC_EXPONENT, FromHex("010001"));
      break;
    case CKO_PRIVATE_KEY:
      attributes.Number(CKA_KEY_TYPE, CKK_RSA).Bytes(CKA_MODULUS, std::string(64, '\xC1'));
      attributes.Bytes(CKA_PRIVATE_EXPONENT, std::string(64, '\x41'));
      break;
    case CKO_SECRET_KEY:
      attributes.Number(CKA_KEY_TYPE, CKK_AES).Bytes(CKA_VALUE, std::string(16, 'k'));
      break;
    default:
      break;
  }
  return attributes;
}

TEST_F(AttributeTest, EveryKnownAttributeIsAcceptedWhenAnObjectIsCreated) {
  for (const CK_OBJECT_CLASS objectClass :
       {CKO_DATA, CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY, CKO_SECRET_KEY}) {
    for (const Sample& sample : kSamples) {
      Template attributes = Minimal(objectClass);
      Add(attributes, sample);
      CK_OBJECT_HANDLE object = 0;
      EXPECT_EQ(CKR_OK, f.C_CreateObject(session, attributes.Data(), attributes.Count(), &object))
          << "class " << objectClass << ", attribute " << std::hex << sample.type;
    }
  }
}

TEST_F(AttributeTest, EveryKnownAttributeIsAcceptedWhenAKeyIsGenerated) {
  for (const Sample& sample : kSamples) {
    SCOPED_TRACE(::testing::Message() << "attribute " << std::hex << sample.type);
    CK_OBJECT_HANDLE object = 0;
    if (sample.type != CKA_VALUE_LEN) {
      Template aes;
      Add(aes.Number(CKA_VALUE_LEN, 16), sample);
      CK_MECHANISM mechanism = {CKM_AES_KEY_GEN, nullptr, 0};
      EXPECT_EQ(CKR_OK, f.C_GenerateKey(session, &mechanism, aes.Data(), aes.Count(), &object));
    }
    if (sample.type != CKA_MODULUS_BITS) {
      Template publicKey, privateKey;
      Add(publicKey.Number(CKA_MODULUS_BITS, 512).Bytes(CKA_PUBLIC_EXPONENT, FromHex("010001")), sample);
      Add(privateKey, sample);
      CK_OBJECT_HANDLE other = 0;
      CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
      EXPECT_EQ(CKR_OK, f.C_GenerateKeyPair(session, &mechanism, publicKey.Data(), publicKey.Count(), privateKey.Data(),
                                            privateKey.Count(), &object, &other));
    }
  }
}

TEST_F(AttributeTest, AttributesThatAnObjectCanStoreAreKept) {
  for (const CK_OBJECT_CLASS objectClass :
       {CKO_DATA, CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY, CKO_SECRET_KEY}) {
    Template attributes = Minimal(objectClass);
    const auto taken = TemplateFor(Making::Created, objectClass, attributes.Data(), attributes.Count());
    EXPECT_LE(attributes.Count(), taken.size()) << "class " << objectClass;
    const CK_OBJECT_HANDLE object = Create(session, attributes);
    for (CK_ULONG i = 0; i < attributes.Count(); ++i) {
      const CK_ATTRIBUTE& attribute = attributes.Data()[i];
      if (attribute.type == CKA_PRIVATE_EXPONENT || attribute.type == CKA_VALUE) continue;
      EXPECT_EQ(std::string(static_cast<const char*>(attribute.pValue), attribute.ulValueLen),
                Read(session, object, attribute.type));
    }
  }
}

TEST_F(AttributeTest, AnAttributeThatNoClassHasIsRefused) {
  Template attributes = Minimal(CKO_DATA);
  attributes.Bytes(CKA_VENDOR_DEFINED | 99, "abc");
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_ATTRIBUTE_TYPE_INVALID, f.C_CreateObject(session, attributes.Data(), attributes.Count(), &object));
}

TEST_F(AttributeTest, AWrongValueIsStillRefused) {
  Template attributes = Minimal(CKO_SECRET_KEY);
  attributes.Bytes(CKA_ENCRYPT, "long");
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_ATTRIBUTE_VALUE_INVALID, f.C_CreateObject(session, attributes.Data(), attributes.Count(), &object));
}

}  // namespace
}  // namespace softtoken::testing
