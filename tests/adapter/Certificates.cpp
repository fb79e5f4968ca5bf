#include "Certificates.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

namespace adapter::testing {

const CertifiedKey& TestKey() {
  static const CertifiedKey made = [] {
    CertifiedKey result = {EVP_RSA_gen(1024), std::string(128, '\0')};
    BIGNUM* modulus = nullptr;
    EVP_PKEY_get_bn_param(result.key, OSSL_PKEY_PARAM_RSA_N, &modulus);
    BN_bn2bin(modulus, reinterpret_cast<unsigned char*>(result.modulus.data()));
    BN_free(modulus);
    return result;
  }();
  return made;
}

std::string MakeCertificate(const CertifiedKey& key, const std::string& usage) {
  const std::unique_ptr<X509, void (*)(X509*)> certificate(X509_new(), X509_free);
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_set_pubkey(certificate.get(), key.key);
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("Test"), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  if (!usage.empty()) {
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, NID_key_usage, usage.c_str());
    X509_add_ext(certificate.get(), extension, -1);
    X509_EXTENSION_free(extension);
  }
  X509_sign(certificate.get(), key.key, EVP_sha256());
  unsigned char* bytes = nullptr;
  const int length = i2d_X509(certificate.get(), &bytes);
  std::string der(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length));
  OPENSSL_free(bytes);
  return der;
}

}  // namespace adapter::testing
