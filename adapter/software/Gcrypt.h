// libgcrypt, which does all the cryptography of this folder.
#pragma once

#include <cstddef>
#include <gcrypt.h>
#include <memory>
#include <type_traits>
#include <vector>

#include "cryptoki/Pkcs11.h"

namespace adapter::software {

// StartGcrypt starts the library, once in a process, and does nothing if another part of the process has started it. It
// must be called before the library is used. The library then wipes all memory that it frees. Throws
// Failure{CKR_GENERAL_ERROR} if the library is too old.
void StartGcrypt();

// Succeed throws Failure for an error of the library: CKR_HOST_MEMORY if memory is exhausted, `otherwise` for all
// others.
void Succeed(gcry_error_t error, CK_RV otherwise = CKR_FUNCTION_FAILED);

struct SexpRelease {
  void operator()(gcry_sexp_t expression) const { gcry_sexp_release(expression); }
};
using Sexp = std::unique_ptr<std::remove_pointer_t<gcry_sexp_t>, SexpRelease>;

// Expression builds an S-expression; `format` and `arguments` are those of gcry_sexp_build. Throws Failure.
template <typename... A>
Sexp Expression(const char* format, A... arguments) {
  gcry_sexp_t expression = nullptr;
  Succeed(gcry_sexp_build(&expression, nullptr, format, arguments...));
  return Sexp(expression);
}

// The names of a hash function: the mechanism of the digest, that of an RSA signature over it, the mask function that
// uses it, and the library's own number.
struct Hash {
  CK_MECHANISM_TYPE digest;
  CK_MECHANISM_TYPE signature;
  CK_RSA_PKCS_MGF_TYPE mask;  // 0: there is none
  int algorithm;
  std::size_t length;  // of the digest, in bytes
};

// Both return null for other mechanisms.
const Hash* FindHashOfDigest(CK_MECHANISM_TYPE digest);
const Hash* FindHashOfSignature(CK_MECHANISM_TYPE signature);

}  // namespace adapter::software
