#include "Verifier.h"

#include <cstring>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>
#include <stdexcept>

namespace softtoken::testing {
namespace {

struct Free {
  void operator()(BIGNUM* number) const { BN_free(number); }
  void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
  void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

void Require(bool condition) {
  if (!condition) throw std::runtime_error("OpenSSL refuses");
}

const unsigned char* Bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
unsigned char* Bytes(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

Owned<BIGNUM> Number(const std::string& bytes) {
  return Owned<BIGNUM>(BN_bin2bn(Bytes(bytes), static_cast<int>(bytes.size()), nullptr));
}

}  // namespace

PublicKey::PublicKey(const std::string& modulus, const std::string& exponent) {
  const Owned<BIGNUM> n = Number(modulus), e = Number(exponent);
  const Owned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
  Require(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) == 1);
  Require(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) == 1);
  const Owned<OSSL_PARAM> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
  const Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  Require(EVP_PKEY_fromdata_init(context.get()) == 1);
  Require(EVP_PKEY_fromdata(context.get(), &m_key, EVP_PKEY_PUBLIC_KEY, parameters.get()) == 1);
}

PublicKey::~PublicKey() { EVP_PKEY_free(m_key); }

bool PublicKey::Verify(const char* digest, bool pss, const std::string& message, const std::string& signature) const {
  const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
  EVP_PKEY_CTX* keyContext = nullptr;
  Require(EVP_DigestVerifyInit(context.get(), &keyContext, EVP_get_digestbyname(digest), nullptr, m_key) == 1);
  Require(EVP_PKEY_CTX_set_rsa_padding(keyContext, pss ? RSA_PKCS1_PSS_PADDING : RSA_PKCS1_PADDING) == 1);
  if (pss) Require(EVP_PKEY_CTX_set_rsa_pss_saltlen(keyContext, RSA_PSS_SALTLEN_DIGEST) == 1);
  return EVP_DigestVerify(context.get(), Bytes(signature), signature.size(), Bytes(message), message.size()) == 1;
}

std::string PublicKey::EncryptOaep(const char* digest, const char* mask, const std::string& label,
                                   const std::string& message) const {
  const Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(m_key, nullptr));
  Require(EVP_PKEY_encrypt_init(context.get()) == 1);
  Require(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) == 1);
  Require(EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_get_digestbyname(digest)) == 1);
  Require(EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), EVP_get_digestbyname(mask)) == 1);
  if (!label.empty()) {
    void* const copy = OPENSSL_memdup(label.data(), label.size());  // the context takes it over
    Require(EVP_PKEY_CTX_set0_rsa_oaep_label(context.get(), copy, static_cast<int>(label.size())) == 1);
  }
  std::string encrypted(static_cast<std::size_t>(EVP_PKEY_get_size(m_key)), '\0');
  std::size_t length = encrypted.size();
  Require(EVP_PKEY_encrypt(context.get(), Bytes(encrypted), &length, Bytes(message), message.size()) == 1);
  encrypted.resize(length);
  return encrypted;
}

std::string Digest(const char* name, const std::string& message) {
  std::string digest(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  Require(EVP_Digest(message.data(), message.size(), Bytes(digest), &length, EVP_get_digestbyname(name), nullptr) == 1);
  digest.resize(length);
  return digest;
}

std::string Hmac(const char* name, const std::string& key, const std::string& message) {
  std::string mac(EVP_MAX_MD_SIZE, '\0');
  unsigned length = 0;
  Require(::HMAC(EVP_get_digestbyname(name), key.data(), static_cast<int>(key.size()), Bytes(message), message.size(),
                 Bytes(mac), &length) != nullptr);
  mac.resize(length);
  return mac;
}

}  // namespace softtoken::testing
