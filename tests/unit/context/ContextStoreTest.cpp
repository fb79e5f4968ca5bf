// Adding the token's certificates to certificate stores.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "context/CertificateHolder.h"
#include "context/KeyProviderInfo.h"
#include "fixtures/ContextTest.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"
#include "fixtures/OpenContext.h"
#include "fixtures/PrivateMember.h"
#include "log/Logs.h"
#include "module/SampleCertificates.h"
#include "platform/IsTaken.h"
#include "platform/ScriptedCertStore.h"

struct NamesMutex {
  using Type = std::mutex KeyProviderInfo::*;
  friend Type Expose(NamesMutex tag);
};

template struct PrivateMember<NamesMutex, &KeyProviderInfo::m_mutex>;

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

const char kKey[] = ", Brenholt Devices CSP v4.5, type 1, flags 0, parameters 0, spec 1";

class ContextStoreTest : public ContextTest {
 protected:
  ContextStoreTest()
      : m_token(m_module.InsertToken("Reader A")), m_store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)) {}
  ~ContextStoreTest() override { CertCloseStore(m_store, 0); }

  void AddCertificate(const char* id, const Bytes& der) { m_token.Add(CertificateObject(Text(id), "label", der)); }
  void Bind(const std::string& container = std::string()) {
    m_open.Initialize(("\\\\.\\Reader A\\" + container).c_str(), 0, m_cryptoki, 1);
    m_module.ForgetCalls();
    TakeLog();
  }

  static std::string Added() {
    return Line("\nChecking Certificate Store") + Line("\nBefore CertAddCertificateContextToStore ") +
           Line("\nAfter CertAddCertificateContextToStore ");
  }
  static std::string KeySet() { return Line("\nPrivate Key Exists") + Line("\nSet Certificate Context Property"); }
  static std::string Name(const std::string& name) { return Value("\nContainer Name to Add: ", name); }

  ScriptedCertStore m_stores;
  ScriptedToken& m_token;
  OpenContext m_open;
  HCERTSTORE m_store;
};

TEST_F(ContextStoreTest, EachCertificateIsAddedWithItsOwnContainerName) {
  AddCertificate("one", kRootCertificate);
  AddCertificate("two", kFirstCertificate);
  m_token.Add(CertificateObject({0xAB, 0x01}, "label", kSecondCertificate));
  AddKeyPair(m_token, Text("two"));
  AddKeyPair(m_token, {0xAB, 0x01});
  Bind("two");
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 0));
  EXPECT_THAT(DescribeStore(m_store),
              UnorderedElementsAre("Root", std::string("One -> two") + kKey, std::string("Two -> AB01") + kKey));
  EXPECT_EQ(Name("one") + Added() + Name("two") + KeySet() + Added() + Name("AB01") + KeySet() + Added(), TakeLog());
  EXPECT_EQ(Calls(), m_module.TakeCalls());
}

TEST_F(ContextStoreTest, TheRootStoreGetsTheCertificatesToo) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 1, 0));
  EXPECT_THAT(DescribeStore(m_store), ElementsAre("One"));
}

TEST_F(ContextStoreTest, AnExistingCertificateIsReplaced) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  m_open.AddCertificatesToStore(m_store, 0, 0);
  m_open.AddCertificatesToStore(m_store, 0, 0);
  EXPECT_THAT(DescribeStore(m_store), ElementsAre(std::string("One -> one") + kKey));
}

TEST_F(ContextStoreTest, AnOldReferenceToAKeyIsReplacedByTheNewOne) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  const auto add = [this](const char* container) {
    return m_open.AddCertificateToStore(m_open.m_certificates.front(), m_store, kFirstCertificate.data(),
                                        static_cast<DWORD>(kFirstCertificate.size()), container);
  };
  EXPECT_EQ(1U, add("old"));
  EXPECT_EQ(1U, add("new"));
  EXPECT_THAT(DescribeStore(m_store), ElementsAre(std::string("One -> new") + kKey));
}

