// Certificates that the rows make.
#pragma once

#include "common/Platform.h"

#include "Row.h"

// Owns a certificate or nothing.
class Certificate {
 public:
  explicit Certificate(const CERT_CONTEXT* certificate) : m_certificate(certificate) {}
  ~Certificate() {
    if (m_certificate != nullptr) CertFreeCertificateContext(m_certificate);
  }
  Certificate(const Certificate&) = delete;
  Certificate& operator=(const Certificate&) = delete;
  operator const CERT_CONTEXT*() const { return m_certificate; }  // NOLINT: a row reads like the call
  const CERT_CONTEXT* operator->() const { return m_certificate; }

 private:
  const CERT_CONTEXT* m_certificate;
};

// A certificate for the AT_KEYEXCHANGE pair, signed by the pair with the algorithm of this identifier. It names the
// prepared container, in which the platform finds the pair. Null when the platform fails.
const CERT_CONTEXT* SelfSigned(const Side& side, HCRYPTPROV context, const char* algorithm);
// The same with SHA-256. Throws StepFailed when the platform fails.
const CERT_CONTEXT* NewCertificate(const Side& side, HCRYPTPROV context);
