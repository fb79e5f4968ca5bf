// The platform's functions that find a key by its certificate and sign messages with it.
#include "Certificate.h"

namespace {

Call AcquireByCertificate(DWORD flags) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Certificate certificate(NewCertificate(side, context));
    HCRYPTPROV found = 0;
    DWORD keySpec = 0;
    BOOL mustRelease = FALSE;
    const BOOL done = CryptAcquireCertificatePrivateKey(certificate, flags, nullptr, &found, &keySpec, &mustRelease);
    const std::string answer = Answer(done, "key spec " + Number(keySpec));
    if (mustRelease != FALSE) CryptReleaseContext(found, 0);
    return answer;
  };
}

Bytes SignMessage(const CERT_CONTEXT* certificate, const char* algorithm, BOOL detached, const Bytes& data) {
  std::string oid = algorithm;
  CRYPT_SIGN_MESSAGE_PARA parameters = {};
  parameters.cbSize = sizeof parameters;
  parameters.dwMsgEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  parameters.pSigningCert = certificate;
  parameters.HashAlgorithm.pszObjId = oid.data();
  parameters.cMsgCert = 1;
  parameters.rgpMsgCert = &certificate;
  const BYTE* pieces[] = {data.data()};
  DWORD lengths[] = {Length(data)};
  Bytes message(8192);
  DWORD length = Length(message);
  Step(CryptSignMessage(&parameters, detached, 1, pieces, lengths, message.data(), &length), "CryptSignMessage");
  message.resize(length);
  return message;
}
BOOL VerifyMessage(const Bytes& message, BOOL detached, const Bytes& data) {
  CRYPT_VERIFY_MESSAGE_PARA parameters = {};
  parameters.cbSize = sizeof parameters;
  parameters.dwMsgAndCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  const BYTE* pieces[] = {data.data()};
  DWORD lengths[] = {Length(data)};
  if (detached != FALSE) {
    return CryptVerifyDetachedMessageSignature(&parameters, 0, message.data(), Length(message), 1, pieces, lengths,
                                               nullptr);
  }
  Bytes content(1024);
  DWORD length = Length(content);
  return CryptVerifyMessageSignature(&parameters, 0, message.data(), Length(message), content.data(), &length, nullptr);
}

// Signs with the pair; the platform verifies.
Call Message(const char* algorithm, BOOL detached, const char* other = nullptr) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Certificate certificate(NewCertificate(side, context));
    const Bytes data(100, 'a');
    const Bytes message = SignMessage(certificate, algorithm, detached, data);
    const Bytes verified = other == nullptr ? data : Bytes(100, static_cast<BYTE>(*other));
    return Answer(VerifyMessage(message, detached, verified)) + (other == nullptr ? ", verified" : "");
  };
}

}  // namespace

const Rows kMessageRows = {
    {"certificate.private_key", "CryptAcquireCertificatePrivateKey", "TRUE, key spec 1", AcquireByCertificate(0)},
    {"certificate.private_key_silent", "CryptAcquireCertificatePrivateKey, CRYPT_ACQUIRE_SILENT_FLAG",
     "TRUE, key spec 1", AcquireByCertificate(CRYPT_ACQUIRE_SILENT_FLAG)},
    {"certificate.private_key_compare", "CryptAcquireCertificatePrivateKey, CRYPT_ACQUIRE_COMPARE_KEY_FLAG",
     "TRUE, key spec 1", AcquireByCertificate(CRYPT_ACQUIRE_COMPARE_KEY_FLAG)},
    {"certificate.private_key_cache", "CryptAcquireCertificatePrivateKey, CRYPT_ACQUIRE_CACHE_FLAG", "TRUE, key spec 1",
     AcquireByCertificate(CRYPT_ACQUIRE_CACHE_FLAG)},
    {"message.sha1", "CryptSignMessage, SHA-1, then CryptVerifyMessageSignature", "TRUE, verified",
     Message(szOID_OIWSEC_sha1, FALSE)},
    {"message.sha256", "CryptSignMessage, SHA-256, then CryptVerifyMessageSignature", "TRUE, verified",
     Message(szOID_NIST_sha256, FALSE)},
    {"message.sha512", "CryptSignMessage, SHA-512, then CryptVerifyMessageSignature", "TRUE, verified",
     Message(szOID_NIST_sha512, FALSE)},
    {"message.sha384", "CryptSignMessage, SHA-384", "TRUE, verified", Message(szOID_NIST_sha384, FALSE)},
    {"message.md5", "CryptSignMessage, MD5, then CryptVerifyMessageSignature", "TRUE, verified",
     Message(szOID_RSA_MD5, FALSE)},
    {"message.detached", "CryptSignMessage, detached, then CryptVerifyDetachedMessageSignature", "TRUE, verified",
     Message(szOID_NIST_sha256, TRUE)},
    {"message.detached_other", "CryptVerifyDetachedMessageSignature of other data",
     "FALSE NTE_BAD_SIGNATURE or FALSE CRYPT_E_HASH_VALUE", Message(szOID_NIST_sha256, TRUE, "b")},
};
