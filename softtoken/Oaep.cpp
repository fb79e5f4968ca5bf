#include "Oaep.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include "SharedNames.h"

namespace softtoken {
namespace {

struct Hash {
  CK_MECHANISM_TYPE mechanism;
  CK_RSA_PKCS_MGF_TYPE mask;
  const EVP_MD* (*digest)();
};

constexpr Hash kHashes[] = {
    {CKM_SHA_1, CKG_MGF1_SHA1, EVP_sha1},      {CKM_SHA224, CKG_MGF1_SHA224, EVP_sha224},
    {CKM_SHA256, CKG_MGF1_SHA256, EVP_sha256}, {CKM_SHA384, CKG_MGF1_SHA384, EVP_sha384},
    {CKM_SHA512, CKG_MGF1_SHA512, EVP_sha512},
};

template <typename Matches>
const EVP_MD* Find(Matches matches) {
  for (const Hash& hash : kHashes) {
    if (matches(hash)) return hash.digest();
  }
  throw Failure{CKR_MECHANISM_PARAM_INVALID};
}

}  // namespace

OaepPadding::OaepPadding(const CK_RSA_PKCS_OAEP_PARAMS& parameters, std::size_t modulusSize)
    : m_modulusSize(modulusSize),
      m_hash(Find([&](const Hash& hash) { return hash.mechanism == parameters.hashAlg; })),
      m_mask(Find([&](const Hash& hash) { return hash.mask == parameters.mgf; })) {
  const auto* const label = static_cast<const unsigned char*>(parameters.pSourceData);
  if (parameters.ulSourceDataLen == 0) return;
  Require(parameters.source == CKZ_DATA_SPECIFIED && label != nullptr, CKR_MECHANISM_PARAM_INVALID);
  m_label.assign(label, label + parameters.ulSourceDataLen);
}

std::size_t OaepPadding::MaxMessage() const {
  const std::size_t overhead = 2 * static_cast<std::size_t>(EVP_MD_get_size(m_hash)) + 2;
  return m_modulusSize > overhead ? m_modulusSize - overhead : 0;
}

// OpenSSL 3 deprecates the padding functions in favour of whole operations; but those need the private key.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

Secret OaepPadding::Pad(const unsigned char* message, std::size_t length) const {
  Require(length <= MaxMessage(), CKR_DATA_LEN_RANGE);
  Secret block(m_modulusSize);
  const int done =
      RSA_padding_add_PKCS1_OAEP_mgf1(block.data(), static_cast<int>(block.size()), message, static_cast<int>(length),
                                      m_label.data(), static_cast<int>(m_label.size()), m_hash, m_mask);
  Require(done == 1, CKR_DATA_LEN_RANGE);
  return block;
}

std::optional<Secret> OaepPadding::Unpad(const Secret& block) const {
  Secret message(m_modulusSize);
  const int size = static_cast<int>(m_modulusSize);
  const int length =
      RSA_padding_check_PKCS1_OAEP_mgf1(message.data(), size, block.data(), static_cast<int>(block.size()), size,
                                        m_label.data(), static_cast<int>(m_label.size()), m_hash, m_mask);
  if (length < 0) return std::nullopt;
  message.resize(static_cast<std::size_t>(length));
  return message;
}

#pragma GCC diagnostic pop

}  // namespace softtoken
