#include "adapter/Message.h"

#include <algorithm>
#include <array>

namespace adapter {
namespace {

// A DigestInfo up to the digest (RFC 8017, section 9.2).
struct Prefix {
  std::array<CK_BYTE, 19> bytes;
  std::size_t length;
};

struct MessageRow {
  CK_MECHANISM_TYPE mechanism, digest, bare;
  Prefix prefix;
};

constexpr Prefix kNone = {{}, 0};
constexpr Prefix kMd5 = {
    {0x30, 0x20, 0x30, 0x0c, 0x06, 0x08, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10}, 18};
constexpr Prefix kSha1 = {{0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14},
                          15};

// SHA-2: only the last byte of the name and two lengths differ.
constexpr Prefix Sha2(CK_BYTE name, CK_BYTE length) {
  return {{0x30, static_cast<CK_BYTE>(0x11 + length), 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04,
           0x02, name, 0x05, 0x00, 0x04, length},
          19};
}

constexpr MessageRow kMessageRows[] = {
    {CKM_MD5_RSA_PKCS, CKM_MD5, CKM_RSA_PKCS, kMd5},
    {CKM_SHA1_RSA_PKCS, CKM_SHA_1, CKM_RSA_PKCS, kSha1},
    {CKM_SHA224_RSA_PKCS, CKM_SHA224, CKM_RSA_PKCS, Sha2(4, 28)},
    {CKM_SHA256_RSA_PKCS, CKM_SHA256, CKM_RSA_PKCS, Sha2(1, 32)},
    {CKM_SHA384_RSA_PKCS, CKM_SHA384, CKM_RSA_PKCS, Sha2(2, 48)},
    {CKM_SHA512_RSA_PKCS, CKM_SHA512, CKM_RSA_PKCS, Sha2(3, 64)},
    {CKM_SHA1_RSA_PKCS_PSS, CKM_SHA_1, CKM_RSA_PKCS_PSS, kNone},
    {CKM_SHA224_RSA_PKCS_PSS, CKM_SHA224, CKM_RSA_PKCS_PSS, kNone},
    {CKM_SHA256_RSA_PKCS_PSS, CKM_SHA256, CKM_RSA_PKCS_PSS, kNone},
    {CKM_SHA384_RSA_PKCS_PSS, CKM_SHA384, CKM_RSA_PKCS_PSS, kNone},
    {CKM_SHA512_RSA_PKCS_PSS, CKM_SHA512, CKM_RSA_PKCS_PSS, kNone},
};

}  // namespace

Message::Message(CK_MECHANISM_TYPE mechanism) : m_bare(mechanism) {
  const MessageRow* const row =
      std::find_if(std::begin(kMessageRows), std::end(kMessageRows),
                   [&](const MessageRow& candidate) { return candidate.mechanism == mechanism; });
  if (row == std::end(kMessageRows)) return;
  m_bare = row->bare;
  m_bytes.assign(row->prefix.bytes.begin(), row->prefix.bytes.begin() + row->prefix.length);
  m_digest = std::make_unique<software::Digest>(row->digest);
}

void Message::Add(const CK_BYTE* data, std::size_t length) {
  if (m_digest) {
    m_digest->Update(data, length);
  } else if (length != 0) {
    m_bytes.insert(m_bytes.end(), data, data + length);
  }
}

pkcs11::Secret Message::Take() {
  if (m_digest) {
    const std::vector<CK_BYTE> digest = m_digest->Final();
    m_bytes.insert(m_bytes.end(), digest.begin(), digest.end());
  }
  return std::move(m_bytes);
}

}  // namespace adapter
