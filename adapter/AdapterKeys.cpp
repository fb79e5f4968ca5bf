// The entries of Adapter that make keys.
#include <algorithm>

#include "adapter/Adapter.h"
#include "adapter/Templates.h"
#include "adapter/software/Random.h"
#include "pkcs11/Mechanisms.h"

namespace adapter {

using pkcs11::AsksFor;
using pkcs11::Check;
using pkcs11::CheckMechanism;
using pkcs11::CheckTemplate;
using pkcs11::Making;
using pkcs11::Require;
using pkcs11::Secret;

namespace {

struct SecretKind {
  CK_MECHANISM_TYPE mechanism;
  CK_KEY_TYPE type;
  std::size_t length;  // 0: the template has it
};

constexpr SecretKind kSecretKinds[] = {
    {CKM_DES_KEY_GEN, CKK_DES, 8},
    {CKM_DES2_KEY_GEN, CKK_DES2, 16},
    {CKM_DES3_KEY_GEN, CKK_DES3, 24},
    {CKM_AES_KEY_GEN, CKK_AES, 0},
    {CKM_GENERIC_SECRET_KEY_GEN, CKK_GENERIC_SECRET, 0},
};

constexpr CK_ULONG kLongestSecret = 4096;

const SecretKind& KindOf(CK_MECHANISM_TYPE mechanism) {
  const auto* const kind = std::find_if(std::begin(kSecretKinds), std::end(kSecretKinds),
                                        [&](const SecretKind& row) { return row.mechanism == mechanism; });
  Require(kind != std::end(kSecretKinds), CKR_MECHANISM_INVALID);
  return *kind;
}

std::size_t LengthOf(const SecretKind& kind, const Values& values) {
  if (kind.length != 0) return kind.length;
  const CK_ULONG length = values.Number(CKA_VALUE_LEN).value_or(0);
  Require(length != 0, CKR_TEMPLATE_INCOMPLETE);
  const bool isAes = length == 16 || length == 24 || length == 32;
  Require(kind.type == CKK_AES ? isAes : length <= kLongestSecret, CKR_KEY_SIZE_RANGE);
  return length;
}

// Each byte of a DES key has an odd number of one bits.
void SetOddParity(Secret& key) {
  for (unsigned char& byte : key) {
    unsigned ones = 0;
    for (unsigned rest = byte >> 1U; rest != 0; rest >>= 1U) ones += rest & 1U;
    byte = static_cast<unsigned char>((byte & 0xFEU) | (ones % 2 == 0 ? 1U : 0U));
  }
}

}  // namespace

// Makes session keys only. The adapter itself keeps them.
CK_RV Adapter::C_GenerateKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR attributes,
                             CK_ULONG count, CK_OBJECT_HANDLE_PTR key) {
  Enter(session);
  CheckTemplate(attributes, count);
  CheckMechanism(mechanism);
  Require(key != nullptr, CKR_ARGUMENTS_BAD);
  Require(!AsksFor(attributes, count, CKA_TOKEN), CKR_TEMPLATE_INCONSISTENT);
  const SecretKind& kind = KindOf(mechanism->mechanism);
  const auto taken = pkcs11::TemplateFor(Making::Generated, CKO_SECRET_KEY, attributes, count);
  Values values(taken.data(), static_cast<CK_ULONG>(taken.size()));
  Secret value(LengthOf(kind, values));
  software::Fill(value.data(), value.size());
  if (kind.type == CKK_DES || kind.type == CKK_DES2 || kind.type == CKK_DES3) SetOddParity(value);
  values.SetNumber(CKA_CLASS, CKO_SECRET_KEY);
  values.SetNumber(CKA_KEY_TYPE, kind.type);
  values.Set(CKA_VALUE, std::move(value));
  values.SetFlag(CKA_LOCAL, true);
  values.SetNumber(CKA_KEY_GEN_MECHANISM, kind.mechanism);
  *key = CreateInSession(session, std::move(values));
  return CKR_OK;
}

CK_RV Adapter::C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism,
                                 CK_ATTRIBUTE_PTR publicAttributes, CK_ULONG publicCount,
                                 CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                                 CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  const Session& entered = Enter(session);
  CheckTemplate(publicAttributes, publicCount);
  CheckTemplate(privateAttributes, privateCount);
  RequireMayChange(entered);
  CheckMechanism(mechanism);
  Require(mechanism->mechanism == CKM_RSA_PKCS_KEY_PAIR_GEN, CKR_MECHANISM_INVALID);
  Require(publicKey != nullptr && privateKey != nullptr, CKR_ARGUMENTS_BAD);
  Token& token = TokenOf(entered);
  auto publicTaken = TemplateForModule(Making::Generated, CKO_PUBLIC_KEY, publicAttributes, publicCount);
  auto privateTaken = TemplateForModule(Making::Generated, CKO_PRIVATE_KEY, privateAttributes, privateCount);
  const Values madePublic(publicTaken.data(), static_cast<CK_ULONG>(publicTaken.size()));
  const Values madePrivate(privateTaken.data(), static_cast<CK_ULONG>(privateTaken.size()));
  const std::vector<CK_OBJECT_HANDLE> before = FindPublicKeys(token, madePublic);
  CK_OBJECT_HANDLE lowerPublic = 0, lowerPrivate = 0;
  const CK_RV result = token.Session().Call<&CK_FUNCTION_LIST::C_GenerateKeyPair>(
      mechanism, publicTaken.data(), static_cast<CK_ULONG>(publicTaken.size()), privateTaken.data(),
      static_cast<CK_ULONG>(privateTaken.size()), &lowerPublic, &lowerPrivate);
  if (result != CKR_OK) DestroyOrphans(token, before, madePublic);
  Check(result);
  *publicKey = token.Objects().Adopt(lowerPublic, madePublic);
  *privateKey = token.Objects().Adopt(lowerPrivate, madePrivate);
  return CKR_OK;
}

std::vector<CK_OBJECT_HANDLE> Adapter::FindPublicKeys(Token& token, const Values& made) {
  CK_OBJECT_CLASS objectClass = CKO_PUBLIC_KEY;
  Secret id = made.Bytes(CKA_ID);
  return token.Session().Find({
      {CKA_CLASS, &objectClass, sizeof objectClass},
      {CKA_ID, id.data(), static_cast<CK_ULONG>(id.size())},
  });
}

// A pair that failed halfway may have left its public key.
void Adapter::DestroyOrphans(Token& token, const std::vector<CK_OBJECT_HANDLE>& before, const Values& made) {
  for (const CK_OBJECT_HANDLE handle : FindPublicKeys(token, made)) {
    const bool isNew = std::find(before.begin(), before.end(), handle) == before.end();
    if (isNew) token.Session().Call<&CK_FUNCTION_LIST::C_DestroyObject>(handle);
  }
}

}  // namespace adapter
