// StorePropagation: copies of the token's certificates in the platform's certificate stores, through which the platform
// finds the private key of a certificate that it sees.
#pragma once

#include "context/TELVOCSPContext.h"

class StorePropagation {
 public:
  explicit StorePropagation(TELVOCSPContext& context) : m_context(context) {}

  // See TELVOCSPContext::AddCertificateToStore. Returns 1 or 0.
  DWORD Add(const Certificate& certificate, HCERTSTORE store, const BYTE* der, DWORD length,
            const std::string& containerName);
  // See CCSPContext::AddCertificatesToStore and PropagateCertificate. Both return 1.
  DWORD AddAll(HCERTSTORE store, DWORD defaultOnly);
  DWORD Propagate();

 private:
  DWORD AddFromToken(Certificate& certificate, HCERTSTORE store, const std::string* containerName);

  TELVOCSPContext& m_context;
};
