// Certificates that the rows make.
#pragma once

#include "common/Platform.h"

#include "Row.h"

// A certificate, which is freed at the end; it may be none.
class Certificate {
 public:
  explicit Certificate(const CERT_CONTEXT* certificate) : m_certificate(certificate) {}
  ~Certificate() {
    if (m_certificate != nullptr) CertFreeCertificateContext(m_certificate);
  }
  Certificate(const Certificate&) = delete;
  Certificate& operator=(const Certificate&) = delete;
  operator const CERT_CONTEXT*() const { return m_certificate; }  // NOLINT: a row reads as the call does
  const CERT_CONTEXT* operator->() const { return m_certificate; }

 private:
  const CERT_CONTEXT* m_certificate;
};

// For the pair of AT_KEYEXCHANGE, signed by it under the identifier of an algorithm. The platform finds the pair again
// in the prepared container. Null when the platform fails.
const CERT_CONTEXT* SelfSigned(const Side& side, HCRYPTPROV context, const char* algorithm);
// The same, by SHA-256. Throws StepFailed instead.
const CERT_CONTEXT* NewCertificate(const Side& side, HCRYPTPROV context);
