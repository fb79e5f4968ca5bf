// The header of what an application passes as a certificate: any bytes. Only the bytes of the header may be read, and
// the length must be that of a model, which adds up the digits of the number. The functions for the kind of a
// certificate get the bytes, too.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "context/unreached/CertificateHelpers.h"
#include "entry/EncodedLength.h"

namespace {

constexpr std::size_t kFixed = 2;  // tag and length octet

std::size_t HeaderLength(std::uint8_t lengthOctet) {
  return lengthOctet < 0x80 ? kFixed : kFixed + (lengthOctet & 0x0FU);
}

// No value when the length does not fit into 32 bits.
std::optional<DWORD> Model(const std::vector<BYTE>& header) {
  if (header[1] < 0x80) return header[1] + static_cast<DWORD>(kFixed);
  const auto first = std::find_if(header.begin() + kFixed, header.end(), [](BYTE octet) { return octet != 0; });
  if (header.end() - first > 4) return std::nullopt;
  std::uint64_t length = header.size();
  std::uint64_t weight = 1;
  for (auto octet = header.end(); octet != first; weight *= 256) length += *--octet * weight;
  if (length >> 32U != 0) return std::nullopt;
  return static_cast<DWORD>(length);
}

void AskKind(const std::uint8_t* data, std::size_t size) {
  const PCCERT_CONTEXT certificate = CertCreateCertificateContext(X509_ASN_ENCODING, data, static_cast<DWORD>(size));
  const bool isCertificate = certificate != nullptr;
  Must(!IsSelfSigned(certificate) || isCertificate);
  Must(!IsCACertificate(certificate) || isCertificate);
  CertFreeCertificateContext(certificate);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Must(EncodedLength(nullptr) == 0);
  AskKind(data, size);
  if (size < kFixed) return 0;
  std::vector<BYTE> exact(HeaderLength(data[1]));  // nothing past its end may be read
  std::copy_n(data, std::min(size, exact.size()), exact.begin());
  const std::optional<DWORD> expected = Model(exact);
  try {
    Must(EncodedLength(exact.data()) == expected);
  } catch (const CCSPContextError& error) {
    Must(!expected && error.GetCode() == static_cast<DWORD>(NTE_BAD_DATA));
  }
  return 0;
}
