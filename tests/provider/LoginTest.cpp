// The login through the whole provider: a PIN that the application supplies, and what it permits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProviderTest.h"

namespace {

class LoginTest : public ProviderTest {
 protected:
  LoginTest() {
    m_cardB.Remove();
    m_cardA.AddContainer("one");
    EXPECT_EQ("true", AcquireResult("one", CRYPT_SILENT));
  }
  ~LoginTest() override {
    if (m_other != 0) CryptReleaseContext(m_other, 0);
  }

  static std::string GivePIN(HCRYPTPROV context, const char* pin) {
    return Result(CryptSetProvParam(context, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0));
  }

  static std::string Sign(HCRYPTPROV context) {
    HCRYPTHASH hash = 0;
    EXPECT_EQ("true", Result(CryptCreateHash(context, CALG_SHA1, 0, 0, &hash)));
    EXPECT_EQ("true", Result(CryptHashData(hash, reinterpret_cast<const BYTE*>("abc"), 3, 0)));
    BYTE signature[128] = {};
    DWORD length = sizeof(signature);
    const std::string result = Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, signature, &length));
    CryptDestroyHash(hash);
    return result;
  }

  HCRYPTPROV OpenAnother() {
    EXPECT_EQ("true", Result(CryptAcquireContextA(&m_other, "one", kProviderName, PROV_RSA_FULL, CRYPT_SILENT)));
    return m_other;
  }

  HCRYPTPROV m_other = 0;
};

TEST_F(LoginTest, WithoutAPINASilentContextDoesNotSign) { EXPECT_EQ("80090022", Sign(Handle())); }

TEST_F(LoginTest, AWrongPINIsRefusedAndTheRightOneAccepted) {
  EXPECT_NE("true", GivePIN(Handle(), "999999"));
  EXPECT_EQ("80090022", Sign(Handle()));
  EXPECT_EQ("true", GivePIN(Handle(), "123456"));
  EXPECT_EQ("true", Sign(Handle()));
}

TEST_F(LoginTest, ThePINOfOneContextIsUsedByASilentOne) {
  EXPECT_EQ("true", GivePIN(Handle(), "123456"));
  EXPECT_EQ("true", Sign(OpenAnother()));
}

TEST_F(LoginTest, AfterTheCardIsPulledNothingIsSigned) {
  EXPECT_EQ("true", GivePIN(Handle(), "123456"));
  EXPECT_EQ("true", Sign(Handle()));
  HCRYPTHASH hash = 0;
  EXPECT_EQ("true", Result(CryptCreateHash(Handle(), CALG_SHA1, 0, 0, &hash)));
  EXPECT_EQ("true", Result(CryptHashData(hash, reinterpret_cast<const BYTE*>("abc"), 3, 0)));
  m_cardA.Remove();
  BYTE signature[128] = {};
  DWORD length = sizeof(signature);
  EXPECT_EQ("80090020", Result(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, signature, &length)));
  CryptDestroyHash(hash);
}

}  // namespace
