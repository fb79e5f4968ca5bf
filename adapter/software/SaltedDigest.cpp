#include "adapter/software/SaltedDigest.h"

#include <algorithm>

#include "adapter/software/Digest.h"
#include "adapter/software/Random.h"
#include "pkcs11/Secret.h"

namespace adapter::software {
namespace {

using Salt = std::array<CK_BYTE, 32>;

Salt MakeSalt() {
  Salt salt;
  Fill(salt.data(), salt.size());
  return salt;
}

}  // namespace

SaltedDigest::SaltedDigest(const CK_BYTE* pin, std::size_t length) : m_digest() {
  static const Salt salt = MakeSalt();
  Digest digest(CKM_SHA256);
  digest.Update(salt.data(), salt.size());
  digest.Update(pin, length);
  std::vector<CK_BYTE> value = digest.Final();
  std::copy(value.begin(), value.end(), m_digest.begin());
  pkcs11::Wipe(value.data(), value.size());
}

SaltedDigest::~SaltedDigest() { pkcs11::Wipe(m_digest.data(), m_digest.size()); }

bool SaltedDigest::Matches(const CK_BYTE* pin, std::size_t length) const { return *this == SaltedDigest(pin, length); }

bool SaltedDigest::operator==(const SaltedDigest& other) const {
  unsigned difference = 0;
  for (std::size_t i = 0; i < m_digest.size(); ++i)
    difference |= unsigned{m_digest[i]} ^ unsigned { other.m_digest[i] };
  return difference == 0;
}

}  // namespace adapter::software
