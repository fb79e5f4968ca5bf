#include "SigningTest.h"

#include <cstdlib>

namespace {

std::string Exchange(const std::string& name) { return std::getenv("TELVO_EXCHANGE") + ("/" + name); }

}  // namespace

Bytes Reversed(const Bytes& bytes) { return {bytes.rbegin(), bytes.rend()}; }

SigningTest::SigningTest(Logging logging) : ProviderTest(Cards::kAsTheyAre, logging) {
  // The system's own providers, which verify this provider's signatures.
  const std::string providers = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
  m_provider.Registry().SetValue(providers + MS_ENH_RSA_AES_PROV_A, "Type", REG_DWORD, {PROV_RSA_AES, 0, 0, 0});
  m_provider.Registry().SetText(providers + MS_ENH_RSA_AES_PROV_A, "Image Path", "rsaenh.dll");
  m_provider.Registry().SetValue(providers + MS_DEF_RSA_SCHANNEL_PROV_A, "Type", REG_DWORD,
                                 {PROV_RSA_SCHANNEL, 0, 0, 0});
  m_provider.Registry().SetText(providers + MS_DEF_RSA_SCHANNEL_PROV_A, "Image Path", "rsaenh.dll");
}

SigningTest::~SigningTest() { Release(); }

void SigningTest::Open(int bits) {
  ASSERT_EQ("true", AcquireResult(Named(kReaderA, "k" + std::to_string(bits)).c_str(), 0));
  const BYTE pin[] = "123456";
  ASSERT_EQ("true", Result(CryptSetProvParam(Handle(), PP_KEYEXCHANGE_PIN, pin, 0)));
}

HCRYPTHASH SigningTest::HashOf(HCRYPTPROV provider, const Bytes& message, ALG_ID algorithm) {
  HCRYPTHASH hash = 0;
  EXPECT_EQ("true", Result(CryptCreateHash(provider, algorithm, 0, 0, &hash)));
  EXPECT_EQ("true", Result(CryptHashData(hash, message.data(), static_cast<DWORD>(message.size()), 0)));
  return hash;
}

Bytes SigningTest::Sign(HCRYPTHASH hash) {
  DWORD length = 0;
  EXPECT_EQ("true", Result(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length)));
  Bytes signature(length);
  EXPECT_EQ("true", Result(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &length)));
  EXPECT_EQ(signature.size(), length);
  CryptDestroyHash(hash);
  return signature;
}

Bytes SigningTest::Read(const std::string& name) {
  const std::string content = ReadFile(Exchange(name));
  EXPECT_FALSE(content.empty()) << name;
  return {content.begin(), content.end()};
}

void SigningTest::Write(const std::string& name, const Bytes& bytes) {
  WriteFile(Exchange(name), std::string(bytes.begin(), bytes.end()));
}
