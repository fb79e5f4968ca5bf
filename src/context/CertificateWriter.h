// CertificateWriter: writes a certificate to the token. It becomes the container's certificate, tied to the container's
// keys only by their CKA_ID, and the keys take its label.
#pragma once

#include <vector>

#include "context/TELVOCSPContext.h"

class CertificateWriter {
 public:
  explicit CertificateWriter(TELVOCSPContext& context) : m_context(context) {}

  // See CCSPContext::WriteCertificate.
  void Write(const BYTE* der, DWORD length);

 private:
  std::vector<BYTE> ReadKeyID();
  std::list<Attribute> DescribeCertificate(PCCERT_CONTEXT certificate);
  void LabelKeys(const Attribute& label);
  void ReplaceCertificate(Session& session, const std::list<Attribute>& attributes);

  TELVOCSPContext& m_context;
};
