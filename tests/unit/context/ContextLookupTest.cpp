// Which certificate and which keys match a container name. A named reader without flags shows it without side
// effects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/ContextTest.h"
#include "log/Logs.h"

namespace {

using ::testing::HasSubstr;

class ContextLookupTest : public ContextTest {
 protected:
  ContextLookupTest() : m_token(m_module.InsertToken("Reader A")) {}

  void LookUp(const std::string& container) { Initialize(("\\\\.\\Reader A\\" + container).c_str(), 0); }
  void AddCertificate(const Bytes& id, unsigned char isDefault = 0) {
    m_token.Add(CertificateObject(id, "label", {0x30, 0x00}).With(CKA_DEFAULT_CERT, {isDefault}));
  }
  ScriptedToken& m_token;
};

// Each look-up uses its own context.
class CertificateNameTest : public ContextLookupTest {
 protected:
  bool Finds(const std::string& name) {
    const auto context = Acquire(("\\\\.\\Reader A\\" + name).c_str());
    return context->HasCertificate() != 0;
  }
};

class KeyNameTest : public ContextLookupTest {
 protected:
  bool Finds(const std::string& name) {
    const auto context = Acquire(("\\\\.\\Reader A\\" + name).c_str());
    EXPECT_EQ(context->HasPrivateKey(), context->HasPublicKey());
    return context->HasPrivateKey() != 0;
  }
};

TEST_F(CertificateNameTest, APrintableIdentifierIsFoundAsAStringAndInHexadecimal) {
  AddCertificate(Text("ABC"));
  EXPECT_TRUE(Finds("ABC"));
  EXPECT_TRUE(Finds("414243"));
}

TEST_F(KeyNameTest, APrintableIdentifierIsFoundOnlyAsAString) {
  AddKeyPair(m_token, Text("ABC"));
  EXPECT_TRUE(Finds("ABC"));
  EXPECT_FALSE(Finds("414243"));
}

TEST_F(CertificateNameTest, AnIdentifierWithASpaceIsFoundInHexadecimalAndAsAString) {
  AddCertificate(Text("A C"));
  EXPECT_TRUE(Finds("412043"));
  EXPECT_TRUE(Finds("A C"));
}

TEST_F(KeyNameTest, AnIdentifierWithASpaceIsFoundInHexadecimalAndAsAString) {
  AddKeyPair(m_token, Text("A C"));
  EXPECT_TRUE(Finds("412043"));
  EXPECT_TRUE(Finds("A C"));
}

TEST_F(CertificateNameTest, AnIdentifierIsFoundUpToItsZeroByteAndByAllBytesInHexadecimal) {
  AddCertificate({0x41, 0x00, 0x42});
  EXPECT_TRUE(Finds("A"));
  EXPECT_TRUE(Finds("410042"));
}

TEST_F(KeyNameTest, AnIdentifierIsFoundOnlyUpToItsZeroByte) {
  AddKeyPair(m_token, {0x41, 0x00, 0x42});
  EXPECT_TRUE(Finds("A"));
  EXPECT_FALSE(Finds("410042"));
}

TEST_F(CertificateNameTest, CaseMatters) {
  AddCertificate(Text("ABC"));
  AddCertificate({0x00, 0xAB});
  EXPECT_FALSE(Finds("abc"));
  EXPECT_TRUE(Finds("00AB"));
  EXPECT_FALSE(Finds("00ab"));
}

TEST_F(KeyNameTest, CaseMatters) {
  AddKeyPair(m_token, Text("ABC"));
  AddKeyPair(m_token, {0x00, 0xAB});
  EXPECT_FALSE(Finds("abc"));
  EXPECT_TRUE(Finds("00AB"));
  EXPECT_FALSE(Finds("00ab"));
}

TEST_F(ContextLookupTest, TheFirstOfEqualIdentifiersIsChosen) {
  m_token.Add(CertificateObject(Text("ABC"), "first", {0x30, 0x00}));
  m_token.Add(CertificateObject(Text("ABC"), "second", {0x30, 0x00}));
  LookUp("ABC");
  EXPECT_EQ("first", m_context.GetDefaultCertificate()->GetLabel());
}

TEST_F(ContextLookupTest, WithoutADefaultTheFirstOfThreeCertificatesIsChosen) {
  for (const char* id : {"one", "two", "three"}) AddCertificate(Text(id));
  LookUp("");
  EXPECT_EQ("one", CertificateID());
  EXPECT_EQ("one", m_context.GetContainerName());
  EXPECT_THAT(
      TakeLog(),
      HasSubstr(Line("\nChecking the CKA_DEFAULT_CERT") + Value("\nIteration #:", "0") + Line("Get Attribute.") +
                Line("Get Value") + Line("Post Get Value") + Line("*pValue != 1") + Value("\nIteration #:", "1") +
                Line("Get Attribute.") + Line("Get Value") + Line("Post Get Value") + Line("*pValue != 1") +
                Value("\nIteration #:", "2") + Line("Get Attribute.") + Line("Get Value") + Line("Post Get Value") +
                Line("*pValue != 1") + Line("End of Iteration") + Line("\nRetrieving the very first container") +
                Value("\nContainer: ", "one") + Line("\nPublic Key Does not exist")));
}

TEST_F(ContextLookupTest, TheCertificateMarkedAsDefaultIsChosen) {
  AddCertificate(Text("one"));
  AddCertificate(Text("two"), 1);
  AddCertificate(Text("three"));
  LookUp("");
  EXPECT_EQ("two", CertificateID());
  EXPECT_EQ("two", m_context.GetContainerName());
  EXPECT_THAT(TakeLog(), HasSubstr(Value("\nIteration #:", "1") + Line("Get Attribute.") + Line("Get Value") +
                                   Line("Post Get Value") + Line("\nCKA_DEFAULT_CERT TRUE") +
                                   Value("\nContainer: ", "two") + Line("\nPublic Key Does not exist")));
}

TEST_F(ContextLookupTest, ADefaultMarkOfTwoDoesNotCount) {
  AddCertificate(Text("one"));
  AddCertificate(Text("two"), 2);
  LookUp("");
  EXPECT_EQ("one", CertificateID());
}

TEST_F(ContextLookupTest, ACertificateWhoseDefaultMarkHasNoValueIsPassedOver) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}).With(CKA_DEFAULT_CERT, {}));
  AddCertificate(Text("two"), 1);
  LookUp("");
  EXPECT_EQ("two", CertificateID());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("Get Value") + Line("pValue is NULL. Continuing iteration") +
                                   Value("\nIteration #:", "1")));
}

