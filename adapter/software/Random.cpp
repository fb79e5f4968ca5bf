#include "adapter/software/Random.h"

#include <algorithm>

#include "pkcs11/Failure.h"

#if defined(_WIN32)
#include <windows.h>

#include <ntsecapi.h>
#else
#include <cerrno>
#include <sys/random.h>
#endif

namespace adapter::software {
namespace {

constexpr std::size_t kMostAtOnce = 256;  // getrandom returns that many in one piece

#if defined(_WIN32)
bool FillSome(CK_BYTE* bytes, std::size_t length) { return RtlGenRandom(bytes, static_cast<ULONG>(length)) != FALSE; }
#else
bool FillSome(CK_BYTE* bytes, std::size_t length) {
  ssize_t count = 0;
  do {
    count = getrandom(bytes, length, 0);
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(length);
}
#endif

}  // namespace

void Fill(CK_BYTE* bytes, std::size_t length) {
  while (length != 0) {
    const std::size_t part = std::min(length, kMostAtOnce);
    pkcs11::Require(FillSome(bytes, part), CKR_FUNCTION_FAILED);
    bytes += part;
    length -= part;
  }
}

pkcs11::Secret RandomWithoutZeros(std::size_t length) {
  pkcs11::Secret bytes(length);
  Fill(bytes.data(), bytes.size());
  for (CK_BYTE& byte : bytes) {
    while (byte == 0) Fill(&byte, 1);
  }
  return bytes;
}

}  // namespace adapter::software
