#include "context/unreached/CertificateHelpers.h"

#include <cstring>
#include <vector>

#include "log/Logs.h"

namespace {

constexpr char kBasicConstraints[] = "2.5.29.19";

bool FailWith(const char* line) {
  g_certificateLog.WriteLine(line);
  return false;
}

}  // namespace

bool IsSelfSigned(PCCERT_CONTEXT certificate) {
  g_certificateLog.WriteLine("Checking Context");
  if (certificate == nullptr) return false;
  g_certificateLog.WriteLine("Compare Issuer and Subject");
  const auto info = certificate->pCertInfo;
  if (CertCompareCertificateName(X509_ASN_ENCODING, &info->Issuer, &info->Subject) == FALSE) {
    return FailWith("Issuer and Subject not matched");
  }
  g_certificateLog.WriteLine("Verify Subject Certificate Context");
  DWORD flags = CERT_STORE_SIGNATURE_FLAG;
  // The flag stays set when the signature is false.
  return CertVerifySubjectCertificateContext(certificate, certificate, &flags) != FALSE && flags == 0;
}

bool IsCACertificate(PCCERT_CONTEXT certificate) {
  g_certificateLog.WriteLine("Checking Context");
  if (certificate == nullptr) return false;
  g_certificateLog.WriteLine("Checking if Cert Info is NULL");
  const auto info = certificate->pCertInfo;
  if (info == nullptr) return FailWith("Cert Info is NULL");
  g_certificateLog.WriteLine("Finding Certificate Extension");
  const auto extension = CertFindExtension(kBasicConstraints, info->cExtension, info->rgExtension);
  g_certificateLog.WriteLine("Checking Cert Extension");
  if (extension == nullptr) return FailWith("Cert Extension Failed");
  const auto decode = [extension](void* out, DWORD* length) {
    return CryptDecodeObject(X509_ASN_ENCODING, X509_BASIC_CONSTRAINTS2, extension->Value.pbData,
                             extension->Value.cbData, 0, out, length) != FALSE;
  };
  g_certificateLog.WriteLine("Decoding Object Len");
  DWORD length = 0;
  if (!decode(nullptr, &length)) return FailWith("Decoding Object Len Failed");
  g_certificateLog.WriteLine("Decoding Object");
  std::vector<BYTE> constraints(length + sizeof(CERT_BASIC_CONSTRAINTS2_INFO));
  if (!decode(constraints.data(), &length)) return FailWith("Decoding Object Failed");
  DWORD isCA = 0;  // the first field
  std::memcpy(&isCA, constraints.data(), sizeof(isCA));
  return isCA != 0;
}