TEST_F(ContextLookupTest, TheDefaultMarkIsReadOncePerCertificate) {
  AddCertificate(Text("one"));
  LookUp("");
  Calls reads;
  for (const std::string& call : m_module.TakeCalls()) {
    if (call.find("0x80000003") != std::string::npos || call.find("CKA_DEFAULT_CERT") != std::string::npos) {
      reads.push_back(call);
    }
  }
  EXPECT_EQ(
      (Calls{"C_GetAttributeValue(1, 1, {CKA_DEFAULT_CERT?})", "C_GetAttributeValue(1, 1, {CKA_DEFAULT_CERT[1]})"}),
      reads);
}

TEST_F(ContextLookupTest, WithoutADefaultMarkAnEmptyNameFindsNoCertificateAndTheKeysAreTried) {
  m_token.Add(CertificateObject(Text("one"), "label", {0x30, 0x00}).Without(CKA_DEFAULT_CERT));
  AddKeyPair(m_token, Text("two"));
  LookUp("");
  EXPECT_EQ("none", CertificateID());
  EXPECT_EQ("two", m_context.GetContainerName());
  EXPECT_NE(0U, m_context.HasPrivateKey());
}

TEST_F(ContextLookupTest, AMissingCertificateIsSearchedForToTheEndOfTheList) {
  AddCertificate(Text("ABC"));
  LookUp("X");
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("\nChecking the Cert iterator") + Line("Converting CKA_ID to hexstring...") +
                        Line("Comparing to Container Name") + Line("Is end of Certificate List ") +
                        Line("Certificate List end") + Line("Retrieving Private Key 2") + Line("No Private Key Found") +
                        Line("Retrieving Public Key 3") + Line("No Public Key Found")));
}

TEST_F(ContextLookupTest, ACertificateFoundByItsHexadecimalFormIsLoggedAsSuch) {
  AddCertificate(Text("ABC"));
  LookUp("414243");
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("Comparing to Container Name") + Line("GetCert() - Container name found 2, Exit") +
                        Line("\nPublic Key Does not exist")));
  EXPECT_EQ("414243", m_context.GetContainerName());
}

TEST_F(ContextLookupTest, MissingKeysAreSearchedForToTheEndOfTheList) {
  AddKeyPair(m_token, Text("ABC"));
  LookUp("X");
  EXPECT_EQ(0U, m_context.HasPrivateKey() + m_context.HasPublicKey());
  EXPECT_THAT(TakeLog(), HasSubstr(Line("Retrieving Private Key 2") + Line("Is end of Private Key List") +
                                   Line("End of Private Key List") + Line("Retrieving Public Key 3") +
                                   Line("Is end of Public Key list") + Line("End of Public Key list")));
}

TEST_F(ContextLookupTest, ThePrivateKeyFoundFirstNarrowsTheSearchForThePublicKey) {
  m_token.Add(PublicKeyObject(Text("one"), Counting(128, 0x81)));
  m_token.Add(PrivateKeyObject(Text("two"), Counting(256, 0x81)));
  m_token.Add(PublicKeyObject(Text("two"), Counting(256, 0x81)));
  LookUp("");
  EXPECT_EQ("two", m_context.GetContainerName());
  EXPECT_EQ(2048U, m_context.GetKeyBits());
  EXPECT_EQ(1U, m_context.HasPublicKey());
}

TEST_F(ContextLookupTest, WithoutAPrivateKeyTheFirstPublicKeyNamesTheContainer) {
  m_token.Add(PublicKeyObject({0x01, 0x02}, Counting(128, 0x81)));
  LookUp("");
  EXPECT_EQ("0102", m_context.GetContainerName());
}

}  // namespace
