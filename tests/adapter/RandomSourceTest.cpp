// Random bytes come from the system alone. libgcrypt's generator would first collect the state of the whole system; the
// owner of the clipboard is a part of it, and nothing else here asks for it.
#include <windows.h>

#include <gtest/gtest.h>

#include "Bytes.h"
#include "adapter/software/Random.h"
#include "adapter/software/RsaPublic.h"
#include "adapter/software/SaltedDigest.h"

namespace {

int g_questions = 0;

HWND WINAPI CountQuestion() {
  ++g_questions;
  return nullptr;
}

}  // namespace

// It replaces the system's function in this program.
extern "C" HWND(WINAPI* const __imp_GetClipboardOwner)() = CountQuestion;

namespace adapter::testing {
namespace {

TEST(RandomSourceTest, NothingCollectsTheStateOfTheSystem) {
  Bytes bytes(1000);
  software::Fill(bytes.data(), bytes.size());
  const software::SaltedDigest digest(bytes.data(), 4);
  EXPECT_TRUE(digest.Matches(bytes.data(), 4));

  const software::RsaPublicKey key{Bytes(128, 0xC1), {1, 0, 1}};
  CK_MECHANISM padded = {CKM_RSA_PKCS, nullptr, 0};
  EXPECT_EQ(128U, software::Encrypt(key, padded, bytes.data(), 20).size());
  CK_RSA_PKCS_OAEP_PARAMS parameters = {CKM_SHA_1, CKG_MGF1_SHA1, CKZ_DATA_SPECIFIED, nullptr, 0};
  CK_MECHANISM oaep = {CKM_RSA_PKCS_OAEP, &parameters, sizeof parameters};
  EXPECT_EQ(128U, software::Encrypt(key, oaep, bytes.data(), 20).size());

  EXPECT_EQ(0, g_questions);
}

}  // namespace
}  // namespace adapter::testing
