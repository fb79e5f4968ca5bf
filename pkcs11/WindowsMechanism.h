// Translates mechanisms from the Windows layout to the native one.
#pragma once

#include "pkcs11/WindowsTypes.h"

namespace pkcs11::windows {

// MechanismIn is the native form of a mechanism. Initialisation vectors and the source data of OAEP are not copied.
//
// A mechanism that is not offered, or whose parameter has the wrong size for Windows, becomes one without a parameter.
// The native side then refuses it, in the order of its checks.
class MechanismIn {
 public:
  explicit MechanismIn(const Mechanism* mechanism);
  MechanismIn(const MechanismIn&) = delete;
  MechanismIn& operator=(const MechanismIn&) = delete;

  // Null if there was no mechanism.
  CK_MECHANISM* Get() { return m_given ? &m_native : nullptr; }

 private:
  template <typename Parameters, typename NativeParameters>
  void Translate(const Mechanism& mechanism, NativeParameters& native);

  const bool m_given;
  CK_MECHANISM m_native = {};
  union {
    CK_RSA_PKCS_OAEP_PARAMS oaep;
    CK_RSA_PKCS_PSS_PARAMS pss;
    CK_ULONG macLength;
  } m_parameters = {};
};

}  // namespace pkcs11::windows
