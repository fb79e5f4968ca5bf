// Generating key pairs and session keys.
#include <chrono>
#include <ctime>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cryptoki/LoginLock.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/KeyTest.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

constexpr char kUnknownAlgorithm[] = "Algorithm not supported for Key Generation";
constexpr char kNoSecretKey[] = "Invalid Secret Key Algorithm ID";

class ContextGenerateTest : public KeyTest {
 protected:
  DWORD Generate(DWORD algorithm, DWORD flags) {
    DWORD handle = 0;
    m_context.GenerateKeyPair(algorithm, flags, &handle, &m_factory);
    return handle;
  }
  // The identifiers of the objects of a class that are on the token.
  std::vector<Bytes> Identifiers(CK_OBJECT_CLASS objectClass) {
    std::vector<Bytes> identifiers;
    for (auto& pair : m_token.objects) {
      if (pair.second.NumberOf(CKA_CLASS) == objectClass) identifiers.push_back(pair.second.attributes[CKA_ID]);
    }
    return identifiers;
  }
};

// --- Key pairs

TEST_F(ContextGenerateTest, AKeyPairIsGeneratedFromTheseTwoTemplates) {
  BindToNewContainer();
  Generate(AT_KEYEXCHANGE, 0x08000000);
  EXPECT_EQ(
      "C_GenerateKeyPair(1, CKM_RSA_PKCS_KEY_PAIR_GEN, public {CKA_CLASS=2, CKA_KEY_TYPE=0, CKA_KEY_GEN_MECHANISM=0, "
      "CKA_TOKEN=true, CKA_PRIVATE=false, CKA_ENCRYPT=true, CKA_VERIFY=true, CKA_WRAP=true, CKA_VERIFY_RECOVER=true, "
      "CKA_PUBLIC_EXPONENT=010001, CKA_MODULUS_BITS=2048, CKA_LABEL=6F6E65, CKA_EXTRACTABLE=true, "
      "CKA_NEVER_EXTRACTABLE=false, CKA_ALWAYS_SENSITIVE=false, CKA_LOCAL=true, CKA_DERIVE=false, CKA_ID=6F6E65}, "
      "private {CKA_CLASS=3, CKA_KEY_TYPE=0, CKA_KEY_GEN_MECHANISM=0, CKA_TOKEN=true, CKA_NEVER_EXTRACTABLE=true, "
      "CKA_ALWAYS_SENSITIVE=true, CKA_LOCAL=true, CKA_PRIVATE=true, CKA_SENSITIVE=true, CKA_DECRYPT=true, "
      "CKA_SIGN=true, CKA_SIGN_RECOVER=false, CKA_UNWRAP=true, CKA_MODULUS_BITS=2048, CKA_ALWAYS_SENSITIVE=true, "
      "CKA_LABEL=6F6E65, CKA_EXTRACTABLE=false, CKA_ID=6F6E65, CKA_DERIVE=false})",
      m_module.TakeCalls()[1]);
}

TEST_F(ContextGenerateTest, AKeyPairIsGeneratedAfterALoginAndThenRead) {
  BindToNewContainer();
  Generate(AT_SIGNATURE, 0);
  EXPECT_EQ(LoginLines(), TakeLog());
  const Calls calls = m_module.TakeCalls();
  ASSERT_EQ(8U, calls.size());
  EXPECT_EQ(m_loginCall, calls[0]);
  EXPECT_THAT(calls[1], StartsWith("C_GenerateKeyPair("));
  for (std::size_t i = 2; i < 5; ++i) EXPECT_THAT(calls[i], StartsWith("C_GetAttributeValue(1, 1, "));
  for (std::size_t i = 5; i < 8; ++i) EXPECT_THAT(calls[i], StartsWith("C_GetAttributeValue(1, 2, "));
}

struct SizeCase {
  const char* name;
  DWORD flags;
  DWORD bits;
};

class PairSizeTest : public ContextGenerateTest, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(PairSizeTest, TheUpperHalfOfTheFlagsIsTheSize) {
  BindToNewContainer();
  Generate(AT_KEYEXCHANGE, GetParam().flags);
  EXPECT_EQ(GetParam().bits, m_context.GetKeyBits());
}

