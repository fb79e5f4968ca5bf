// The functions of CryptoAPI with the parameters of the provider's own functions. Windows itself knows the context of a
// key or a hash, so its functions do not take it. Each platform has its own source.
#pragma once

#include "common/Platform.h"

namespace calls {

BOOL AcquireContext(HCRYPTPROV* context, const char* name, DWORD flags);
BOOL ReleaseContext(HCRYPTPROV context);
BOOL SetProvParam(HCRYPTPROV context, DWORD parameter, const BYTE* data);
BOOL GetProvParam(HCRYPTPROV context, DWORD parameter, BYTE* data, DWORD* length, DWORD flags);
BOOL GenRandom(HCRYPTPROV context, DWORD length, BYTE* data);

BOOL GetUserKey(HCRYPTPROV context, HCRYPTKEY* key);
BOOL GenKey(HCRYPTPROV context, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key);
BOOL ImportKey(HCRYPTPROV context, const BYTE* blob, DWORD length, HCRYPTKEY* key);
BOOL ExportKey(HCRYPTPROV context, HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, BYTE* blob, DWORD* length);
BOOL SetKeyParam(HCRYPTPROV context, HCRYPTKEY key, DWORD parameter, const BYTE* data);
BOOL GetKeyParam(HCRYPTPROV context, HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* length);
BOOL DestroyKey(HCRYPTPROV context, HCRYPTKEY key);
BOOL Encrypt(HCRYPTPROV context, HCRYPTKEY key, BYTE* data, DWORD* length, DWORD room);
BOOL Decrypt(HCRYPTPROV context, HCRYPTKEY key, BOOL final, BYTE* data, DWORD* length);

BOOL CreateHash(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH* hash);
BOOL HashData(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* data, DWORD length);
BOOL SetHashValue(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* value);
BOOL DestroyHash(HCRYPTPROV context, HCRYPTHASH hash);
BOOL SignHash(HCRYPTPROV context, HCRYPTHASH hash, BYTE* signature, DWORD* length);
BOOL VerifySignature(HCRYPTPROV context, HCRYPTHASH hash, const BYTE* signature, DWORD length, HCRYPTKEY key);

}  // namespace calls
