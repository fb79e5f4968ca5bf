// enrol and import-cert.
#include <cstdio>

#include "telvotool/Certificates.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Request.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

// A decimal number from 1 to `most`.
DWORD Number(const Options& options, const char* name, DWORD otherwise, DWORD most) {
  const std::string text = options.Value(name, std::to_string(otherwise));
  const bool digits = !text.empty() && text.size() <= 6 && text.find_first_not_of("0123456789") == std::string::npos;
  const DWORD number = digits ? static_cast<DWORD>(std::stoul(text)) : 0;
  if (number == 0 || number > most)
    throw UsageError(std::string(name) + " takes a number from 1 to " + std::to_string(most));
  return number;
}

// The provider makes a key of 4096 bits of every other size that it is asked for.
DWORD Bits(const Options& options) {
  const DWORD bits = Number(options, "--bits", 2048, 4096);
  if (bits != 1024 && bits != 2048 && bits != 4096) throw UsageError("--bits is 1024, 2048 or 4096");
  return bits;
}

SYSTEMTIME DaysFrom(const SYSTEMTIME& start, DWORD days) {
  FILETIME time = {};
  SystemTimeToFileTime(&start, &time);
  ULARGE_INTEGER ticks = {};
  ticks.LowPart = time.dwLowDateTime;
  ticks.HighPart = time.dwHighDateTime;
  ticks.QuadPart += days * 864000000000ULL;  // of 100 ns
  time = {ticks.LowPart, ticks.HighPart};
  SYSTEMTIME end = {};
  FileTimeToSystemTime(&time, &end);
  return end;
}

CertificateHandle SelfSigned(HCRYPTPROV provider, const Target& target, const std::string& subject, DWORD days) {
  Bytes name = EncodeSubject(subject);
  CERT_NAME_BLOB blob = {static_cast<DWORD>(name.size()), name.data()};
  std::wstring container = Wide(target.name);
  std::wstring providerName = Wide(kProviderName);
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = container.data();
  info.pwszProvName = providerName.data();
  info.dwProvType = PROV_RSA_FULL;
  info.dwKeySpec = AT_KEYEXCHANGE;
  char oid[] = szOID_RSA_SHA256RSA;
  CRYPT_ALGORITHM_IDENTIFIER algorithm = {oid, {}};
  SYSTEMTIME start = {};
  GetSystemTime(&start);
  SYSTEMTIME end = DaysFrom(start, days);
  CertificateHandle certificate(
      CertCreateSelfSignCertificate(provider, &blob, 0, &info, &algorithm, &start, &end, nullptr));
  if (!certificate) throw Failure("the certificate cannot be made", GetLastError());
  return certificate;
}

// Takes a container away again unless it was completed: a key without a certificate is in nobody's list.
class Unfinished {
 public:
  Unfinished(const Target& target, const Pin& pin) : m_target(target), m_pin(pin) {}
  ~Unfinished() {
    if (m_complete) return;
    try {
      RemoveContainer(m_target, m_pin);
    } catch (const Failure& failure) {
      std::fprintf(stderr, "telvotool enrol: what was begun stays on the card: %s\n", failure.what());
    }
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  void Complete() { m_complete = true; }

 private:
  const Target& m_target;
  const Pin& m_pin;
  bool m_complete = false;
};

}  // namespace

int Enrol(const Options& options) {
  const Target target = {options.Value("--reader"), options.Operands()[0]};
  const std::string subject = options.Value("--subject", "CN=" + target.name);
  const DWORD bits = Bits(options);
  const DWORD days = Number(options, "--days", 365, 36500);
  EncodeSubject(subject);  // before anything is made
  const Pin pin = ReadPin(options);

  const ProviderHandle provider = NewContainer(target, pin);
  KeyHandle key;
  Require(CryptGenKey(provider.Get(), AT_KEYEXCHANGE, bits << 16U, key.Receive()), "the key cannot be made");
  Unfinished unfinished(target, pin);
  std::printf("key: %s, RSA, %lu bits\n", target.name.c_str(), static_cast<unsigned long>(KeyBits(key.Get())));
  if (options.Has("--request")) {
    WriteWholeFile(options.Value("--request"), MakeRequest(provider.Get(), subject));
    std::printf("request: %s, for %s\n", options.Value("--request").c_str(), subject.c_str());
  } else {
    const CertificateHandle certificate = SelfSigned(provider.Get(), target, subject, days);
    PutCertificate(key.Get(), DerOf(certificate.Get()));
    std::printf("certificate: %s, until %s, %s\n", SubjectOf(certificate.Get()).c_str(),
                LastDayOf(certificate.Get()).c_str(), ThumbprintOf(certificate.Get()).c_str());
    Propagate(target.reader);
  }
  unfinished.Complete();
  return kDone;
}

int ImportCertificate(const Options& options) {
  const Target target = {options.Value("--reader"), options.Operands()[0]};
  const CertificateHandle certificate = ReadCertificate(options.Operands()[1]);
  const Container container = OpenContainer(target, ReadPin(options));
  PublicKeyInfo publicKey(container.provider.Get());
  if (CertComparePublicKeyInfo(X509_ASN_ENCODING, publicKey.Get(),
                               &certificate.Get()->pCertInfo->SubjectPublicKeyInfo) == FALSE) {
    throw Failure("the certificate belongs to another key than that of \"" + target.name + "\"", kNotValid,
                  "import the certificate that was issued for this container's request");
  }
  PutCertificate(container.key.Get(), DerOf(certificate.Get()));
  std::printf("certificate: %s, until %s, %s\n", SubjectOf(certificate.Get()).c_str(),
              LastDayOf(certificate.Get()).c_str(), ThumbprintOf(certificate.Get()).c_str());
  Propagate(target.reader);
  return kDone;
}

}  // namespace tool
