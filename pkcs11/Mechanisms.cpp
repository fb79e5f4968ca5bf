#include "pkcs11/Mechanisms.h"

#include <algorithm>

namespace pkcs11 {
namespace {

enum class Key { Rsa, Other };

struct Row {
  CK_MECHANISM_TYPE type;
  Parameter parameter;
  Key key;
};

constexpr Row kRows[] = {
    {CKM_RSA_PKCS_KEY_PAIR_GEN, Parameter::None, Key::Other},
    {CKM_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_RSA_X_509, Parameter::None, Key::Rsa},
    {CKM_RSA_PKCS_OAEP, Parameter::Oaep, Key::Rsa},
    {CKM_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},
    {CKM_MD5_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA1_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA224_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA256_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA384_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA512_RSA_PKCS, Parameter::None, Key::Rsa},
    {CKM_SHA1_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},
    {CKM_SHA224_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},
    {CKM_SHA256_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},
    {CKM_SHA384_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},
    {CKM_SHA512_RSA_PKCS_PSS, Parameter::Pss, Key::Rsa},

    {CKM_MD5, Parameter::None, Key::Other},
    {CKM_SHA_1, Parameter::None, Key::Other},
    {CKM_SHA224, Parameter::None, Key::Other},
    {CKM_SHA256, Parameter::None, Key::Other},
    {CKM_SHA384, Parameter::None, Key::Other},
    {CKM_SHA512, Parameter::None, Key::Other},

    {CKM_MD5_HMAC, Parameter::None, Key::Other},
    {CKM_MD5_HMAC_GENERAL, Parameter::MacLength, Key::Other},
    {CKM_SHA_1_HMAC, Parameter::None, Key::Other},
    {CKM_SHA_1_HMAC_GENERAL, Parameter::MacLength, Key::Other},
    {CKM_SHA224_HMAC, Parameter::None, Key::Other},
    {CKM_SHA224_HMAC_GENERAL, Parameter::MacLength, Key::Other},
    {CKM_SHA256_HMAC, Parameter::None, Key::Other},
    {CKM_SHA256_HMAC_GENERAL, Parameter::MacLength, Key::Other},
    {CKM_SHA384_HMAC, Parameter::None, Key::Other},
    {CKM_SHA384_HMAC_GENERAL, Parameter::MacLength, Key::Other},
    {CKM_SHA512_HMAC, Parameter::None, Key::Other},
    {CKM_SHA512_HMAC_GENERAL, Parameter::MacLength, Key::Other},

    {CKM_GENERIC_SECRET_KEY_GEN, Parameter::None, Key::Other},
    {CKM_DES_KEY_GEN, Parameter::None, Key::Other},
    {CKM_DES_ECB, Parameter::None, Key::Other},
    {CKM_DES_CBC, Parameter::Iv8, Key::Other},
    {CKM_DES_CBC_PAD, Parameter::Iv8, Key::Other},
    {CKM_DES2_KEY_GEN, Parameter::None, Key::Other},
    {CKM_DES3_KEY_GEN, Parameter::None, Key::Other},
    {CKM_DES3_ECB, Parameter::None, Key::Other},
    {CKM_DES3_CBC, Parameter::Iv8, Key::Other},
    {CKM_DES3_CBC_PAD, Parameter::Iv8, Key::Other},
    {CKM_AES_KEY_GEN, Parameter::None, Key::Other},
    {CKM_AES_ECB, Parameter::None, Key::Other},
    {CKM_AES_CBC, Parameter::Iv16, Key::Other},
    {CKM_AES_CBC_PAD, Parameter::Iv16, Key::Other},
};

const Row* FindRow(CK_MECHANISM_TYPE type) {
  const Row* const row =
      std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& candidate) { return candidate.type == type; });
  return row == std::end(kRows) ? nullptr : row;
}

CK_ULONG SizeOf(Parameter parameter) {
  switch (parameter) {
    case Parameter::None:
      return 0;
    case Parameter::Iv8:
      return 8;
    case Parameter::Iv16:
      return 16;
    case Parameter::Oaep:
      return sizeof(CK_RSA_PKCS_OAEP_PARAMS);
    case Parameter::Pss:
      return sizeof(CK_RSA_PKCS_PSS_PARAMS);
    case Parameter::MacLength:
      return sizeof(CK_ULONG);
  }
  return 0;
}

}  // namespace

std::optional<Parameter> FindParameter(CK_MECHANISM_TYPE type) {
  const Row* const row = FindRow(type);
  if (row == nullptr) return std::nullopt;
  return row->parameter;
}

Parameter ParameterOf(CK_MECHANISM_TYPE type) {
  const std::optional<Parameter> parameter = FindParameter(type);
  Require(parameter.has_value(), CKR_MECHANISM_INVALID);
  return *parameter;
}

bool NeedsRsaKey(CK_MECHANISM_TYPE type) {
  const Row* const row = FindRow(type);
  return row != nullptr && row->key == Key::Rsa;
}

bool IsForWholeData(CK_MECHANISM_TYPE type) {
  return type == CKM_RSA_PKCS || type == CKM_RSA_X_509 || type == CKM_RSA_PKCS_PSS;
}

void CheckParameter(const CK_MECHANISM& mechanism) {
  const CK_ULONG size = SizeOf(ParameterOf(mechanism.mechanism));
  Require(mechanism.ulParameterLen == size && (size == 0 || mechanism.pParameter != nullptr),
          CKR_MECHANISM_PARAM_INVALID);
}

std::vector<CK_MECHANISM_TYPE> AllMechanisms() {
  std::vector<CK_MECHANISM_TYPE> all;
  for (const Row& row : kRows) all.push_back(row.type);
  return all;
}

std::vector<CK_MECHANISM_TYPE> Offered(const std::vector<CK_MECHANISM_TYPE>& types) {
  std::vector<CK_MECHANISM_TYPE> offered;
  for (const Row& row : kRows) {
    if (std::find(types.begin(), types.end(), row.type) != types.end()) offered.push_back(row.type);
  }
  return offered;
}

}  // namespace pkcs11
