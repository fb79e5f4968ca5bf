// The input of a signature: taken as it is, or digested.
#pragma once

#include <memory>

#include "adapter/software/Digest.h"
#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter {

// Message turns the input of a signature mechanism into that of a bare one, which every token that can sign has:
// CKM_SHA1_RSA_PKCS becomes CKM_RSA_PKCS over a DigestInfo, CKM_SHA1_RSA_PKCS_PSS becomes CKM_RSA_PKCS_PSS over a
// digest.
class Message {
 public:
  explicit Message(CK_MECHANISM_TYPE mechanism);

  CK_MECHANISM_TYPE Bare() const { return m_bare; }
  void Add(const CK_BYTE* data, std::size_t length);
  // Take returns the input of the bare mechanism. Nothing may follow.
  pkcs11::Secret Take();

 private:
  CK_MECHANISM_TYPE m_bare;
  pkcs11::Secret m_bytes;  // all of the input, or the bytes before the digest
  std::unique_ptr<software::Digest> m_digest;
};

}  // namespace adapter
