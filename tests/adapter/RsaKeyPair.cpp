#include "RsaKeyPair.h"

#include <memory>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <stdexcept>

namespace adapter::testing {
namespace {

struct FreeKey {
  void operator()(BIGNUM* number) const { BN_free(number); }
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
template <typename T>
using Owned = std::unique_ptr<T, FreeKey>;

void Require(bool condition) {
  if (!condition) throw std::runtime_error("OpenSSL refuses");
}

Bytes NumberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* found = nullptr;
  Require(EVP_PKEY_get_bn_param(key, name, &found) == 1);
  const Owned<BIGNUM> number(found);
  Bytes bytes(static_cast<std::size_t>(BN_num_bytes(found)));
  BN_bn2bin(found, bytes.data());
  return bytes;
}

}  // namespace

RsaKeyPair::RsaKeyPair(unsigned bits) : m_key(EVP_RSA_gen(bits)) { Require(m_key != nullptr); }
RsaKeyPair::~RsaKeyPair() { EVP_PKEY_free(m_key); }

software::RsaPublicKey RsaKeyPair::Public() const {
  return {NumberOf(m_key, OSSL_PKEY_PARAM_RSA_N), NumberOf(m_key, OSSL_PKEY_PARAM_RSA_E)};
}

Bytes RsaKeyPair::Sign(const char* digest, const Bytes& message) const {
  const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
  Require(EVP_DigestSignInit(context.get(), nullptr, EVP_get_digestbyname(digest), nullptr, m_key) == 1);
  Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(m_key)));
  std::size_t length = signature.size();
  Require(EVP_DigestSign(context.get(), signature.data(), &length, message.data(), message.size()) == 1);
  return signature;
}

Bytes RsaKeyPair::SignWith(int padding, const Bytes& data) const {
  const Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(m_key, nullptr));
  Require(EVP_PKEY_sign_init(context.get()) == 1);
  Require(EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) == 1);
  Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(m_key)));
  std::size_t length = signature.size();
  Require(EVP_PKEY_sign(context.get(), signature.data(), &length, data.data(), data.size()) == 1);
  return signature;
}

Bytes RsaKeyPair::SignRaw(const Bytes& data) const { return SignWith(RSA_PKCS1_PADDING, data); }
Bytes RsaKeyPair::SignBare(const Bytes& block) const { return SignWith(RSA_NO_PADDING, block); }

Bytes RsaKeyPair::DecryptWith(int padding, const char* digest, const std::string& label, const Bytes& encrypted) const {
  const Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(m_key, nullptr));
  Require(EVP_PKEY_decrypt_init(context.get()) == 1);
  Require(EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) == 1);
  if (padding == RSA_PKCS1_OAEP_PADDING) {
    Require(EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_get_digestbyname(digest)) == 1);
    void* const copy = OPENSSL_memdup(label.data(), label.size());  // the context takes it over
    Require(EVP_PKEY_CTX_set0_rsa_oaep_label(context.get(), copy, static_cast<int>(label.size())) == 1);
  }
  Bytes plain(static_cast<std::size_t>(EVP_PKEY_get_size(m_key)));
  std::size_t length = plain.size();
  Require(EVP_PKEY_decrypt(context.get(), plain.data(), &length, encrypted.data(), encrypted.size()) == 1);
  plain.resize(length);
  return plain;
}

Bytes RsaKeyPair::Decrypt(const Bytes& encrypted) const {
  return DecryptWith(RSA_PKCS1_PADDING, nullptr, {}, encrypted);
}

Bytes RsaKeyPair::DecryptBare(const Bytes& encrypted) const {
  return DecryptWith(RSA_NO_PADDING, nullptr, {}, encrypted);
}

Bytes RsaKeyPair::DecryptOaep(const char* digest, const std::string& label, const Bytes& encrypted) const {
  return DecryptWith(RSA_PKCS1_OAEP_PADDING, digest, label, encrypted);
}

}  // namespace adapter::testing
