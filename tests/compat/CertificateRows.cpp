// Certificates of containers, and the platform's functions that use a provider for certificates.
#include "Certificate.h"

namespace {

constexpr DWORD kUserStore = 42;
constexpr DWORD kRootStore = 46;

Call SelfSign(const char* algorithm) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Certificate certificate(SelfSigned(side, context, algorithm));
    return Answer(certificate != nullptr ? TRUE : FALSE);
  };
}
Call VerifySelfSigned(const char* algorithm) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Certificate certificate(SelfSigned(side, context, algorithm));
    Step(certificate != nullptr, "CertCreateSelfSignCertificate");
    return Answer(CryptVerifyCertificateSignature(context, X509_ASN_ENCODING, certificate->pbCertEncoded,
                                                  certificate->cbCertEncoded,
                                                  &certificate->pCertInfo->SubjectPublicKeyInfo));
  };
}

Call GetCertificate(DWORD room, DWORD keySpec = AT_KEYEXCHANGE) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes value(4096);
    DWORD length = room;
    const BOOL done =
        CryptGetKeyParam(Pair(context, keySpec), KP_CERTIFICATE, room == 0 ? nullptr : value.data(), &length, 0);
    return Answer(done);
  };
}

// Writes a certificate for the pair and reads it back.
std::string WriteCertificate(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  const Certificate certificate(NewCertificate(side, container));
  Step(CryptSetKeyParam(pair, KP_CERTIFICATE, certificate->pbCertEncoded, 0), "CryptSetKeyParam");
  const std::string name = container.Name();
  const Context later(side, name.c_str(), 0);
  Bytes value(4096);
  DWORD length = Length(value);
  Step(CryptGetKeyParam(Pair(later), KP_CERTIFICATE, value.data(), &length, 0), "CryptGetKeyParam");
  value.resize(length);
  return value == Bytes(certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded)
             ? "TRUE, the same certificate"
             : "TRUE, another certificate";
}
std::string WriteNullCertificate(const Side& side) {
  const Prepared context(side);
  return Answer(CryptSetKeyParam(Pair(context), KP_CERTIFICATE, nullptr, 0));
}

// Whether the store that the provider opens contains the prepared certificate.
Call OpenStore(DWORD parameter) {
  return [=](const Side& side) {
    const Prepared context(side);
    HCERTSTORE store = nullptr;
    DWORD length = sizeof store;
    const BOOL done = CryptGetProvParam(context, parameter, reinterpret_cast<BYTE*>(&store), &length, 0);
    if (done == FALSE) return Answer(done);
    const Certificate found(
        CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_A, "Prepared", nullptr));
    std::string answer = found != nullptr ? "TRUE, with the certificate" : "TRUE, without the certificate";
    CertCloseStore(store, 0);
    return answer;
  };
}

std::string ExportInfo(const Side& side) {
  const Prepared context(side);
  DWORD length = 0;
  return Answer(CryptExportPublicKeyInfo(context, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &length));
}
std::string ExportSignatureInfo(const Side& side) {
  const Prepared context(side);
  DWORD length = 0;
  return Answer(CryptExportPublicKeyInfo(context, AT_SIGNATURE, X509_ASN_ENCODING, nullptr, &length));
}
std::string ExportInfoWithoutKeys(const Side& side) {
  const Fresh container(side);
  DWORD length = 0;
  return Answer(CryptExportPublicKeyInfo(container, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &length));
}
std::string ImportInfo(const Side& side) {
  const Prepared context(side);
  const Certificate certificate(NewCertificate(side, context));
  Key key;
  return Answer(
      CryptImportPublicKeyInfo(context, X509_ASN_ENCODING, &certificate->pCertInfo->SubjectPublicKeyInfo, key.Out()));
}
std::string VerifyCertificateOfAnother(const Side& side) {
  const Prepared other(Side::Platform());
  const Certificate certificate(NewCertificate(Side::Platform(), other));
  const Prepared context(side);
  return Answer(CryptVerifyCertificateSignature(context, X509_ASN_ENCODING, certificate->pbCertEncoded,
                                                certificate->cbCertEncoded,
                                                &certificate->pCertInfo->SubjectPublicKeyInfo));
}
std::string VerifyCorruptedCertificate(const Side& side) {
  const Prepared context(side);
  const Certificate certificate(NewCertificate(side, context));
  Bytes bytes(certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded);
  bytes.back() ^= 1U;
  return Answer(CryptVerifyCertificateSignature(context, X509_ASN_ENCODING, bytes.data(), Length(bytes),
                                                &certificate->pCertInfo->SubjectPublicKeyInfo));
}
Call SignBytes(const char* algorithm) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Bytes data(20, 'a');
    std::string oid = algorithm;
    CRYPT_ALGORITHM_IDENTIFIER identifier = {};
    identifier.pszObjId = oid.data();
    Bytes signature(1024);
    DWORD length = Length(signature);
    const BOOL done = CryptSignCertificate(context, AT_KEYEXCHANGE, X509_ASN_ENCODING, data.data(), Length(data),
                                           &identifier, nullptr, signature.data(), &length);
    return Answer(done, InBytes(length));
  };
}
Call HashBytes(ALG_ID algorithm) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes value(64);
    DWORD length = Length(value);
    const BOOL done =
        CryptHashCertificate(context, algorithm, 0, reinterpret_cast<const BYTE*>("abc"), 3, value.data(), &length);
    return Answer(done, Hex(value));
  };
}
std::string HashInfo(const Side& side) {
  const Prepared context(side);
  const Certificate certificate(NewCertificate(side, context));
  Bytes value(64);
  DWORD length = Length(value);
  const BOOL done = CryptHashPublicKeyInfo(context, CALG_SHA1, 0, X509_ASN_ENCODING,
                                           &certificate->pCertInfo->SubjectPublicKeyInfo, value.data(), &length);
  return Answer(done, InBytes(length));
}

}  // namespace

