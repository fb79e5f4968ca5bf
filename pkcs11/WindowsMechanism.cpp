#include "pkcs11/WindowsMechanism.h"

#include <cstring>

#include "pkcs11/Mechanisms.h"

namespace pkcs11::windows {
namespace {

CK_RSA_PKCS_OAEP_PARAMS NativeOf(const OaepParameters& parameters) {
  return {parameters.hashAlg, parameters.mgf, parameters.source, parameters.pSourceData, parameters.ulSourceDataLen};
}

CK_RSA_PKCS_PSS_PARAMS NativeOf(const PssParameters& parameters) {
  return {parameters.hashAlg, parameters.mgf, parameters.sLen};
}

CK_ULONG NativeOf(Number length) { return length; }

}  // namespace

template <typename Parameters, typename NativeParameters>
void MechanismIn::Translate(const Mechanism& mechanism, NativeParameters& native) {
  if (mechanism.pParameter == nullptr || mechanism.ulParameterLen != sizeof(Parameters)) return;
  Parameters parameters = {};
  std::memcpy(&parameters, mechanism.pParameter, sizeof parameters);  // the caller's may be unaligned
  native = NativeOf(parameters);
  m_native.pParameter = &native;
  m_native.ulParameterLen = sizeof native;
}

MechanismIn::MechanismIn(const Mechanism* mechanism) : m_given(mechanism != nullptr) {
  if (!m_given) return;
  m_native = {mechanism->mechanism, nullptr, 0};
  const std::optional<Parameter> parameter = FindParameter(m_native.mechanism);
  if (!parameter) return;
  switch (*parameter) {
    case Parameter::Oaep:
      Translate<OaepParameters>(*mechanism, m_parameters.oaep);
      break;
    case Parameter::Pss:
      Translate<PssParameters>(*mechanism, m_parameters.pss);
      break;
    case Parameter::MacLength:
      Translate<Number>(*mechanism, m_parameters.macLength);
      break;
    case Parameter::None:
    case Parameter::Iv8:
    case Parameter::Iv16:
      // Bytes. The native side checks how many.
      m_native.pParameter = mechanism->pParameter;
      m_native.ulParameterLen = mechanism->ulParameterLen;
      break;
  }
}

}  // namespace pkcs11::windows
