// A mechanism with its parameter, kept until the operation needs it.
#pragma once

#include <cstring>

#include "cryptoki/Pkcs11.h"
#include "pkcs11/Secret.h"

namespace adapter {

// MechanismCopy copies a mechanism whose parameter was checked by pkcs11::CheckMechanism.
class MechanismCopy {
 public:
  explicit MechanismCopy(const CK_MECHANISM& mechanism) : m_type(mechanism.mechanism) {
    const auto* const bytes = static_cast<const unsigned char*>(mechanism.pParameter);
    if (mechanism.ulParameterLen != 0) m_parameter.assign(bytes, bytes + mechanism.ulParameterLen);
    if (m_type == CKM_RSA_PKCS_OAEP) CopyLabel();
  }
  MechanismCopy(const MechanismCopy&) = delete;
  MechanismCopy& operator=(const MechanismCopy&) = delete;

  // The copy as the mechanism `type`, with the same parameter.
  CK_MECHANISM As(CK_MECHANISM_TYPE type) {
    return {type, m_parameter.empty() ? nullptr : m_parameter.data(), static_cast<CK_ULONG>(m_parameter.size())};
  }
  CK_MECHANISM Get() { return As(m_type); }
  CK_MECHANISM_TYPE Type() const { return m_type; }

 private:
  void CopyLabel() {
    CK_RSA_PKCS_OAEP_PARAMS oaep = {};
    std::memcpy(&oaep, m_parameter.data(), sizeof oaep);
    const auto* const bytes = static_cast<const unsigned char*>(oaep.pSourceData);
    if (bytes != nullptr) m_label.assign(bytes, bytes + oaep.ulSourceDataLen);
    oaep.pSourceData = m_label.empty() ? nullptr : m_label.data();
    oaep.ulSourceDataLen = static_cast<CK_ULONG>(m_label.size());
    std::memcpy(m_parameter.data(), &oaep, sizeof oaep);
  }

  CK_MECHANISM_TYPE m_type;
  pkcs11::Secret m_parameter, m_label;
};

}  // namespace adapter
