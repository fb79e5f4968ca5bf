#include "adapter/software/Gcrypt.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

#include "pkcs11/Failure.h"
#include "pkcs11/Secret.h"

namespace adapter::software {
namespace {

constexpr Hash kHashes[] = {
    {CKM_MD5, CKM_MD5_RSA_PKCS, 0, GCRY_MD_MD5, 16},
    {CKM_SHA_1, CKM_SHA1_RSA_PKCS, CKG_MGF1_SHA1, GCRY_MD_SHA1, 20},
    {CKM_RIPEMD160, CKM_RIPEMD160_RSA_PKCS, 0, GCRY_MD_RMD160, 20},
    {CKM_SHA224, CKM_SHA224_RSA_PKCS, CKG_MGF1_SHA224, GCRY_MD_SHA224, 28},
    {CKM_SHA256, CKM_SHA256_RSA_PKCS, CKG_MGF1_SHA256, GCRY_MD_SHA256, 32},
    {CKM_SHA384, CKM_SHA384_RSA_PKCS, CKG_MGF1_SHA384, GCRY_MD_SHA384, 48},
    {CKM_SHA512, CKM_SHA512_RSA_PKCS, CKG_MGF1_SHA512, GCRY_MD_SHA512, 64},
};

const Hash* Find(CK_MECHANISM_TYPE Hash::*name, CK_MECHANISM_TYPE value) {
  const auto* const row =
      std::find_if(std::begin(kHashes), std::end(kHashes), [&](const Hash& hash) { return hash.*name == value; });
  return row == std::end(kHashes) ? nullptr : row;
}

// The library's messages would go to the standard error of whatever program loaded the adapter.
void KeepSilent(void* /*context*/, int /*level*/, const char* /*format*/, std::va_list /*arguments*/) {}

// The library leaves copies of its data in memory that it frees. So all its memory is wiped when it is freed.
void* Allocate(std::size_t size) { return std::malloc(size); }

std::size_t SizeOf(void* block) {
#if defined(_WIN32)
  return _msize(block);
#else
  return malloc_usable_size(block);
#endif
}

void Release(void* block) {
  if (block == nullptr) return;
  pkcs11::Wipe(block, SizeOf(block));
  std::free(block);
}

void* Resize(void* block, std::size_t size) {
  void* const larger = std::malloc(size);
  if (block == nullptr || larger == nullptr) return larger;
  std::memcpy(larger, block, std::min(size, SizeOf(block)));
  Release(block);
  return larger;
}

int IsSecure(const void* /*block*/) { return 0; }

bool Start() {
  if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) return true;
  gcry_set_log_handler(KeepSilent, nullptr);
  gcry_set_allocation_handler(Allocate, Allocate, IsSecure, Resize, Release);
  if (gcry_check_version(GCRYPT_VERSION) == nullptr) return false;
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);  // the library itself would wipe only this pool of memory
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  return true;
}

}  // namespace

void StartGcrypt() {
  static const bool started = Start();
  pkcs11::Require(started, CKR_GENERAL_ERROR);
}

void Succeed(gcry_error_t error, CK_RV otherwise) {
  if (error == 0) return;
  throw pkcs11::Failure{gcry_err_code(error) == GPG_ERR_ENOMEM ? CKR_HOST_MEMORY : otherwise};
}

const Hash* FindHashOfDigest(CK_MECHANISM_TYPE digest) { return Find(&Hash::digest, digest); }
const Hash* FindHashOfSignature(CK_MECHANISM_TYPE signature) { return Find(&Hash::signature, signature); }

}  // namespace adapter::software