constexpr SizeCase kSizes[] = {
    {"NoSizeIs4096", 0, 4096},
    {"OnlyLowFlagsAre4096", 0x0000FFFF, 4096},
    {"Of512", 0x02000000, 512},
    {"Of1024", 0x04000000, 1024},
    {"Of1024WithLowFlags", 0x04000001, 1024},
    {"Of2048", 0x08000000, 2048},
    {"Of3072Is4096", 0x0C000000, 4096},
    {"Of4096", 0x10000000, 4096},
    {"Of65535Is4096", 0xFFFF0000, 4096},
    {"Of511Is4096", 0x01FF0000, 4096},
};

INSTANTIATE_TEST_SUITE_P(Sizes, PairSizeTest, ::testing::ValuesIn(kSizes),
                         [](const auto& row) { return row.param.name; });

TEST_F(ContextGenerateTest, ExchangeAndSignatureAlgorithmsReturnTheirOwnHandles) {
  BindToNewContainer();
  EXPECT_NE(m_context.GetExchangeKeyHandle(), m_context.GetSignatureKeyHandle());
  EXPECT_EQ(m_context.GetExchangeKeyHandle(), Generate(AT_KEYEXCHANGE, 0));
  EXPECT_EQ(m_context.GetExchangeKeyHandle(), Generate(CALG_RSA_KEYX, 0));
  EXPECT_EQ(m_context.GetSignatureKeyHandle(), Generate(AT_SIGNATURE, 0));
  EXPECT_EQ(m_context.GetSignatureKeyHandle(), Generate(CALG_RSA_SIGN, 0));
}

TEST_F(ContextGenerateTest, AContextWithoutKeyHandlesGetsThemWithItsKeyPair) {
  m_context.Initialize("\\\\.\\Reader A\\one", CRYPT_NEWKEYSET, m_cryptoki, 1);
  const BYTE pin[] = {'1', '2', '3', '4'};
  m_context.LoginWithPIN(pin, sizeof(pin));
  ASSERT_EQ(0U, m_context.GetSignatureKeyHandle());
  const DWORD handle = Generate(AT_SIGNATURE, 0);
  EXPECT_NE(0U, handle);
  EXPECT_EQ(handle, m_context.GetSignatureKeyHandle());
}

TEST_F(ContextGenerateTest, ANewContainerHasItsKeysAfterwards) {
  BindToNewContainer();
  EXPECT_EQ(0U, m_context.HasPublicKey() + m_context.HasPrivateKey());
  Generate(AT_KEYEXCHANGE, 0);
  EXPECT_EQ(1U, m_context.HasPublicKey());
  EXPECT_EQ(1U, m_context.HasPrivateKey());
}

TEST_F(ContextGenerateTest, ASecondPairIsUsedAndTheFirstStaysOnTheTokenWithTheSameIdentifier) {
  BindToNewContainer();
  Generate(AT_SIGNATURE, 0x04000000);
  Generate(AT_KEYEXCHANGE, 0x02000000);
  EXPECT_EQ(512U, m_context.GetKeyBits());
  EXPECT_THAT(Identifiers(CKO_PUBLIC_KEY), UnorderedElementsAre(Text("one"), Text("one")));
  EXPECT_THAT(Identifiers(CKO_PRIVATE_KEY), UnorderedElementsAre(Text("one"), Text("one")));
}

TEST_F(ContextGenerateTest, APairThatTheModuleRefusesLeavesTheContextWithoutOne) {
  BindToNewContainer();
  m_module.FailNext("C_GenerateKeyPair", CKR_DEVICE_MEMORY);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_MEMORY, Generate(AT_KEYEXCHANGE, 0));
  EXPECT_EQ(0U, m_context.HasPublicKey());
  EXPECT_EQ(0U, m_context.HasPrivateKey());
}

// Any of the six reads may fail.
class FailedReadTest : public ContextGenerateTest, public ::testing::WithParamInterface<int> {};

