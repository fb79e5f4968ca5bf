// Containers and certificates.
#include <algorithm>

#include "Flow.h"

namespace {

constexpr char kNewContainer[] = "matrix";
constexpr DWORD k2048Bits = 2048U << 16U;

std::vector<std::string> Containers() {
  const Context context(InReader(""), CRYPT_SILENT);
  std::vector<std::string> names;
  std::string name = context.GetText(PP_ENUMCONTAINERS, CRYPT_FIRST);
  while (!name.empty()) {
    names.push_back(name);
    name = context.GetText(PP_ENUMCONTAINERS, CRYPT_NEXT);
  }
  return names;
}

bool IsListed(const std::string& container) {
  const std::vector<std::string> names = Containers();
  return std::find(names.begin(), names.end(), container) != names.end();
}

bool HasKey(const std::string& container) {
  try {
    const Context context(InReader(container), CRYPT_SILENT);
    context.UserKey();
    return true;
  } catch (const ApiError& error) {
    if (error.code == static_cast<DWORD>(NTE_NO_KEY)) return false;
    throw;
  }
}

}  // namespace

void AcquireByName() {
  const Context context(Container(), CRYPT_SILENT);
  context.UserKey();
  Require(context.GetText(PP_CONTAINER) == Container(), "another container is open");
}

void AcquireByDefault() {
  const Context context(nullptr, CRYPT_SILENT);
  context.UserKey();
}

void AcquireByReader() {
  const Context context(InReader(Container()), CRYPT_SILENT);
  context.UserKey();
  Require(context.GetText(PP_SMARTCARD_READER) == Environment("TOKEN_READER"), "another reader is open");
}

void ListContainers() { Require(IsListed(Container()), "the container is not in the list"); }

void CopyCertificates() {
  const Context context(InReader(""), CRYPT_SILENT);
  const HCERTSTORE store = context.OpenUserStore();
  Require(store != nullptr, "the store MY is not open");
  const Bytes expected = ReadExchange("cert.der");
  bool found = false;
  const CERT_CONTEXT* certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
    const Bytes der(certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded);
    DWORD length = 0;
    found = found || (der == expected && CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID,
                                                                           nullptr, &length) != FALSE);
  }
  CertCloseStore(store, 0);
  Require(found, "the certificate is not in MY, or without its container");
}

// The script makes a certificate for this pair.
void MakePair() {
  const Context context(InReader(kNewContainer), CRYPT_NEWKEYSET);
  context.SetPin(Pin());
  const HCRYPTKEY key = context.Generate(AT_KEYEXCHANGE, k2048Bits);
  WriteExchange("new.blob", context.Export(key, 0, PUBLICKEYBLOB));
  WriteExchange("signature", Reversed(context.Sign(CALG_SHA_256, ReadExchange("message"))));
}

void WriteCertificate() {
  if (!HasKey(kNewContainer)) throw Cannot("there is no new pair for the certificate");
  {
    const OpenContainer context(kNewContainer);
    const Bytes certificate = ReadExchange("new.der");
    const HCRYPTKEY key = context.UserKey();
    context.SetKey(key, KP_CERTIFICATE, certificate.data());
    Require(context.Certificate(key) == certificate, "another certificate is read");
  }
  Require(IsListed(kNewContainer), "the container is not in the list");
}

// Deleting asks for no PIN, because another context has given it.
void DeleteThePair() {
  if (!HasKey(kNewContainer)) throw Cannot("there is no new pair to delete");
  const OpenContainer loggedIn(kNewContainer);
  DeleteContainer(InReader(kNewContainer));
  Require(!HasKey(kNewContainer), "the key is still there");
  Require(!IsListed(kNewContainer), "the certificate is still there");
  Require(HasKey(Container()), "the other container is gone, too");
}