TEST_F(ContextStoreTest, ACertificateWithoutAKeyRemovesAnOldReferenceToOne) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  m_open.AddCertificatesToStore(m_store, 0, 0);
  Certificate bare(m_open.m_certificates.front());
  EXPECT_EQ(
      1U, m_open.AddCertificateToStore(Certificate(static_cast<const CryptokiObject&>(bare)), m_store,
                                       kFirstCertificate.data(), static_cast<DWORD>(kFirstCertificate.size()), "any"));
  EXPECT_THAT(DescribeStore(m_store), ElementsAre("One"));
}

TEST_F(ContextStoreTest, TheDefaultAloneGetsTheContextsContainerAndIsLoggedAsAFailure) {
  AddCertificate("one", kRootCertificate);
  AddCertificate("two", kFirstCertificate);
  AddKeyPair(m_token, Text("two"));
  Bind("two");
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 1));
  EXPECT_THAT(DescribeStore(m_store), ElementsAre(std::string("One -> two") + kKey));
  EXPECT_EQ(Name("two") + KeySet() + Added() + Line("\nAdd Cert To Store Failed "), TakeLog());
}

TEST_F(ContextStoreTest, ARefusedDefaultIsNotLoggedAsAFailure) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  m_stores.Refuse("CertAddCertificateContextToStore", 5);
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 1));
  EXPECT_EQ(Name("one") + Added() + Value("\nFailed to CertAddCertificateContextToStore: ", "00000005"), TakeLog());
}

TEST_F(ContextStoreTest, AnInvalidCertificateIsLoggedAndTheOthersAreAdded) {
  AddCertificate("one", {0x01, 0x02});
  AddCertificate("two", kFirstCertificate);
  Bind("two");
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 0));
  EXPECT_THAT(DescribeStore(m_store), ElementsAre("One"));
  const std::string log = TakeLog();
  EXPECT_THAT(log, HasSubstr(Name("one") + "\nFailed to CertCreateCertificateContext:  "));
  EXPECT_THAT(log, HasSubstr(Line("\nAdd Cert To Store Failed ") + Name("two") + Added()));
}

TEST_F(ContextStoreTest, ThePlatformsErrorCodeForAnInvalidCertificateIsLogged) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  m_stores.Refuse("CertCreateCertificateContext", Code(CRYPT_E_ASN1_BADTAG));
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 0));
  EXPECT_EQ(Name("one") + Value("\nFailed to CertCreateCertificateContext: ", "8009310B") +
                Line("\nAdd Cert To Store Failed "),
            TakeLog());
}

TEST_F(ContextStoreTest, ACertificateIsDecodedWithBothEncodingTypes) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  m_stores.encoding = 0;
  m_open.AddCertificatesToStore(m_store, 0, 0);
  EXPECT_EQ(0x10001U, m_stores.encoding);
}

TEST_F(ContextStoreTest, ACertificateWhoseKeyCannotBeSetIsNotAdded) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  m_stores.Refuse("CertSetCertificateContextProperty", 0x80070057);
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 0));
  EXPECT_THAT(DescribeStore(m_store), IsEmpty());
  EXPECT_EQ(Name("one") + KeySet() + Value("\nFailed to CertSetCertificateContextProperty: ", "80070057") +
                Line("\nAdd Cert To Store Failed "),
            TakeLog());
}

TEST_F(ContextStoreTest, ANullStoreIsLoggedAndTheCertificateFreed) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  const int created = m_stores.created;
  const int freed = m_stores.freed;
  EXPECT_EQ(0U, m_open.AddCertificateToStore(m_open.m_certificates.front(), nullptr, kFirstCertificate.data(),
                                             static_cast<DWORD>(kFirstCertificate.size()), "any"));
  EXPECT_EQ(Line("\nChecking Certificate Store") + Line("\nCertificate Store does not exist"), TakeLog());
  EXPECT_EQ(1, m_stores.created - created);
  EXPECT_EQ(1, m_stores.freed - freed);
}

