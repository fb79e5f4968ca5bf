#include "adapter/software/Digest.h"

#include "adapter/software/Gcrypt.h"
#include "pkcs11/Failure.h"

namespace adapter::software {

Digest::Digest(CK_MECHANISM_TYPE mechanism) {
  const Hash* const hash = FindHashOfDigest(mechanism);
  pkcs11::Require(hash != nullptr, CKR_MECHANISM_INVALID);
  StartGcrypt();
  gcry_md_hd_t handle = nullptr;
  Succeed(gcry_md_open(&handle, hash->algorithm, 0));
  m_handle.reset(handle);
  m_length = hash->length;
}

void Digest::Update(const CK_BYTE* data, std::size_t length) {
  if (length != 0) gcry_md_write(m_handle.get(), data, length);
}

std::vector<CK_BYTE> Digest::Final() {
  const CK_BYTE* const value = gcry_md_read(m_handle.get(), 0);
  pkcs11::Require(value != nullptr, CKR_FUNCTION_FAILED);
  return {value, value + m_length};
}

std::size_t Digest::Length(CK_MECHANISM_TYPE mechanism) {
  const Hash* const hash = FindHashOfDigest(mechanism);
  return hash == nullptr ? 0 : hash->length;
}

void Digest::Close::operator()(gcry_md_handle* handle) const { gcry_md_close(handle); }

}  // namespace adapter::software
