// The functions of the provider, called by the platform's CryptoAPI with the signatures of CryptoSPI. Each returns true
// or false, and sets the last error in both cases.
#pragma once

#include "common/Platform.h"

extern "C" {
// A null `phProv` is ERROR_INVALID_HANDLE. After a failed acquisition *phProv is 0.
BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* pVTable);
// An unknown handle raises CCSPContextError NTE_BAD_UID out of the function. `dwFlags` is logged and not used.
BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

// A null `pbData` asks for the size in bytes; too small a buffer is ERROR_MORE_DATA with the size in `*pcbDataLen`. A
// null `pcbDataLen` is ERROR_INVALID_PARAMETER. Errors of the token leave the function for PP_SMARTCARD_GUID.
BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen, DWORD dwFlags);
// A null `pbData` is ERROR_INVALID_PARAMETER but for PP_USE_HARDWARE_RNG. `dwFlags` is logged and not used. A
// CryptokiError leaves the function.
BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
// Fills `pbBuffer` with random bytes of the token. A null buffer or no bytes is nothing to do.
BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer);

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags, HCRYPTHASH* phHash);
BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags);
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags);
BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags);
BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash);
// Not exported. The duplicate is the hash itself.
BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags, HCRYPTHASH* phHash);

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription, DWORD dwFlags,
                       BYTE* pbSignature, DWORD* pcbSigLen);
BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags);

// The upper 16 bits of `dwFlags` are the size of a pair; sizes other than 512, 1024 and 2048 bits give 4096. A session
// key takes `dwFlags` as its mode.
BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
// The upper 16 bits of `dwFlags` are the length of the key: 56 for CALG_DES, 168 for CALG_3DES, 112 for CALG_AES_128.
BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags, HCRYPTKEY* phKey);
// The container's one key pair has a handle for each of the two key specs.
BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);
// Session keys and imported public keys. Unknown handles, and those of the key pair, are nothing to do.
BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey);
// Not exported. Always fails, with ERROR_CALL_NOT_IMPLEMENTED.
BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags, HCRYPTKEY* phKey);
// A null `pbData` asks for the size in bytes. Too small a buffer is ERROR_MORE_DATA for a PUBLICKEYBLOB, NTE_FAIL for a
// SIMPLEBLOB.
BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbDataLen);
// A PUBLICKEYBLOB of CALG_RSA_KEYX, or a SIMPLEBLOB for the container's key.
BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey, DWORD dwFlags,
                        HCRYPTKEY* phKey);

// Data in place. Nothing is padded: `fFinal` and `dwFlags` are logged and not used. The lengths of input and buffer
// change their parts between the key pair and a session key. A null `pbData` asks for the length. Another handle than
// the key pair's or a session key's is NTE_BAD_KEY, a hash or a null `pcbDataLen` ERROR_INVALID_PARAMETER.
BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen, DWORD cbBufLen);
// Data in place. `fFinal` takes the padding of a session key's data off: NTE_BAD_DATA when there is none. Refusals are
// those of CPEncrypt; null data of a length is ERROR_INVALID_PARAMETER.
BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen);

// A null `pbData` asks for the size in bytes; too small a buffer is ERROR_MORE_DATA, but for KP_PERMISSIONS, with
// `*pcbDataLen` as it was. Only KP_BLOCKLEN, KP_KEYLEN, KP_CERTIFICATE and KP_PIN_INFO store the length of what they
// wrote. A null `pcbDataLen` is ERROR_INVALID_PARAMETER.
BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                          DWORD dwFlags);
// A null `pbData` is ERROR_INVALID_PARAMETER. How much of it is read depends on the parameter, for KP_IV and KP_SALT on
// the key, for KP_CERTIFICATE on the DER header that it begins with.
//
// Required: a handle that is neither a key pair's nor a session key's gives the result 0x80090003.
BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
}
