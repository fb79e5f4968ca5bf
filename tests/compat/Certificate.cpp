#include "Certificate.h"

namespace {

Bytes Subject() {
  BYTE name[64];
  DWORD length = sizeof name;
  Step(CertStrToNameA(X509_ASN_ENCODING, "CN=Row", CERT_X500_NAME_STR, nullptr, name, &length, nullptr),
       "CertStrToName");
  return Bytes(name, name + length);
}

}  // namespace

const CERT_CONTEXT* SelfSigned(const Side& side, HCRYPTPROV context, const char* algorithm) {
  Bytes subject = Subject();
  CERT_NAME_BLOB name = {Length(subject), subject.data()};
  const std::string provider = side.Provider();
  std::wstring wideProvider(provider.begin(), provider.end());
  const std::string container = side.Container("prepared");
  std::wstring wideContainer(container.begin(), container.end());
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = wideContainer.data();
  info.pwszProvName = wideProvider.data();
  info.dwProvType = side.Type();
  info.dwKeySpec = AT_KEYEXCHANGE;
  std::string oid = algorithm;
  CRYPT_ALGORITHM_IDENTIFIER identifier = {};
  identifier.pszObjId = oid.data();
  return CertCreateSelfSignCertificate(context, &name, 0, &info, &identifier, nullptr, nullptr, nullptr);
}

const CERT_CONTEXT* NewCertificate(const Side& side, HCRYPTPROV context) {
  const CERT_CONTEXT* const certificate = SelfSigned(side, context, szOID_RSA_SHA256RSA);
  Step(certificate != nullptr, "CertCreateSelfSignCertificate");
  return certificate;
}
