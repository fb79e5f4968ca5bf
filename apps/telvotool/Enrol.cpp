// enrol and import-cert.
#include <cstdio>

#include "telvotool/Certificates.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Purposes.h"
#include "telvotool/Request.h"
#include "telvotool/Signing.h"

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

// For any other size the provider would make a key of 4096 bits.
DWORD Bits(const Options& options) {
  const DWORD bits = Number(options, "--bits", 2048, 4096);
  if (bits != 1024 && bits != 2048 && bits != 4096) throw UsageError("--bits is 1024, 2048 or 4096");
  return bits;
}

CertificateWishes Wishes(const Options& options, const Target& target) {
  CertificateWishes wishes;
  wishes.subject = EncodeSubject(options.Value("--subject", "CN=" + target.name));
  if (options.Has("--eku")) wishes.purposes = ParsePurposes(options.Value("--eku"));
  return wishes;
}

void PrintCertificate(PCCERT_CONTEXT certificate) {
  std::printf("certificate: %s, until %s, %s\n", SubjectOf(certificate).c_str(), LastDayOf(certificate).c_str(),
              ThumbprintOf(certificate).c_str());
}

// Its destructor deletes a container that is not complete: no list shows a key without a certificate.
class Unfinished {
 public:
  Unfinished(const Target& target, const Pin& pin) : m_target(target), m_pin(pin) {}
  ~Unfinished() {
    if (m_complete) return;
    try {
      RemoveContainer(m_target, m_pin);
    } catch (const std::exception& failure) {
      static_cast<void>(
          std::fprintf(stderr, "telvotool enrol: what was begun stays on the card: %s\n", failure.what()));
    } catch (...) {
      static_cast<void>(std::fprintf(stderr, "telvotool enrol: what was begun stays on the card\n"));
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
  // All options are checked before anything is made.
  const DWORD bits = Bits(options);
  const DWORD days = Number(options, "--days", 365, 36500);
  const CertificateWishes wishes = Wishes(options, target);
  if (options.Has("--request") && options.Has("--days"))
    throw UsageError("--days is for a certificate: with --request the authority decides how long it holds");
  const Pin pin = ReadPin(options);

  const ProviderHandle provider = NewContainer(target, pin);
  KeyHandle key;
  Require(CryptGenKey(provider.Get(), AT_KEYEXCHANGE, bits << 16U, key.Receive()), "the key cannot be made");
  Unfinished unfinished(target, pin);
  std::printf("key: %s, RSA, %lu bits\n", target.name.c_str(), static_cast<unsigned long>(KeyBits(key.Get())));
  if (options.Has("--request")) {
    WriteWholeFile(options.Value("--request"), MakeRequest(provider.Get(), wishes));
    std::printf("request: %s, for %s\n", options.Value("--request").c_str(),
                options.Value("--subject", "CN=" + target.name).c_str());
  } else {
    const Bytes der = MakeSelfSigned(provider.Get(), wishes, days);
    const CertificateHandle certificate = DecodeCertificate(der, "the certificate cannot be read back");
    PutCertificate(key.Get(), der);
    PrintCertificate(certificate.Get());
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
  // The provider itself would take any certificate.
  if (CertComparePublicKeyInfo(X509_ASN_ENCODING, publicKey.Get(),
                               &certificate.Get()->pCertInfo->SubjectPublicKeyInfo) == FALSE) {
    throw Failure("the certificate belongs to another key than that of \"" + target.name + "\"", kNotValid,
                  "import the certificate that was issued for this container's request");
  }
  PutCertificate(container.key.Get(), DerOf(certificate.Get()));
  PrintCertificate(certificate.Get());
  Propagate(target.reader);
  return kDone;
}

}  // namespace tool