const Rows kCertificateRows = {
    {"certificate.read", "KP_CERTIFICATE of AT_KEYEXCHANGE", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetCertificate(4096)},
    {"certificate.read_signature", "KP_CERTIFICATE of AT_SIGNATURE", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetCertificate(4096, AT_SIGNATURE)},
    {"certificate.read_size", "KP_CERTIFICATE, null buffer", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     GetCertificate(0)},
    {"certificate.read_small", "KP_CERTIFICATE, 16 bytes", "FALSE ERROR_MORE_DATA or FALSE NTE_BAD_TYPE; for cards",
     GetCertificate(16)},
    {"certificate.write", "CryptSetKeyParam KP_CERTIFICATE, then read in another context",
     "TRUE or FALSE NTE_BAD_TYPE; for cards", WriteCertificate},
    {"certificate.write_null", "CryptSetKeyParam KP_CERTIFICATE, a null pointer", "FALSE ERROR_INVALID_PARAMETER",
     WriteNullCertificate},
    {"certificate.user_store", "PP_USER_CERTSTORE", "TRUE or FALSE NTE_BAD_TYPE; for cards", OpenStore(kUserStore)},
    {"certificate.root_store", "PP_ROOT_CERTSTORE", "TRUE or FALSE NTE_BAD_TYPE; for cards", OpenStore(kRootStore)},
    {"certificate.self_md5", "CertCreateSelfSignCertificate, MD5", "TRUE", SelfSign(szOID_RSA_MD5RSA)},
    {"certificate.self_sha1", "CertCreateSelfSignCertificate, SHA-1", "TRUE", SelfSign(szOID_RSA_SHA1RSA)},
    {"certificate.self_sha256", "CertCreateSelfSignCertificate, SHA-256", "TRUE", SelfSign(szOID_RSA_SHA256RSA)},
    {"certificate.self_sha384", "CertCreateSelfSignCertificate, SHA-384", "TRUE", SelfSign(szOID_RSA_SHA384RSA)},
    {"certificate.self_sha512", "CertCreateSelfSignCertificate, SHA-512", "TRUE", SelfSign(szOID_RSA_SHA512RSA)},
    {"certificate.verify_sha1", "CryptVerifyCertificateSignature, SHA-1", "TRUE", VerifySelfSigned(szOID_RSA_SHA1RSA)},
    {"certificate.verify_sha256", "CryptVerifyCertificateSignature, SHA-256", "TRUE",
     VerifySelfSigned(szOID_RSA_SHA256RSA)},
    {"certificate.verify_sha512", "CryptVerifyCertificateSignature, SHA-512", "TRUE",
     VerifySelfSigned(szOID_RSA_SHA512RSA)},
    {"certificate.verify_other", "CryptVerifyCertificateSignature of a certificate of the platform's provider", "TRUE",
     VerifyCertificateOfAnother},
    {"certificate.verify_corrupted", "CryptVerifyCertificateSignature, one bit changed", "FALSE NTE_BAD_SIGNATURE",
     VerifyCorruptedCertificate},
    {"certificate.export_info", "CryptExportPublicKeyInfo AT_KEYEXCHANGE", "TRUE", ExportInfo},
    {"certificate.export_info_signature", "CryptExportPublicKeyInfo AT_SIGNATURE", "TRUE", ExportSignatureInfo},
    {"certificate.export_info_none", "CryptExportPublicKeyInfo in a container without keys", "FALSE NTE_NO_KEY",
     ExportInfoWithoutKeys},
    {"certificate.import_info", "CryptImportPublicKeyInfo", "TRUE", ImportInfo},
    {"certificate.sign_sha1", "CryptSignCertificate, SHA-1", "TRUE, 128 bytes", SignBytes(szOID_RSA_SHA1RSA)},
    {"certificate.sign_sha256", "CryptSignCertificate, SHA-256", "TRUE, 128 bytes", SignBytes(szOID_RSA_SHA256RSA)},
    {"certificate.sign_sha384", "CryptSignCertificate, SHA-384", "TRUE, 128 bytes", SignBytes(szOID_RSA_SHA384RSA)},
    {"certificate.hash_sha1", "CryptHashCertificate, SHA-1", "TRUE, A9993E36", HashBytes(CALG_SHA1)},
    {"certificate.hash_0", "CryptHashCertificate, no algorithm", "TRUE, A9993E36; SHA-1", HashBytes(0)},
    {"certificate.hash_sha384", "CryptHashCertificate, SHA-384", "TRUE, CB00753F", HashBytes(0x800D)},
    {"certificate.hash_info", "CryptHashPublicKeyInfo, SHA-1", "TRUE, 20 bytes", HashInfo},
};
