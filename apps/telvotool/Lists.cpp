// containers, certs and delete.
#include <cstdio>
#include <iostream>

#include "telvotool/Cards.h"
#include "telvotool/Certificates.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"

namespace tool {

namespace {

// The line of a container: name, bits of the key, reader, subject; "-" for what is missing.
void PrintContainer(const std::string& reader, const std::string& name) {
  const ProviderHandle provider = Acquire(Target{reader, name}.FullName(), 0, "the container cannot be opened");
  std::string bits = "-";
  std::string subject = "-";
  KeyHandle key;
  if (CryptGetUserKey(provider.Get(), AT_KEYEXCHANGE, key.Receive()) != FALSE) {
    bits = std::to_string(KeyBits(key.Get()));
    const Bytes der = CertificateOf(key.Get());
    if (!der.empty()) subject = SubjectOf(DecodeCertificate(der, "the certificate is damaged").Get());
  }
  std::printf("%s\t%s\t%s\t%s\n", name.c_str(), bits.c_str(), reader.c_str(), subject.c_str());
}

void Confirm(const std::string& name) {
  static_cast<void>(
      std::fprintf(stderr, "The key of \"%s\" will be gone for good. Type the name to delete it: ", name.c_str()));
  static_cast<void>(std::fflush(stderr));
  std::string answer;
  std::getline(std::cin, answer);
  if (!answer.empty() && answer.back() == '\r') answer.pop_back();
  if (answer != name) throw Failure("nothing was deleted", kFailed, "type the container's name, or give --yes");
}

}  // namespace

int ListContainers(const Options& options) {
  for (const std::string& reader : ReadersWithCard(options.Value("--reader"))) {
    for (const std::string& name : ContainersIn(reader)) PrintContainer(reader, name);
  }
  return kDone;
}

int ListCertificates(const Options& options) {
  for (const std::string& reader : ReadersWithCard(options.Value("--reader"))) Propagate(reader);
  ForEachOwn([](PCCERT_CONTEXT certificate, const std::string& container) {
    std::printf("%s\t%s\t%s\t%s\n", container.c_str(), LastDayOf(certificate).c_str(),
                ThumbprintOf(certificate).c_str(), SubjectOf(certificate).c_str());
  });
  return kDone;
}

int DeleteContainer(const Options& options) {
  const Target target = {options.Value("--reader"), options.Operands()[0]};
  if (target.name.empty()) throw UsageError("missing: NAME");
  if (!options.Has("--yes")) {
    if (options.Has("--pin-stdin")) throw UsageError("--pin-stdin leaves no line for the question: give --yes as well");
    Confirm(target.name);
  }
  RemoveContainer(target, ReadPin(options));
  const unsigned forgotten = ForgetOwn(target.name);
  std::printf("deleted: %s\ncertificates taken out of MY: %u\n", target.name.c_str(), forgotten);
  return kDone;
}

}  // namespace tool
