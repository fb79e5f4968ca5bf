// sign and verify: detached CMS messages.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <vector>

#include "telvotool/Certificates.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

struct HashRow {
  const char* name;
  const char* oid;
};

constexpr HashRow kHashes[] = {
    {"sha1", szOID_OIWSEC_sha1},
    {"sha256", szOID_NIST_sha256},
    {"sha512", szOID_NIST_sha512},
};

std::string HashOid(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kHashes), std::end(kHashes), [&](const HashRow& row) { return name == row.name; });
  if (found == std::end(kHashes)) throw UsageError("--hash is sha1, sha256 or sha512");
  return found->oid;
}

// The signing time as an attribute's value.
Bytes SigningTime() {
  FILETIME now = {};
  GetSystemTimeAsFileTime(&now);
  DWORD length = 0;
  Require(CryptEncodeObject(kEncoding, PKCS_UTC_TIME, &now, nullptr, &length), "the time cannot be encoded");
  Bytes der(length);
  Require(CryptEncodeObject(kEncoding, PKCS_UTC_TIME, &now, der.data(), &length), "the time cannot be encoded");
  der.resize(length);
  return der;
}

// The container's key signs the file, which goes to the provider in pieces.
Bytes SignatureOf(const std::string& path, const Container& container, PCCERT_CONTEXT certificate, std::string hash) {
  constexpr DWORD kPiece = 1U << 20U;
  Bytes time = SigningTime();
  CRYPT_ATTR_BLOB timeBlob = {static_cast<DWORD>(time.size()), time.data()};
  char timeOid[] = szOID_RSA_signingTime;
  CRYPT_ATTRIBUTE attribute = {timeOid, 1, &timeBlob};
  CMSG_SIGNER_ENCODE_INFO signer = {};
  signer.cbSize = sizeof(signer);
  signer.pCertInfo = certificate->pCertInfo;
  signer.hCryptProv = container.provider.Get();
  signer.dwKeySpec = AT_KEYEXCHANGE;
  signer.HashAlgorithm.pszObjId = hash.data();
  signer.cAuthAttr = 1;
  signer.rgAuthAttr = &attribute;
  CERT_BLOB certificateBlob = {certificate->cbCertEncoded, certificate->pbCertEncoded};
  CMSG_SIGNED_ENCODE_INFO info = {};
  info.cbSize = sizeof(info);
  info.cSigners = 1;
  info.rgSigners = &signer;
  info.cCertEncoded = 1;
  info.rgCertEncoded = &certificateBlob;
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, CMSG_DETACHED_FLAG, CMSG_SIGNED, &info, nullptr, nullptr));
  if (!message) throw Failure("the signature cannot be begun", GetLastError());
  ReadInPieces(path, kPiece, [&](const BYTE* piece, DWORD length, bool last) {
    Require(CryptMsgUpdate(message.Get(), piece, length, last ? TRUE : FALSE), "the signature failed");
  });
  DWORD length = 0;
  Require(CryptMsgGetParam(message.Get(), CMSG_CONTENT_PARAM, 0, nullptr, &length), "the signature failed");
  Bytes der(length);
  Require(CryptMsgGetParam(message.Get(), CMSG_CONTENT_PARAM, 0, der.data(), &length), "the signature failed");
  der.resize(length);
  return der;
}

// What a message contains about one of its signers. The structure is at the beginning of the bytes.
class SignerInfo {
 public:
  SignerInfo(const Bytes& signature, DWORD index) {
    constexpr char kWhat[] = "NOT valid: no signed message";
    const MessageHandle message(CryptMsgOpenToDecode(kEncoding, CMSG_DETACHED_FLAG, 0, 0, nullptr, nullptr));
    Require(CryptMsgUpdate(message.Get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE), kWhat);
    DWORD length = 0;
    Require(CryptMsgGetParam(message.Get(), CMSG_SIGNER_INFO_PARAM, index, nullptr, &length), kWhat);
    m_buffer.resize(length / sizeof(std::uint64_t) + 1);
    Require(CryptMsgGetParam(message.Get(), CMSG_SIGNER_INFO_PARAM, index, m_buffer.data(), &length), kWhat);
  }
  CMSG_SIGNER_INFO* operator->() { return reinterpret_cast<CMSG_SIGNER_INFO*>(m_buffer.data()); }

 private:
  std::vector<std::uint64_t> m_buffer;  // aligned for the structure
};

Bytes HashOf(const Bytes& content, const char* oid) {
  Bytes hash(64);
  auto length = static_cast<DWORD>(hash.size());
  Require(CryptHashCertificate(0, CertOIDToAlgId(oid), 0, content.data(), static_cast<DWORD>(content.size()),
                               hash.data(), &length),
          "the content cannot be hashed");
  hash.resize(length);
  return hash;
}

