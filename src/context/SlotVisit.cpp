#include "context/SlotVisit.h"

#include <boost/make_shared.hpp>

#include "context/ContainerLookup.h"
#include "cryptoki/ModuleRestarts.h"
#include "log/Logs.h"

const VisitTexts kTextsOfNamedReader = {
    "Reader Name found",        "Retrieving Session",      "\nOpening Session",
    "\nRetrieving Objects",     "\nObjects Retrieved",     "\nRetrieving Certificates",

    "Retrieving Certificate",   "Retrieving Public Key",   "\nPublic Key Does not exist",
    "Retrieving Private Key",   "Propagate Certificate",

    "Retrieving Private Key 2", "Retrieving Public Key 2", "Retrieving Public Key 3",
};

const VisitTexts kTextsOfAnyReader = {
    nullptr,
    nullptr,
    "\nStarting Session",
    "\nRetrieving objects",
    nullptr,
    "\nGetting Certs",

    "\nGetting Default Certificate",
    "\nGetting Default Public Key",
    "\nGetting Default Public Key",
    "\nGetting Default Private Key",
    "\nGetting Default Private Key",

    "\nCert not found, searching for Private Key",
    "\nCert not found, searching for Public Key",
    "\nCert and Private Key not found, searching for Public Key",
};

namespace {

void Log(const char* line) {
  if (line != nullptr) g_contextLog.WriteLine(line);
}

}  // namespace

void SlotVisit::Open(Slot& slot) {
  Log(m_texts.readerFound);
  Log(m_texts.beforeSession);
  Log("\nRetrieving Token");
  m_context.m_token = slot.GetToken();
  Log(m_texts.openingSession);
  const auto session = boost::make_shared<Session>();
  *session = m_context.m_token.OpenSession(CKF_RW_SESSION | CKF_SERIAL_SESSION, nullptr, nullptr);
  m_context.m_session = session;
  m_context.m_moduleRestarts = ModuleRestarts();
  ForgetObjects();
  Log(m_texts.readingObjects);
  m_context.m_objects = m_context.m_session->FindAllObjects();
  Log(m_texts.objectsRead);
  Log(m_texts.readingCertificates);
  m_context.m_certificates = m_context.m_objects.GetCertificates(false);
}

// What was found in an earlier slot belongs to the session that was replaced: with this one its handles would name
// other objects.
void SlotVisit::ForgetObjects() {
  m_context.m_hasCertificate = 0;
  m_context.m_hasPrivateKey = 0;
  m_context.m_hasPublicKey = 0;
  m_context.m_certificate = Certificate();
  m_context.m_privateKey = PrivateKey();
  m_context.m_publicKey = PublicKey();
  m_context.m_objects = CryptokiObjects();
  m_context.m_certificates.clear();
}

SlotVisit::Found SlotVisit::FindContainer() {
  if (TakeCertificate() || TakePair()) return Found::kCertificateOrPair;
  return TakePublicKey(m_texts.publicKeyAlone) ? Found::kPublicKey : Found::kNothing;
}

bool SlotVisit::TakeCertificate() {
  try {
    Log(m_texts.certificate);
    m_context.m_certificate = GetCert(m_context.m_certificates, m_context.m_containerName);
    const Certificate& certificate = m_context.m_certificate;
    m_context.m_hasCertificate = 1;
    m_context.m_hasPublicKey = certificate.HasPublicKey() ? 1 : 0;
    Log(certificate.HasPublicKey() ? m_texts.publicKeyOfCertificate : m_texts.noPublicKeyOfCertificate);
    if (certificate.HasPublicKey()) m_context.m_publicKey = certificate.GetPublicKey();
    m_context.m_hasPrivateKey = certificate.HasPrivateKey() ? 1 : 0;
    Log(certificate.HasPrivateKey() ? m_texts.privateKeyOfCertificate : m_texts.noPrivateKeyOfCertificate);
    if (certificate.HasPrivateKey()) {
      m_context.m_privateKey = certificate.GetPrivateKey();
    } else {
      m_context.PropagateCertificate();
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool SlotVisit::TakePair() {
  try {
    Log(m_texts.privateKey);
    m_context.m_privateKey = GetPrivateKey(m_context.m_objects, m_context.m_containerName);
    m_context.m_hasPrivateKey = 1;
  } catch (...) {
    return false;
  }
  return TakePublicKey(m_texts.publicKey);
}

bool SlotVisit::TakePublicKey(const char* logLine) {
  try {
    Log(logLine);
    m_context.m_publicKey = GetPublicKey(m_context.m_objects, m_context.m_containerName);
    m_context.m_hasPublicKey = 1;
    return true;
  } catch (...) {
    return false;
  }
}
