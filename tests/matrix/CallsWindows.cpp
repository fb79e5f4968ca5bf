#include "Calls.h"
#include "CryptoApi.h"
#include "ProviderRegistration.h"
#include "platform/UserRegistry.h"

struct Registered::State {
  ProviderRegistration provider{ProviderRegistration::Logging::kOff};
  UserRegistry user;
};

Registered::Registered() : m_state(new State) {}
Registered::~Registered() { delete m_state; }

namespace calls {

BOOL AcquireContext(HCRYPTPROV* context, const char* name, DWORD flags) {
  return CryptAcquireContextA(context, name, kProviderName, PROV_RSA_FULL, flags);
}
BOOL ReleaseContext(HCRYPTPROV context) { return CryptReleaseContext(context, 0); }
BOOL SetProvParam(HCRYPTPROV context, DWORD parameter, const BYTE* data) {
  return CryptSetProvParam(context, parameter, data, 0);
}
BOOL GetProvParam(HCRYPTPROV context, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) {
  return CryptGetProvParam(context, parameter, data, length, flags);
}
BOOL GenRandom(HCRYPTPROV context, DWORD length, BYTE* data) { return CryptGenRandom(context, length, data); }

BOOL GetUserKey(HCRYPTPROV context, HCRYPTKEY* key) { return CryptGetUserKey(context, AT_KEYEXCHANGE, key); }
BOOL GenKey(HCRYPTPROV context, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
  return CryptGenKey(context, algorithm, flags, key);
}
BOOL ImportKey(HCRYPTPROV context, const BYTE* blob, DWORD length, HCRYPTKEY* key) {
  return CryptImportKey(context, blob, length, 0, CRYPT_EXPORTABLE, key);
}
BOOL ExportKey(HCRYPTPROV /*context*/, HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, BYTE* blob, DWORD* length) {
  return CryptExportKey(key, exchangeKey, type, 0, blob, length);
}
BOOL SetKeyParam(HCRYPTPROV /*context*/, HCRYPTKEY key, DWORD parameter, const BYTE* data) {
  return CryptSetKeyParam(key, parameter, data, 0);
}
BOOL GetKeyParam(HCRYPTPROV /*context*/, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* length) {
  return CryptGetKeyParam(key, parameter, data, length, 0);
}
BOOL DestroyKey(HCRYPTPROV /*context*/, HCRYPTKEY key) { return CryptDestroyKey(key); }
BOOL Encrypt(HCRYPTPROV /*context*/, HCRYPTKEY key, BYTE* data, DWORD* length, DWORD room) {
  return CryptEncrypt(key, 0, TRUE, 0, data, length, room);
}
BOOL Decrypt(HCRYPTPROV /*context*/, HCRYPTKEY key, BOOL final, BYTE* data, DWORD* length) {
  return CryptDecrypt(key, 0, final, 0, data, length);
}

BOOL CreateHash(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH* hash) {
  return CryptCreateHash(context, algorithm, 0, 0, hash);
}
BOOL HashData(HCRYPTPROV /*context*/, HCRYPTHASH hash, const BYTE* data, DWORD length) {
  return CryptHashData(hash, data, length, 0);
}
BOOL SetHashValue(HCRYPTPROV /*context*/, HCRYPTHASH hash, const BYTE* value) {
  return CryptSetHashParam(hash, HP_HASHVAL, value, 0);
}
BOOL DestroyHash(HCRYPTPROV /*context*/, HCRYPTHASH hash) { return CryptDestroyHash(hash); }
BOOL SignHash(HCRYPTPROV /*context*/, HCRYPTHASH hash, BYTE* signature, DWORD* length) {
  return CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, signature, length);
}
BOOL VerifySignature(HCRYPTPROV /*context*/, HCRYPTHASH hash, const BYTE* signature, DWORD length, HCRYPTKEY key) {
  return CryptVerifySignatureA(hash, signature, length, key, nullptr, 0);
}

}  // namespace calls
