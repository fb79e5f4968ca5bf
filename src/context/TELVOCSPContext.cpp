#include "context/TELVOCSPContext.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "common/CCSPContextError.h"
#include "context/CertificateAttributes.h"
#include "context/CertificateWriter.h"
#include "context/ContextLogin.h"
#include "context/KeyDerivation.h"
#include "context/KeyExport.h"
#include "context/KeyGeneration.h"
#include "context/KeyImport.h"
#include "context/SlotWalk.h"
#include "context/StorePropagation.h"
#include "cryptoki/LoginLock.h"
#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"

namespace {

// Uses a plain copy: the certificate's own record of its key stays as it is.
void DestroyOnToken(const CryptokiObject& object) {
  CryptokiObject copy(object);
  copy.Destroy();
}

}  // namespace

TELVOCSPContext::TELVOCSPContext(HINSTANCE resourceHandle) : CCSPContext(resourceHandle), m_token(0) {}

TELVOCSPContext::TELVOCSPContext(const char* name, DWORD flags, boost::shared_ptr<Cryptoki> cryptoki)
    : CCSPContext(name, flags), m_cryptoki(std::move(cryptoki)), m_token(0) {}

TELVOCSPContext::TELVOCSPContext(const TELVOCSPContext& other)
    : CCSPContext(other),
      m_noCardPrompt(other.m_noCardPrompt),
      m_cryptoki(other.m_cryptoki),
      m_objects(other.m_objects),
      m_certificate(other.m_certificate),
      m_publicKey(other.m_publicKey),
      m_privateKey(other.m_privateKey),
      m_session(other.m_session),
      m_tokenInfo(other.m_tokenInfo),
      m_token(other.m_token),
      m_slots(other.m_slots),
      m_hasCertificate(other.m_hasCertificate),
      m_hasPrivateKey(other.m_hasPrivateKey),
      m_hasPublicKey(other.m_hasPublicKey),
      m_exchangeKeyHandle(other.m_exchangeKeyHandle),
      m_signatureKeyHandle(other.m_signatureKeyHandle),
      m_moduleRestarts(other.m_moduleRestarts) {}

TELVOCSPContext::~TELVOCSPContext() = default;

boost::shared_ptr<CCSPContext> TELVOCSPContext::Copy() const { return boost::make_shared<TELVOCSPContext>(*this); }

bool TELVOCSPContext::IsOnlyOwnerOfSession() const { return m_session.use_count() == 1; }

Session* TELVOCSPContext::GetSession() const { return m_session.get(); }

Session& TELVOCSPContext::OpenedSession() const {
  if (!m_session) throw CCSPContextError("The context has no session", NTE_FAIL);
  return *m_session;
}

void TELVOCSPContext::SetContainer(const char* name, DWORD flags) { TakeName(name, flags); }

void TELVOCSPContext::Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki,
                                 DWORD /*useCount*/) {
  SlotWalk(*this).Initialize(containerName, flags, cryptoki);
}

void TELVOCSPContext::Login() { ContextLogin(*this).Login(); }

void TELVOCSPContext::LoginWithPIN(const BYTE* pin, DWORD length) { ContextLogin(*this).LoginWithPIN(pin, length); }

bool TELVOCSPContext::IsLoggedIn() { return OpenedSession().IsLoggedIn(); }

void TELVOCSPContext::Logout() {
  const LoginLock lock;
  try {
    if (IsLoggedIn()) OpenedSession().Logout();
  } catch (...) {
    // For the caller, a token that cannot be logged out counts as logged out.
  }
}

void TELVOCSPContext::CloseSession() {
  if (!m_session) return;
  try {
    const LoginLock lock;  // the session's own objects go with it
    m_session->Close();
  } catch (...) {
    g_contextLog.WriteLine("Exception happened while closing session");
  }
}

void TELVOCSPContext::RemoveSecretKey(DWORD handle) {
  const LoginLock lock;
  const auto found = std::find_if(m_secretKeys.begin(), m_secretKeys.end(),
                                  [handle](const auto& key) { return key->GetKeyID() == handle; });
  if (found != m_secretKeys.end()) (*found)->DestroyObject();
  CCSPContext::RemoveSecretKey(handle);
}

void TELVOCSPContext::RemoveSecretKey(const CCSPSecretKey* key) { CCSPContext::RemoveSecretKey(key); }

void TELVOCSPContext::Reserved() {}

Attribute TELVOCSPContext::GetCertIssuer(PCCERT_CONTEXT certificate) { return IssuerOf(certificate); }
Attribute TELVOCSPContext::GetCertSerialNumber(PCCERT_CONTEXT certificate) { return SerialNumberOf(certificate); }
Attribute TELVOCSPContext::GetCertSubject(PCCERT_CONTEXT certificate) { return SubjectOf(certificate); }
Attribute TELVOCSPContext::GetCertLabel(PCCERT_CONTEXT certificate) { return LabelOf(certificate); }

void TELVOCSPContext::WriteCertificate(const BYTE* der, DWORD length) { CertificateWriter(*this).Write(der, length); }

void TELVOCSPContext::GenerateRandom(BYTE* buffer, DWORD length) {
  if (buffer == nullptr || length == 0) return;
  OpenedSession().GenerateRandom(buffer, length);
}

