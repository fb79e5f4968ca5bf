// The extensions of certificates, and the names in them.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

#include "telvotool/Files.h"

namespace tool {

// A subject like "CN=Anna, O=Example" as DER. Raises Failure or UsageError.
Bytes EncodeSubject(const std::string& subject);

// What enrol puts into a request or a self-signed certificate.
struct CertificateWishes {
  Bytes subject;                      // as DER
  std::vector<std::string> purposes;  // object identifiers; none: the key is for every purpose
};

// Extensions: the extensions of an end entity's certificate for signing and decryption: basicConstraints, keyUsage,
// extKeyUsage if there are purposes, and subjectKeyIdentifier.
class Extensions {
 public:
  // Raises Failure.
  Extensions(const CertificateWishes& wishes, const CERT_PUBLIC_KEY_INFO& publicKey);
  Extensions(const Extensions&) = delete;
  Extensions& operator=(const Extensions&) = delete;

  // authorityKeyIdentifier, for a certificate whose issuer has the same key.
  void AddOwnAuthority();

  // CryptoAPI's structures. They are valid until the next extension is added or this object ends.
  std::vector<CERT_EXTENSION> Get();

 private:
  struct Extension {
    const char* oid;
    bool critical;
    Bytes der;
  };

  Bytes m_keyIdentifier;
  std::vector<Extension> m_extensions;
};

}  // namespace tool
