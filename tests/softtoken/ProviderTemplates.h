// The templates that the provider sends: the same attributes in the same order.
#pragma once

#include <string>

#include "Template.h"

namespace softtoken::testing {

template <typename T = Template>
T ProviderPublicKey(CK_ULONG bits, const std::string& name) {
  T attributes;
  attributes.Number(CKA_CLASS, CKO_PUBLIC_KEY)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Number(CKA_KEY_GEN_MECHANISM, CKM_RSA_PKCS_KEY_PAIR_GEN)
      .Flag(CKA_TOKEN, true)
      .Flag(CKA_PRIVATE, false)
      .Flag(CKA_ENCRYPT, true)
      .Flag(CKA_VERIFY, true)
      .Flag(CKA_WRAP, true)
      .Flag(CKA_VERIFY_RECOVER, true)
      .Bytes(CKA_PUBLIC_EXPONENT, FromHex("010001"))
      .Number(CKA_MODULUS_BITS, bits)
      .Bytes(CKA_LABEL, name)
      .Flag(CKA_EXTRACTABLE, true)
      .Flag(CKA_NEVER_EXTRACTABLE, false)
      .Flag(CKA_ALWAYS_SENSITIVE, false)
      .Flag(CKA_LOCAL, true)
      .Flag(CKA_DERIVE, false)
      .Bytes(CKA_ID, name);
  return attributes;
}

template <typename T = Template>
T ProviderPrivateKey(CK_ULONG bits, const std::string& name) {
  T attributes;
  attributes.Number(CKA_CLASS, CKO_PRIVATE_KEY)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Number(CKA_KEY_GEN_MECHANISM, 0)
      .Flag(CKA_TOKEN, true)
      .Flag(CKA_NEVER_EXTRACTABLE, true)
      .Flag(CKA_ALWAYS_SENSITIVE, true)
      .Flag(CKA_LOCAL, true)
      .Flag(CKA_PRIVATE, true)
      .Flag(CKA_SENSITIVE, true)
      .Flag(CKA_DECRYPT, true)
      .Flag(CKA_SIGN, true)
      .Flag(CKA_SIGN_RECOVER, false)
      .Flag(CKA_UNWRAP, true)
      .Number(CKA_MODULUS_BITS, bits)
      .Flag(CKA_ALWAYS_SENSITIVE, true)
      .Bytes(CKA_LABEL, name)
      .Flag(CKA_EXTRACTABLE, false)
      .Bytes(CKA_ID, name)
      .Flag(CKA_DERIVE, false);
  return attributes;
}

template <typename T = Template>
T ProviderSecretKey(CK_KEY_TYPE type, const std::string& value) {
  T attributes;
  attributes.Number(CKA_CLASS, CKO_SECRET_KEY)
      .Number(CKA_KEY_TYPE, type)
      .Bytes(CKA_ID, std::string(128, '\0'))
      .Bytes(CKA_LABEL, std::string(128, '\0'))
      .Flag(CKA_DERIVE, true)
      .Flag(CKA_ENCRYPT, true)
      .Flag(CKA_DECRYPT, true)
      .Flag(CKA_SIGN, true)
      .Flag(CKA_VERIFY, false)
      .Flag(CKA_WRAP, true)
      .Flag(CKA_UNWRAP, true)
      .Flag(CKA_PRIVATE, true)
      .Flag(CKA_SENSITIVE, false)
      .Flag(CKA_TOKEN, false)
      .Flag(CKA_EXTRACTABLE, true)
      .Flag(CKA_MODIFIABLE, true)
      .Bytes(CKA_VALUE, value);
  return attributes;
}

template <typename T = Template>
T ProviderImportedKey(const std::string& modulus, const std::string& exponent) {
  std::string label = "Generated Key Label";
  label.resize(128);
  T attributes;
  attributes.Number(CKA_CLASS, CKO_PUBLIC_KEY)
      .Bytes(CKA_ID, FromHex("000102030405060708090a0b0c0d0e0f"))
      .Bytes(CKA_LABEL, label)
      .Bytes(CKA_MODULUS, modulus)
      .Number(CKA_MODULUS_BITS, 8 * modulus.size())
      .Bytes(CKA_PUBLIC_EXPONENT, exponent)
      .Flag(CKA_ENCRYPT, true)
      .Flag(CKA_SIGN_RECOVER, true)
      .Flag(CKA_VERIFY, true)
      .Flag(CKA_TOKEN, false)
      .Number(CKA_KEY_TYPE, CKK_RSA)
      .Flag(CKA_WRAP, true)
      .Flag(CKA_VERIFY_RECOVER, true)
      .Flag(CKA_MODIFIABLE, false)
      .Flag(CKA_PRIVATE, false)
      .Flag(CKA_NEVER_EXTRACTABLE, false)
      .Flag(CKA_EXTRACTABLE, true)
      .Flag(CKA_LOCAL, true)
      .Number(CKA_KEY_GEN_MECHANISM, 0);
  return attributes;
}

template <typename T = Template>
T ProviderCertificate(const std::string& label, const std::string& id, const std::string& value) {
  T attributes;
  attributes.Flag(CKA_TOKEN, true)
      .Bytes(CKA_ISSUER, FromHex("300d310b3009060355040613024445"))
      .Bytes(CKA_SUBJECT, FromHex("300d310b3009060355040613024652"))
      .Bytes(CKA_SERIAL_NUMBER, FromHex("020101"))
      .Bytes(CKA_LABEL, label)
      .Number(CKA_CLASS, CKO_CERTIFICATE)
      .Bytes(CKA_ID, id)
      .Bytes(CKA_VALUE, value);
  return attributes;
}

}  // namespace softtoken::testing