void TELVOCSPContext::GenerateKeyPair(DWORD algorithm, DWORD flags, DWORD* handle, CCSPSecretKeyFactory* factory) {
  *handle = KeyGeneration(*this).Generate(algorithm, flags, factory);
}

void TELVOCSPContext::ImportKey(const BYTE* blob, DWORD length, DWORD* handle, CCSPSecretKeyFactory* factory,
                                DWORD flags) {
  KeyImport(*this).Import(blob, length, handle, factory, flags);
}

PublicKey* TELVOCSPContext::GetImportedPublicKey(DWORD handle) {
  PublicKey* const key = m_importedKeys.GetKey(handle);
  if (key == nullptr) {
    throw CCSPContextError("Key was not found in Imported Public Key List", NTE_NO_KEY);
  }
  return key;
}

boost::shared_ptr<CCSPSecretKey> TELVOCSPContext::DeriveKey(const boost::shared_ptr<CCSPHash>& hash, DWORD algorithm,
                                                            DWORD length, CCSPSecretKeyFactory* factory) {
  return DeriveSecretKey(*this, *hash, algorithm, length, factory);
}

void TELVOCSPContext::ExportSessionKey(DWORD key, DWORD exchangeKey, BYTE* blob, DWORD* length) {
  KeyExport(*this).ExportSessionKey(key, exchangeKey, blob, length);
}

void TELVOCSPContext::ExportPublicKey(DWORD key, BYTE* blob, DWORD* length) {
  KeyExport(*this).ExportPublicKey(key, blob, length);
}

TokenInfo TELVOCSPContext::GetTokenInfo() {
  m_tokenInfo = m_token.GetTokenInfo();
  return m_tokenInfo;
}

void TELVOCSPContext::DeleteContainer() {
  if ((m_flags & CRYPT_DELETEKEYSET) == 0 || m_containerName.empty()) return;
  const LoginLock lock;
  if (m_hasCertificate != 0) {
    if (m_certificate.HasPublicKey()) DestroyOnToken(m_certificate.GetPublicKey());
    if (m_certificate.HasPrivateKey()) DestroyOnToken(m_certificate.GetPrivateKey());
    m_certificate.Destroy();
    return;
  }
  // Required: the flags change only without a certificate, and before the object is destroyed.
  if (std::exchange(m_hasPrivateKey, 0) != 0) m_privateKey.Destroy();
  if (std::exchange(m_hasPublicKey, 0) != 0) m_publicKey.Destroy();
}

DWORD TELVOCSPContext::PropagateCertificate() { return StorePropagation(*this).Propagate(); }

// Required: the kind of store is ignored. Every certificate goes to the store that is given, even if it is a root
// store.
DWORD TELVOCSPContext::AddCertificatesToStore(HCERTSTORE store, DWORD /*rootStore*/, DWORD defaultOnly) {
  return StorePropagation(*this).AddAll(store, defaultOnly);
}

DWORD TELVOCSPContext::AddCertificateToStore(const Certificate& certificate, HCERTSTORE store, const BYTE* der,
                                             DWORD length, const std::string& containerName) {
  return StorePropagation(*this).Add(certificate, store, der, length, containerName);
}

DWORD TELVOCSPContext::HasCertificate() const { return m_hasCertificate; }
DWORD TELVOCSPContext::HasPublicKey() const { return m_hasPublicKey; }
DWORD TELVOCSPContext::HasPrivateKey() const { return m_hasPrivateKey; }

// The handles are labels, not secrets. The seed comes from the context's own handle.
//
// Required: a handle that comes out as 0 stays 0 until the next call. With the 32,768 numbers of Windows' generator
// that happens now and then, and CPVerifySignature refuses a key of 0.
// NOLINTBEGIN(cert-msc30-c,cert-msc50-cpp,cert-msc51-cpp,cert-msc32-c)
void TELVOCSPContext::AssignKeyHandles() {
  constexpr DWORD kModulus = 0xFFFFFFFF;
  const auto random = [] { return static_cast<DWORD>(std::rand()); };
  std::srand(m_handle > 0 ? random() % m_handle : static_cast<DWORD>(std::time(nullptr)));
  if (m_exchangeKeyHandle == 0) m_exchangeKeyHandle = random() % kModulus;
  if (m_signatureKeyHandle == 0) m_signatureKeyHandle = random() % kModulus;
}
// NOLINTEND(cert-msc30-c,cert-msc50-cpp,cert-msc51-cpp,cert-msc32-c)

DWORD TELVOCSPContext::GetSignatureKeyHandle() const { return m_signatureKeyHandle; }
DWORD TELVOCSPContext::GetExchangeKeyHandle() const { return m_exchangeKeyHandle; }

Certificate* TELVOCSPContext::GetDefaultCertificate() {
  if (m_hasCertificate == 0) {
    throw CCSPContextError("Default Certificate not found", NTE_NOT_FOUND);
  }
  return &m_certificate;
}

DWORD TELVOCSPContext::GetKeyBits() {
  if (m_hasPrivateKey != 0) return static_cast<DWORD>(m_privateKey.GetModulusBits());
  if (m_hasPublicKey != 0) return static_cast<DWORD>(m_publicKey.GetModulusBits());
  throw CCSPContextError("Key Pair does not exist", NTE_NO_KEY);
}
