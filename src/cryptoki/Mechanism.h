// Mechanism: a CK_MECHANISM that owns its parameter, and a token's information about that mechanism.
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>
#include <string>

#include "cryptoki/Pkcs11.h"

class Mechanism {
 public:
  Mechanism() = default;
  explicit Mechanism(CK_MECHANISM_TYPE type);
  Mechanism(const CK_MECHANISM_INFO& info, CK_MECHANISM_TYPE type);
  // Copies the bytes of the parameter, when it has both an address and a length.
  explicit Mechanism(const CK_MECHANISM& mechanism);
  // A copy shares the parameter.
  Mechanism(const Mechanism&) = default;
  // Shares the parameter of `other`. When it has none, the old bytes stay, with the length 0.
  Mechanism& operator=(const Mechanism& other);
  ~Mechanism() = default;

  CK_MECHANISM_TYPE GetType() const { return m_type; }
  void SetType(CK_MECHANISM_TYPE type) { m_type = type; }
  const CK_MECHANISM_INFO& GetInfo() const { return m_info; }
  // Always empty: names come from MechanismName.
  const std::string& GetName() const { return m_name; }
  // The parameter's bytes, shared; null when there never was a parameter. A length of 0 means no parameter.
  const boost::shared_array<BYTE>& GetParameter() const { return m_parameter; }
  DWORD GetParameterLength() const { return m_parameterLength; }
  // Shares `parameter`.
  void SetParameter(const boost::shared_array<BYTE>& parameter, DWORD length);

  // What the module gets. This object still owns the parameter.
  CK_MECHANISM WithParameter() const;
  CK_MECHANISM TypeOnly() const;

 private:
  boost::shared_array<BYTE> m_parameter;
  DWORD m_parameterLength = 0;
  CK_MECHANISM_TYPE m_type = 0;
  std::string m_name;
  CK_MECHANISM_INFO m_info = {};
};
