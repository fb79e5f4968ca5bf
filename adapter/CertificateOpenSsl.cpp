// Certificates on Linux, with OpenSSL.
#include <memory>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include "adapter/Certificate.h"

namespace adapter {
namespace {

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    Release(object);
  }
};
using X509Pointer = std::unique_ptr<X509, Releaser<X509_free>>;
using NumberPointer = std::unique_ptr<BIGNUM, Releaser<BN_free>>;

pkcs11::Secret NumberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* raw = nullptr;
  if (EVP_PKEY_get_bn_param(key, name, &raw) != 1) return {};
  const NumberPointer number(raw);
  pkcs11::Secret bytes(static_cast<std::size_t>(BN_num_bytes(number.get())));
  BN_bn2bin(number.get(), bytes.data());
  return bytes;
}

KeyUsage UsageOf(X509* certificate) {
  // All bits are set when there is no such extension.
  const std::uint32_t bits = X509_get_key_usage(certificate);
  KeyUsage usage;
  usage.signs = (bits & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION | KU_KEY_CERT_SIGN | KU_CRL_SIGN)) != 0;
  usage.decrypts = (bits & (KU_KEY_ENCIPHERMENT | KU_DATA_ENCIPHERMENT)) != 0;
  return usage;
}

}  // namespace

std::optional<CertificateFacts> ReadCertificate(const pkcs11::Secret& der) {
  const unsigned char* next = der.data();
  const X509Pointer certificate(d2i_X509(nullptr, &next, static_cast<long>(der.size())));
  if (certificate == nullptr) return std::nullopt;
  CertificateFacts facts;
  facts.usage = UsageOf(certificate.get());
  const EVP_PKEY* const key = X509_get0_pubkey(certificate.get());
  if (key == nullptr || EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA) return facts;
  facts.modulus = NumberOf(key, OSSL_PKEY_PARAM_RSA_N);
  facts.exponent = NumberOf(key, OSSL_PKEY_PARAM_RSA_E);
  return facts;
}

}  // namespace adapter
