#include "context/CertificateAttributes.h"

#include <algorithm>
#include <array>
#include <vector>

#include "common/ReverseBytes.h"
#include "log/Logs.h"

Attribute MakeAttribute(CK_ATTRIBUTE_TYPE type, const void* value, std::size_t length) {
  Attribute attribute;
  attribute.SetType(type);
  attribute.SetValue(static_cast<const BYTE*>(value), static_cast<CK_ULONG>(length));
  return attribute;
}

Attribute IssuerOf(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  g_contextLog.WriteLine("Issuer: ");
  const auto& issuer = certificate->pCertInfo->Issuer;
  return MakeAttribute(CKA_ISSUER, issuer.pbData, issuer.cbData);
}

Attribute SerialNumberOf(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  const auto& number = certificate->pCertInfo->SerialNumber;  // little-endian
  std::vector<BYTE> bigEndian(number.pbData, number.pbData + number.cbData);
  ReverseBytes(bigEndian.data(), number.cbData);
  return MakeAttribute(CKA_SERIAL_NUMBER, bigEndian.data(), bigEndian.size());
}

Attribute SubjectOf(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  const auto& subject = certificate->pCertInfo->Subject;
  return MakeAttribute(CKA_SUBJECT, subject.pbData, subject.cbData);
}

Attribute LabelOf(PCCERT_CONTEXT certificate) {
  if (certificate == nullptr) return Attribute();
  std::array<char, 256> name = {};
  const DWORD size = CertGetNameStringA(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(),
                                        static_cast<DWORD>(name.size()));
  if (size == 0) return MakeAttribute(CKA_LABEL, "TELVO", 5);
  return MakeAttribute(CKA_LABEL, name.data(), std::min<std::size_t>(size, name.size()) - 1);
}