// A signature with attributes is a signature over the attributes. One of them is the hash of the content. Not every
// platform checks that it is the hash of this content.
void RequireContentIsSigned(const Bytes& signature, DWORD index, const Bytes& content) {
  SignerInfo signer(signature, index);
  if (signer->AuthAttrs.cAttr == 0) return;
  const CRYPT_ATTRIBUTE* const attribute =
      CertFindAttribute(szOID_RSA_messageDigest, signer->AuthAttrs.cAttr, signer->AuthAttrs.rgAttr);
  // An OCTET STRING of less than 128 bytes.
  Bytes expected = HashOf(content, signer->HashAlgorithm.pszObjId);
  expected.insert(expected.begin(), {0x04, static_cast<BYTE>(expected.size())});
  if (attribute == nullptr || attribute->cValue != 1 ||
      !std::equal(expected.begin(), expected.end(), attribute->rgValue[0].pbData,
                  attribute->rgValue[0].pbData + attribute->rgValue[0].cbData)) {
    throw Failure("NOT valid", static_cast<DWORD>(CRYPT_E_HASH_VALUE));
  }
}

// Verifies a signer's signature over the content and returns the signer's certificate. Raises Failure when it is wrong.
CertificateHandle VerifiedSigner(DWORD index, const Bytes& signature, const Bytes& content) {
  CRYPT_VERIFY_MESSAGE_PARA parameters = {};
  parameters.cbSize = sizeof(parameters);
  parameters.dwMsgAndCertEncodingType = kEncoding;
  const BYTE* parts[] = {content.data()};
  DWORD lengths[] = {static_cast<DWORD>(content.size())};
  CertificateHandle certificate;
  if (CryptVerifyDetachedMessageSignature(&parameters, index, signature.data(), static_cast<DWORD>(signature.size()), 1,
                                          parts, lengths, certificate.Receive()) == FALSE) {
    throw Failure("NOT valid", GetLastError());
  }
  RequireContentIsSigned(signature, index, content);
  return certificate;
}

// Whether Windows trusts the certificate, in words.
std::string TrustOf(PCCERT_CONTEXT certificate) {
  CERT_CHAIN_PARA parameters = {};
  parameters.cbSize = sizeof(parameters);
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  if (CertGetCertificateChain(nullptr, certificate, nullptr, nullptr, &parameters, 0, nullptr, &chain) == FALSE) {
    return "not known: " + CodeText(GetLastError());
  }
  const DWORD status = chain->TrustStatus.dwErrorStatus;
  CertFreeCertificateChain(chain);
  if (status == CERT_TRUST_NO_ERROR) return "yes, by a root of this computer";
  if ((status & CERT_TRUST_IS_NOT_TIME_VALID) != 0) return "no: a certificate is not valid today";
  if ((status & CERT_TRUST_IS_UNTRUSTED_ROOT) != 0) return "no: its root is not among those of this computer";
  if ((status & CERT_TRUST_IS_PARTIAL_CHAIN) != 0) return "no: its issuer is not known to this computer";
  char text[40];
  static_cast<void>(std::snprintf(text, sizeof(text), "no: chain status 0x%08lX", static_cast<unsigned long>(status)));
  return text;
}

}  // namespace

int SignFile(const Options& options) {
  const std::string path = options.Operands()[0];
  const std::string out = options.Value("--out", path + ".p7s");
  const std::string hash = HashOid(options.Value("--hash", "sha256"));
  // Checked before the user is asked for a PIN. The provider cannot hash empty data.
  if (SizeOfFile(path) == 0) throw Failure(path + " is empty", kFailed, "an empty file cannot be signed");
  const Target target = {options.Value("--reader"), options.Value("--container")};
  const Container container = OpenContainer(target, ReadPin(options));
  const Bytes der = CertificateOf(container.key.Get());
  if (der.empty()) {
    throw Failure("the container has a key and no certificate", kNotThere, "\"telvotool import-cert\" puts one there");
  }
  const CertificateHandle certificate = DecodeCertificate(der, "the container's certificate is damaged");
  WriteWholeFile(out, SignatureOf(path, container, certificate.Get(), hash));
  std::printf("signed: %s\nsignature: %s\nsigner: %s\n", path.c_str(), out.c_str(),
              SubjectOf(certificate.Get()).c_str());
  return kDone;
}

int VerifyFile(const Options& options) {
  const std::string path = options.Operands()[0];
  const Bytes content = ReadWholeFile(path);
  const Bytes signature = ReadWholeFile(options.Value("--signature", path + ".p7s"));
  CertificateHandle expected;
  if (options.Has("--signer")) expected = ReadCertificate(options.Value("--signer"));
  const LONG signers = CryptGetMessageSignerCount(kEncoding, signature.data(), static_cast<DWORD>(signature.size()));
  if (signers < 0) throw Failure("NOT valid: no signed message", GetLastError());
  if (signers == 0) throw Failure("NOT valid", static_cast<DWORD>(CRYPT_E_NO_SIGNER));
  bool signedByExpected = false;
  for (DWORD index = 0; index < static_cast<DWORD>(signers); ++index) {
    const CertificateHandle signer = VerifiedSigner(index, signature, content);
    std::printf("valid: %s\nsigner: %s, until %s, %s\ntrusted: %s\n", path.c_str(), SubjectOf(signer.Get()).c_str(),
                LastDayOf(signer.Get()).c_str(), ThumbprintOf(signer.Get()).c_str(), TrustOf(signer.Get()).c_str());
    if (expected && DerOf(signer.Get()) == DerOf(expected.Get())) signedByExpected = true;
  }
  if (expected && !signedByExpected) {
    throw Failure("NOT valid: it is not signed by " + SubjectOf(expected.Get()), kNotValid,
                  "ask for a signature by the certificate that you expect");
  }
  return kDone;
}

}  // namespace tool
