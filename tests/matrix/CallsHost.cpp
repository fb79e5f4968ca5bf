// The provider is part of the program: a library would have its own last error.
#include <cstdlib>

#include "Calls.h"
#include "Flow.h"
#include "entry/ProviderInterface.h"
#include "platform/TestRegistry.h"

// On Windows, ProviderRegistration.cpp defines it.
std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

struct Registered::State {
  TestRegistry registry;
};

Registered::Registered() : m_state(new State) {}
Registered::~Registered() { delete m_state; }

namespace calls {
BOOL AcquireContext(HCRYPTPROV* context, const char* name, DWORD flags) {
  return CPAcquireContext(context, name, flags, nullptr);
}
BOOL ReleaseContext(HCRYPTPROV context) { return CPReleaseContext(context, 0); }
BOOL SetProvParam(HCRYPTPROV context, DWORD parameter, const BYTE* data) {
  return CPSetProvParam(context, parameter, data, 0);
}
BOOL GetProvParam(HCRYPTPROV context, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) {
  return CPGetProvParam(context, parameter, data, length, flags);
}
BOOL GenRandom(HCRYPTPROV context, DWORD length, BYTE* data) { return CPGenRandom(context, length, data); }

BOOL GetUserKey(HCRYPTPROV context, HCRYPTKEY* key) { return CPGetUserKey(context, AT_KEYEXCHANGE, key); }
BOOL GenKey(HCRYPTPROV context, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
  return CPGenKey(context, algorithm, flags, key);
}
BOOL ImportKey(HCRYPTPROV context, const BYTE* blob, DWORD length, HCRYPTKEY* key) {
  return CPImportKey(context, blob, length, 0, CRYPT_EXPORTABLE, key);
}
BOOL ExportKey(HCRYPTPROV context, HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, BYTE* blob, DWORD* length) {
  return CPExportKey(context, key, exchangeKey, type, 0, blob, length);
}
BOOL SetKeyParam(HCRYPTPROV context, HCRYPTKEY key, DWORD parameter, const BYTE* data) {
  return CPSetKeyParam(context, key, parameter, data, 0);
}
BOOL GetKeyParam(HCRYPTPROV context, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* length) {
  return CPGetKeyParam(context, key, parameter, data, length, 0);
}
BOOL DestroyKey(HCRYPTPROV context, HCRYPTKEY key) { return CPDestroyKey(context, key); }
BOOL Encrypt(HCRYPTPROV context, HCRYPTKEY key, BYTE* data, DWORD* length, DWORD room) {
  return CPEncrypt(context, key, 0, TRUE, 0, data, length, room);
}
BOOL Decrypt(HCRYPTPROV context, HCRYPTKEY key, BOOL final, BYTE* data, DWORD* length) {
  return CPDecrypt(context, key, 0, final, 0, data, length);
}

BOOL CreateHash(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH* hash) {
  return CPCreateHash(context, algorithm, 0, 0, hash);
}
BOOL HashData(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* data, DWORD length) {
  return CPHashData(context, hash, data, length, 0);
}
BOOL SetHashValue(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* value) {
  return CPSetHashParam(context, hash, HP_HASHVAL, value, 0);
}
BOOL DestroyHash(HCRYPTPROV context, HCRYPTHASH hash) { return CPDestroyHash(context, hash); }
BOOL SignHash(HCRYPTPROV context, HCRYPTHASH hash, BYTE* signature, DWORD* length) {
  return CPSignHash(context, hash, AT_KEYEXCHANGE, nullptr, 0, signature, length);
}
BOOL VerifySignature(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* signature, DWORD length, HCRYPTKEY key) {
  return CPVerifySignature(context, hash, signature, length, key, nullptr, 0);
}

}  // namespace calls