TEST_F(ContextStoreTest, ASuccessReturnsOne) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  EXPECT_EQ(1U, m_open.AddCertificateToStore(m_open.m_certificates.front(), m_store, kFirstCertificate.data(),
                                             static_cast<DWORD>(kFirstCertificate.size()), "any"));
}

TEST_F(ContextStoreTest, AModuleErrorEndsTheLoopAndSetsTheLastError) {
  AddCertificate("one", kRootCertificate);
  AddCertificate("two", kFirstCertificate);
  AddCertificate("three", kSecondCertificate);
  Bind("three");
  std::next(m_open.m_certificates.begin())->SetAttributes({});
  m_module.FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_EQ(1U, m_open.AddCertificatesToStore(m_store, 0, 0));
  EXPECT_EQ(0x32U, GetLastError());
  EXPECT_THAT(DescribeStore(m_store), ElementsAre("Root"));
  EXPECT_EQ(Name("one") + Added(), TakeLog());
}

TEST_F(ContextStoreTest, PropagationUsesATemporaryStore) {
  AddCertificate("one", kFirstCertificate);
  m_stores.memoryStores = 0;
  m_open.Initialize("\\\\.\\Reader A\\one", 0, m_cryptoki, 1);
  EXPECT_THAT(TakeLog(),
              HasSubstr(Line("Propagate Certificate") + Name("one") + Added() + Line("\nAdd Cert To Store Failed ")));
  EXPECT_EQ(1, m_stores.memoryStores);
  EXPECT_THAT(m_stores.names, IsEmpty());
}

TEST_F(ContextStoreTest, PropagationWithoutAStoreDoesNothing) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  m_stores.Refuse("CertOpenStore", 5);
  EXPECT_EQ(1U, m_open.PropagateCertificate());
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContextStoreTest, AModuleErrorIsThrownByThePropagation) {
  AddCertificate("one", kFirstCertificate);
  Bind("one");
  m_open.GetDefaultCertificate()->SetAttributes({});
  m_module.FailNext("C_GetAttributeValue", CKR_DEVICE_REMOVED);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_REMOVED, m_open.PropagateCertificate());
}

TEST_F(ContextStoreTest, NamesAreWidenedByteByByte) {
  const CertificateHolder certificate(CertCreateCertificateContext(X509_ASN_ENCODING, kFirstCertificate.data(),
                                                                   static_cast<DWORD>(kFirstCertificate.size())));
  KeyProviderInfo names;
  EXPECT_TRUE(names.SetOn(certificate.get(), "K\x7F\xE4", "P\xFF"));
  DWORD length = 0;
  EXPECT_NE(FALSE, CertGetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &length));
  std::vector<std::uint64_t> buffer(length / 8 + 1);
  CertGetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID, buffer.data(), &length);
  const auto& info = *reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(buffer.data());
  EXPECT_EQ((std::wstring{L'K', wchar_t{0x7F}, wchar_t{0xE4}}), info.pwszContainerName);
  EXPECT_EQ((std::wstring{L'P', wchar_t{0xFF}}), info.pwszProvName);
}

TEST_F(ContextStoreTest, NoOtherThreadChangesTheNamesBeforeTheCertificateHasThem) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  bool taken = false;
  m_stores.beforeProperty = [&taken] { taken = IsTaken(g_keyProviderInfo.*Expose(NamesMutex())); };
  m_open.AddCertificatesToStore(m_store, 0, 0);
  EXPECT_TRUE(taken);
}

TEST_F(ContextStoreTest, TwoContextsMayPropagateAtOnce) {
  AddCertificate("one", kFirstCertificate);
  AddKeyPair(m_token, Text("one"));
  Bind("one");
  Silence(g_contextLog);
  TELVOCSPContext copy(m_open);
  std::thread other([&copy] {
    for (int i = 0; i < 50; ++i) copy.PropagateCertificate();
  });
  for (int i = 0; i < 50; ++i) m_open.AddCertificatesToStore(m_store, 0, 0);
  other.join();
  EXPECT_THAT(DescribeStore(m_store), ElementsAre(std::string("One -> one") + kKey));
}

}  // namespace