TEST_P(FailedReadTest, TheOldPairStaysInUse) {
  BindToPair(48);
  m_module.FailOnCall("C_GetAttributeValue", GetParam(), CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, Generate(AT_KEYEXCHANGE, 0x02000000));
  EXPECT_EQ(384U, m_context.GetKeyBits());
  Forget();
  DWORD length = 0;
  m_context.ExportPublicKey(m_context.GetExchangeKeyHandle(), nullptr, &length);
  EXPECT_EQ(68U, length);
  const DWORD three = 3;
  length = 0;
  m_context.Sign(reinterpret_cast<const BYTE*>("abc"), &three, nullptr, &length);
  EXPECT_EQ("C_SignInit(1, CKM_RSA_PKCS, 2)", m_module.TakeCalls()[1]);
}

INSTANTIATE_TEST_SUITE_P(Reads, FailedReadTest, ::testing::Range(1, 7));

TEST_F(ContextGenerateTest, ANameOf63CharactersBecomesLabelAndIdentifierOfAPair) {
  const std::string name(63, 'n');
  BindToNewContainer(name);
  Generate(AT_KEYEXCHANGE, 0x02000000);
  EXPECT_EQ(Text(name), AttributeOf(1, CKA_LABEL));
  EXPECT_EQ(Text(name), AttributeOf(1, CKA_ID));
  EXPECT_EQ(Text(name), AttributeOf(2, CKA_LABEL));
  EXPECT_EQ(Text(name), AttributeOf(2, CKA_ID));
}

TEST_F(ContextGenerateTest, ANameOf64CharactersIsRefusedBeforeAPairIsGenerated) {
  BindToNewContainer(std::string(64, 'n'));
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEYSET_PARAM), "Container name is too long for a key pair",
                       Generate(AT_KEYEXCHANGE, 0));
  EXPECT_EQ(Calls{m_loginCall}, m_module.TakeCalls());
}

TEST_F(ContextGenerateTest, ANameOf64CharactersIsAcceptedForASessionKey) {
  BindToNewContainer(std::string(64, 'n'));
  EXPECT_NO_THROW(Generate(CALG_DES, 0));
}

// --- Session keys

struct SessionKeyCase {
  const char* name;
  DWORD algorithm;
  const char* keyType;
  std::size_t length;
  const char* value;
};

class SessionKeyTest : public ContextGenerateTest, public ::testing::WithParamInterface<SessionKeyCase> {};

TEST_P(SessionKeyTest, IsMadeOfRandomBytesFromTheToken) {
  BindToNewContainer();
  const DWORD handle = Generate(GetParam().algorithm, 2);
  EXPECT_EQ(LoginLines() + CreationLines(), TakeLog());
  EXPECT_EQ((Calls{m_loginCall, "C_GenerateRandom(1, room " + std::to_string(GetParam().length) + ")",
                   CreationCall(GetParam().keyType, GetParam().value)}),
            m_module.TakeCalls());
  const auto key = m_context.GetSecretKey(handle);
  EXPECT_EQ(handle, key->GetKeyID());
  EXPECT_EQ(GetParam().algorithm, key->GetAlgID());
  EXPECT_EQ(Counting(GetParam().length, 1), ValueOf(*key));
}

constexpr SessionKeyCase kSessionKeys[] = {
    {"Des", CALG_DES, "19", 8, "0102030405060708"},
    {"TripleDes", CALG_3DES, "21", 24, "0102030405060708090A0B0C0D0E0F101112131415161718"},
    {"TwoKeyTripleDes", CALG_3DES_112, "20", 16, "0102030405060708090A0B0C0D0E0F10"},
};

INSTANTIATE_TEST_SUITE_P(Algorithms, SessionKeyTest, ::testing::ValuesIn(kSessionKeys),
                         [](const auto& row) { return row.param.name; });

TEST_F(ContextGenerateTest, IdentifierAndLabelOfASessionKeyAre128ZeroBytes) {
  BindToNewContainer();
  const auto key = m_context.GetSecretKey(Generate(CALG_DES, 0));
  EXPECT_EQ(Bytes(128, 0), AttributeOf(key->GetObjectHandle(), CKA_ID));
  EXPECT_EQ(Bytes(128, 0), AttributeOf(key->GetObjectHandle(), CKA_LABEL));
}

