// Mechanism: the value form of a CK_MECHANISM, with its parameter, and of what a token says of a mechanism.
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
  // Copies the bytes of a parameter that has both address and length.
  explicit Mechanism(const CK_MECHANISM& mechanism);
  // A copy shares the parameter.
  Mechanism(const Mechanism&) = default;
  // The parameter is taken over only when `other` has one. Otherwise the old bytes stay, under the length 0.
  Mechanism& operator=(const Mechanism& other);
  ~Mechanism() = default;

  CK_MECHANISM_TYPE GetType() const { return m_type; }
  void SetType(CK_MECHANISM_TYPE type) { m_type = type; }
  const CK_MECHANISM_INFO& GetInfo() const { return m_info; }
  // Always empty: names come from MechanismName.
  const std::string& GetName() const { return m_name; }
  // The parameter's bytes, shared; null when there never was one. 0 bytes are no parameter.
  const boost::shared_array<BYTE>& GetParameter() const { return m_parameter; }
  DWORD GetParameterLength() const { return m_parameterLength; }
  // Shares `parameter`.
  void SetParameter(const boost::shared_array<BYTE>& parameter, DWORD length);

  // The form that the module gets. The parameter stays owned by this object.
  CK_MECHANISM WithParameter() const;
  CK_MECHANISM TypeOnly() const;

 private:
  boost::shared_array<BYTE> m_parameter;
  DWORD m_parameterLength = 0;
  CK_MECHANISM_TYPE m_type = 0;
  std::string m_name;
  CK_MECHANISM_INFO m_info = {};
};
