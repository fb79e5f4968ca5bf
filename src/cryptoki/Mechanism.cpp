#include "cryptoki/Mechanism.h"

#include <cstring>

Mechanism::Mechanism(CK_MECHANISM_TYPE type) : m_type(type) {}

Mechanism::Mechanism(const CK_MECHANISM_INFO& info, CK_MECHANISM_TYPE type) : m_type(type), m_info(info) {}

Mechanism::Mechanism(const CK_MECHANISM& mechanism)
    : m_parameterLength(static_cast<DWORD>(mechanism.ulParameterLen)), m_type(mechanism.mechanism) {
  if (mechanism.pParameter == nullptr || m_parameterLength == 0) return;
  m_parameter.reset(new BYTE[m_parameterLength]);
  std::memcpy(m_parameter.get(), mechanism.pParameter, m_parameterLength);
}

Mechanism& Mechanism::operator=(const Mechanism& other) {
  if (this == &other) return *this;
  m_name = other.m_name;
  m_info = other.m_info;
  m_type = other.m_type;
  m_parameterLength = 0;
  if (other.m_parameter && other.m_parameterLength != 0) SetParameter(other.m_parameter, other.m_parameterLength);
  return *this;
}

void Mechanism::SetParameter(const boost::shared_array<BYTE>& parameter, DWORD length) {
  m_parameter = parameter;
  m_parameterLength = length;
}

CK_MECHANISM Mechanism::WithParameter() const { return CK_MECHANISM{m_type, m_parameter.get(), m_parameterLength}; }

CK_MECHANISM Mechanism::TypeOnly() const { return CK_MECHANISM{m_type, nullptr, 0}; }