TEST_F(ContextGenerateTest, TheFlagsBecomeTheModeOfASessionKeyAndItMayBeExported) {
  BindToNewContainer();
  for (const DWORD flags : {0U, 1U, 2U, 0x00800004U}) {
    const auto key = m_context.GetSecretKey(Generate(CALG_3DES, flags));
    EXPECT_EQ(flags, key->GetMode());
    EXPECT_EQ(1U, key->GetPermissions());
  }
}

TEST_F(ContextGenerateTest, AesIsRefusedAfterItsRandomBytesAreGenerated) {
  BindToNewContainer();
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), kNoSecretKey, Generate(CALG_AES, 0));
  EXPECT_EQ((Calls{m_loginCall, "C_GenerateRandom(1, room 16)"}), m_module.TakeCalls());
  EXPECT_EQ(LoginLines() + Line("Creating Non Token Secret Key") + Line("Secret Key"), TakeLog());
}

TEST_F(ContextGenerateTest, OtherAlgorithmsAreRefusedAfterTheLogin) {
  BindToNewContainer();
  for (const DWORD algorithm : {0U, 3U, 0x660EU, 0x6610U, 0x8004U, 0xFFFFFFFFU}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_ALGID), kUnknownAlgorithm, Generate(algorithm, 0));
    EXPECT_EQ(Calls{m_loginCall}, m_module.TakeCalls());
  }
}

TEST_F(ContextGenerateTest, WhenTheLoginFailsNothingIsGenerated) {
  BindToNewContainer();
  m_module.FailNext("C_LoginExtended", CKR_PIN_LOCKED);
  EXPECT_CONTEXT_ERROR(Code(SCARD_W_CHV_BLOCKED),
                       "The card cannot be accessed because the maximum number of PIN entry attempts has been reached",
                       Generate(0, 0));
}

TEST_F(ContextGenerateTest, AContextForVerificationGeneratesNothing) {
  m_context.Initialize(nullptr, CRYPT_VERIFYCONTEXT, m_cryptoki, 1);
  EXPECT_CONTEXT_ERROR(Code(NTE_FAIL), "The Smart Card is not properly initialized", Generate(CALG_DES, 0));
}

TEST_F(ContextGenerateTest, ASessionKeyThatTheModuleRefusesIsNotKept) {
  BindToNewContainer();
  m_module.FailNext("C_CreateObject", CKR_ATTRIBUTE_VALUE_INVALID);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_VALUE_INVALID, Generate(CALG_DES, 0));
  EXPECT_EQ(0U, m_factory.Count());
}

TEST_F(ContextGenerateTest, WithoutRandomBytesThereIsNoSessionKey) {
  BindToNewContainer();
  m_module.FailNext("C_GenerateRandom", CKR_RANDOM_NO_RNG);
  EXPECT_CRYPTOKI_ERROR(CKR_RANDOM_NO_RNG, Generate(CALG_DES, 0));
  EXPECT_EQ((Calls{"C_LoginExtended", "C_GenerateRandom"}), m_module.TakeCallNames());
}

TEST_F(ContextGenerateTest, ManySessionKeysHaveTheirOwnHandles) {
  BindToNewContainer();
  const DWORD first = Generate(CALG_DES, 0);
  const DWORD second = Generate(CALG_DES, 0);
  EXPECT_NE(first, second);
  EXPECT_EQ(Counting(8, 1), ValueOf(*m_context.GetSecretKey(first)));
  EXPECT_EQ(Counting(8, 9), ValueOf(*m_context.GetSecretKey(second)));
}

TEST_F(ContextGenerateTest, OtherThreadsMayLogInWhileAKeyWaitsForItsHandle) {
  BindToNewContainer();
  std::future_status other = std::future_status::deferred;
  std::future<void> login;
  std::time_t now = 1000000;
  CCSPSecretKeyFactory factory(g_secretKeyLog, {[&] { return now; },
                                                [&](DWORD) {
                                                  ++now;
                                                  login = std::async(std::launch::async, [] { const LoginLock lock; });
                                                  other = login.wait_for(std::chrono::seconds(20));
                                                }});
  DWORD handle = 0;
  m_context.GenerateKeyPair(CALG_DES, 0, &handle, &factory);
  m_context.GenerateKeyPair(CALG_DES, 0, &handle, &factory);
  EXPECT_EQ(std::future_status::ready, other);
}

}  // namespace
