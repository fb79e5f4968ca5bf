// CryptSignHash and CryptVerifySignature with every hash and keys of every size: OpenSSL verifies the signatures
// written here, and OpenSSL's own signatures are verified here.
#include "common/Platform.h"

#include <gtest/gtest.h>
#include <psapi.h>
#include <tuple>

#include "OtherProvider.h"
#include "SigningTest.h"

namespace {

const HashName kHashes[] = {{CALG_MD5, "md5"},
                            {CALG_SHA1, "sha1"},
                            {CALG_SHA_256, "sha256"},
                            {CALG_SHA_512, "sha512"},
                            {CALG_SSL3_SHAMD5, "ssl3"}};

class SignatureTest : public SigningTest, public ::testing::WithParamInterface<std::tuple<int, HashName>> {
 protected:
  SignatureTest() { Open(std::get<0>(GetParam())); }

  static ALG_ID Algorithm() { return std::get<1>(GetParam()).id; }
  static std::string File(const std::string& what) {
    return std::to_string(std::get<0>(GetParam())) + "." + std::get<1>(GetParam()).name + "." + what;
  }
};

std::string ParameterName(const ::testing::TestParamInfo<std::tuple<int, HashName>>& info) {
  return std::get<1>(info.param).name + std::to_string(std::get<0>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Of, SignatureTest,
                         ::testing::Combine(::testing::Values(1024, 2048, 3072, 4096), ::testing::ValuesIn(kHashes)),
                         ParameterName);

TEST_P(SignatureTest, IsWrittenForOpenSSL) { Write(File("signature"), Reversed(Sign(HashOf(Message(), Algorithm())))); }

TEST_P(SignatureTest, MadeByOpenSSLIsAccepted) {
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", Result(CryptGetUserKey(Handle(), AT_SIGNATURE, &key)));
  Bytes signature = Reversed(Read(File("openssl")));
  const auto verify = [&] {
    const HCRYPTHASH hash = HashOf(Message(), Algorithm());
    const BOOL accepted =
        CryptVerifySignatureA(hash, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0);
    const std::string result = Result(accepted);
    CryptDestroyHash(hash);
    return result;
  };
  EXPECT_EQ("true", verify());
  signature[10] ^= 1U;
  EXPECT_EQ("80090006", verify());
  CryptDestroyKey(key);
}

TEST_P(SignatureTest, IsAcceptedByTheSystemsOwnProvider) {
  HCRYPTKEY key = 0;
  ASSERT_EQ("true", Result(CryptGetUserKey(Handle(), AT_KEYEXCHANGE, &key)));
  DWORD length = 0;
  ASSERT_EQ("true", Result(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &length)));
  Bytes blob(length);
  ASSERT_EQ("true", Result(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &length)));
  CryptDestroyKey(key);
  const HCRYPTHASH ours = HashOf(Message(), Algorithm());
  Bytes value(64);
  length = static_cast<DWORD>(value.size());
  ASSERT_EQ("true", Result(CryptGetHashParam(ours, HP_HASHVAL, value.data(), &length, 0)));
  Bytes signature = Sign(ours);

  const bool isSSL3 = Algorithm() == CALG_SSL3_SHAMD5;
  const OtherProvider other(isSSL3 ? MS_DEF_RSA_SCHANNEL_PROV_A : MS_ENH_RSA_AES_PROV_A,
                            isSSL3 ? PROV_RSA_SCHANNEL : PROV_RSA_AES);
  ASSERT_EQ("true", Result(CryptImportKey(other.Handle(), blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key)));
  const auto verify = [&] {
    HCRYPTHASH hash = 0;
    if (isSSL3) {
      // That provider accepts only the finished value.
      EXPECT_EQ("true", Result(CryptCreateHash(other.Handle(), CALG_SSL3_SHAMD5, 0, 0, &hash)));
      EXPECT_EQ("true", Result(CryptSetHashParam(hash, HP_HASHVAL, value.data(), 0)));
    } else {
      hash = HashOf(other.Handle(), Message(), Algorithm());
    }
    const std::string result =
        Result(CryptVerifySignatureA(hash, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0));
    CryptDestroyHash(hash);
    return result;
  };
  EXPECT_EQ("true", verify());
  signature[10] ^= 1U;
  EXPECT_EQ("80090006", verify());
  CryptDestroyKey(key);
}

// --- A long message

// The peak of this process's memory in bytes.
std::size_t PeakMemory() {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)));
  return counters.PeakWorkingSetSize;
}

class LongMessageTest : public SigningTest {
 protected:
  LongMessageTest() : SigningTest(Logging::kOff) {}
};

TEST_F(LongMessageTest, Signing256MiBTakesLittleMoreThanTwiceThatMemory) {
  constexpr std::size_t kPieces = 4096;
  const Bytes piece = Read("piece");
  ASSERT_EQ(65536U, piece.size());
  Open(2048);
  const std::size_t before = PeakMemory();
  const HCRYPTHASH hash = HashOf(piece, CALG_SHA_256);
  for (std::size_t i = 1; i < kPieces; ++i) {
    ASSERT_EQ("true", Result(CryptHashData(hash, piece.data(), static_cast<DWORD>(piece.size()), 0)));
  }
  Write("long.signature", Reversed(Sign(hash)));
  const std::size_t message = kPieces * piece.size();
  const std::size_t grown = PeakMemory() - before;
  EXPECT_LT(grown, 2 * message + (std::size_t{8} << 20U));
  EXPECT_GT(grown, message / 2) << "the peak was not measured";
  std::cout << "memory for a message of " << (message >> 20U) << " MiB: " << (grown >> 20U) << " MiB\n";
}

}  // namespace
