// The functions of the provider. The platform's CryptoAPI calls them, with the signatures of CryptoSPI.
//
// A function returns true and sets the last error to 0, or returns false and sets the last error to the reason. The
// exceptions from this rule are:
//   - CPGetProvParam of PP_KEYEXCHANGE_PIN returns the code NTE_BAD_TYPE, which counts as true, and sets no last error.
//   - CPSetKeyParam of an unknown key returns the code NTE_BAD_KEY, which counts as true; the last error is NTE_NO_KEY.
//   - In four places a C++ exception leaves the function: see CPReleaseContext, CPGetProvParam (PP_SMARTCARD_GUID),
//     CPSetProvParam (a PIN) and CPAcquireContext (the reader dialog). A std::bad_alloc leaves any function.
//
// What all functions have in common:
//   - Lengths are in bytes, unless the comment says bits. A failure leaves a length unchanged, unless it says
//     otherwise.
//   - An unknown `hProv` is NTE_BAD_UID, an unknown `hHash` NTE_BAD_HASH.
//   - A failure of the module is NTE_FAIL, whatever its CK_RV. So is a missing session, if the function needs one.
//   - A null pointer that must be read or written is ERROR_INVALID_PARAMETER.
//   - Only the low 32 bits of `hHash` and `hKey` count. The handle of a key pair is compared whole, except in
//     CPExportKey.
//   - "Logs in" means with the cached PIN, or by asking the user. That may fail with NTE_SILENT_CONTEXT,
//     SCARD_W_CANCELLED_BY_USER, SCARD_W_CHV_BLOCKED or SCARD_W_CARD_NOT_AUTHENTICATED.
//   - Handles belong to the context and end with it. Key pairs and certificates stay on the card.
#pragma once

#include "common/Platform.h"

extern "C" {
// A null `phProv` is ERROR_INVALID_HANDLE. After a failed acquisition *phProv is 0. `pVTable` is not read.
//
// NTE_BAD_FLAGS for flags that do not go together. NTE_BAD_KEYSET for a container that does not exist, but not with
// flags of 0 and not in a named reader. NTE_EXISTS for a new container that exists. NTE_BAD_KEYSET_PARAM for a name of
// more than 260 characters. NTE_FAIL without a card, or NTE_SILENT_CONTEXT when the user would have to be asked for a
// reader. SCARD_W_CANCELLED_BY_USER when the user does not choose a reader.
//
// CRYPT_DELETEKEYSET does not log in. A deletion that succeeds leaves *phProv alone. A deletion that the module refuses
// is a success with a live handle. A std::runtime_error leaves the function when the reader dialog finds no reader.
BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* pVTable);
// Closes the session. For an unknown handle a CCSPContextError NTE_BAD_UID leaves the function. `dwFlags` is logged and
// not used.
BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

// A null `pbData` asks for the size. A buffer that is too small is ERROR_MORE_DATA with the size in `*pcbDataLen`.
// Otherwise the bytes of the answer are cleared, and then written:
//
//   parameter                                   bytes written                  `*pcbDataLen` afterwards
//   PP_IMPTYPE, PP_VERSION, PP_PROVTYPE,        4                              as it was
//   PP_KEYSTORAGE, PP_KEYSPEC, PP_KEYSET_TYPE,
//   PP_SIG_KEYSIZE_INC, PP_KEYX_KEYSIZE_INC
//   PP_NAME, PP_CONTAINER, PP_UNIQUE_CONTAINER  the string and its zero        their number
//   PP_SMARTCARD_READER                         the string and its zero        as it was
//   PP_SMARTCARD_GUID                           16, the card's serial          as it was
//   PP_ENUMALGS                                 32, a PROV_ENUMALGS            as it was
//   PP_ENUMALGS_EX                              88, a PROV_ENUMALGS_EX         as it was
//   PP_ENUMCONTAINERS                           the string and its zero        their number
//   PP_KEYSET_SEC_DESCR                         20, a self-relative one        as it was
//   PP_USER_CERTSTORE, PP_ROOT_CERTSTORE        8, an HCERTSTORE               8
//   PP_USE_HARDWARE_RNG, PP_KEYEXCHANGE_PIN     none                           as it was
//   any other                                   none: NTE_BAD_TYPE             as it was
//
// PP_ENUMCONTAINERS and PP_KEYSET_SEC_DESCR first clear all `*pcbDataLen` bytes, so that must be the true size of the
// buffer. PP_ENUMCONTAINERS with CRYPT_FIRST requires a buffer of 128 bytes. With CRYPT_NEXT it relies on a buffer of
// that size: it writes up to 128 bytes, or up to `*pcbDataLen` when that is more. A longer name is ERROR_MORE_DATA with
// its size in `*pcbDataLen`. A size query moves the position, too. Other flags than these two are ERROR_NO_MORE_ITEMS,
// and so is the end. When the module fails, the CK_RV itself is the last error.
//
// PP_ENUMALGS and PP_ENUMALGS_EX begin with CRYPT_FIRST and continue with any other flags. Each has its own position,
// which a size query does not move. PP_KEYSET_SEC_DESCR takes exactly one of OWNER_, GROUP_, DACL_ and
// SACL_SECURITY_INFORMATION in `dwFlags`. With other flags its answer is empty. Other parameters do not use `dwFlags`.
// For every parameter 0xFFFFFFFF is NTE_BAD_FLAGS.
//
// PP_SMARTCARD_READER without a reader is NTE_BAD_TYPE, but its size is 1. The caller owns the stores and closes them.
// A user's store that does not open is a null handle and a success. PP_SMARTCARD_GUID asks the token, whose
// CryptokiError leaves the function.
BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen, DWORD dwFlags);
// PP_KEYEXCHANGE_PIN and PP_SIGNATURE_PIN read a string up to its zero byte, and log in with it. They fail with
// SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED, ERROR_INVALID_PARAMETER for an empty string, or NTE_FAIL. A CryptokiError
// leaves the function when the PIN is wrong and the module does not report how many tries are left.
//
// PP_UI_PROMPT reads such a string, too, and the context keeps a copy of it. PP_KEYSET_SEC_DESCR, PP_PIN_PROMPT_STRING
// and PP_USE_HARDWARE_RNG read nothing and do nothing. Any other parameter is NTE_BAD_TYPE.
//
// A null `pbData` is ERROR_INVALID_PARAMETER, except for PP_USE_HARDWARE_RNG. `dwFlags` is logged and not used.
BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
// Fills `pbBuffer` with random bytes from the token. What the buffer held before is not used as a seed. With a null
// buffer or a length of 0 nothing is done.
BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer);

// `hKey` is not read: there are no keyed hashes. `dwFlags` must be 0: NTE_BAD_FLAGS. NTE_BAD_ALGID for an algorithm
// that does not hash here. After a failure *phHash is as it was.
BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags, HCRYPTHASH* phHash);
// Keeps a copy of the bytes. The token digests them later, in one piece. With null data or a length of 0 nothing is
// done. `dwFlags` must be 0: NTE_BAD_FLAGS. A finished hash is NTE_BAD_HASH_STATE.
BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags);
// Logs in, replaces what the hash holds with the value of the session key, and finishes the hash. CRYPT_LITTLE_ENDIAN
// reverses the value. Other flags are NTE_BAD_FLAGS. NTE_NO_KEY without such a session key. When the log is on, it
// shows the value in clear, as it shows whatever is hashed.
//
// Required: `hHash` is not read. The hash is looked for under the handle of the key: usually NTE_BAD_HASH.
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags);
// HP_ALGID and HP_HASHSIZE write 4 bytes. HP_HASHVAL finishes the hash and writes its value: NTE_BAD_HASH_STATE without
// data. Other parameters are NTE_BAD_TYPE, flags are NTE_BAD_FLAGS.
//
// A null `pbData` asks for the size and leaves the hash open. A buffer that is too small is ERROR_MORE_DATA. Then only
// HP_HASHVAL puts the size into `*pcbDataLen`. With a buffer that is long enough `*pcbDataLen` stays as it was.
BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags);
// HP_HASHVAL reads as many bytes as the algorithm's value has, and finishes the hash: NTE_BAD_HASH when the hash holds
// data. Other parameters are NTE_BAD_TYPE, flags are NTE_BAD_FLAGS.
BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash);
// Not exported. The duplicate is the hash itself.
BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags, HCRYPTHASH* phHash);

// Finishes the hash, logs in and signs with PKCS #1 v1.5. The signature is little-endian. A null `pbSignature` asks for
// its size, and finishes the hash and logs in, too. A buffer that is too small is NTE_FAIL. On success `*pcbSigLen` is
// the length.
//
// `dwKeySpec` is 0, AT_KEYEXCHANGE or AT_SIGNATURE. All three name the one key pair. Others are NTE_NO_KEY, and so is a
// container without a private key. CRYPT_NOHASHOID signs the value without its DigestInfo. Other flags are
// NTE_BAD_FLAGS, and the hash is finished by then. `szDescription` is not read.
BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription, DWORD dwFlags,
                       BYTE* pbSignature, DWORD* pcbSigLen);
// Finishes the hash, logs in and lets the token verify with the key pair or with an imported key. The signature is
// little-endian. Any failure of the module is NTE_BAD_SIGNATURE. A key of 0 is NTE_BAD_KEY, an unknown one NTE_NO_KEY.
// A signature that is null or empty is ERROR_INVALID_PARAMETER, and so is a description. Only CRYPT_NOHASHOID counts in
// `dwFlags`.
BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags);

// Logs in. The upper 16 bits of `dwFlags` are the size of a key pair in bits. Other values than 512, 1024 and 2048,
// 0 included, give 4096. A session key takes the whole of `dwFlags` as its mode. NTE_PERM for AT_KEYEXCHANGE and
// AT_SIGNATURE in a context for verification, NTE_BAD_ALGID for an algorithm whose keys are not generated.
BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
// Finishes the hash. The upper 16 bits of `dwFlags` are the length of the key in bits: 56 for CALG_DES, 168 for
// CALG_3DES, 112 for CALG_AES_128. Of the lower 16 bits the flags 1, 2, 4 and 16 are accepted and not used. All else is
// NTE_BAD_FLAGS. NTE_BAD_ALGID for another algorithm, NTE_BAD_HASH_STATE for a finished hash.
BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags, HCRYPTKEY* phKey);
// The container's one key pair has two handles, one for AT_KEYEXCHANGE and one for AT_SIGNATURE. NTE_NO_KEY without a
// private key, and for a `dwKeySpec` that has a bit of neither. Any other `dwKeySpec` is a success and leaves
// *phUserKey alone. A null `phUserKey` is NTE_BAD_KEY.
BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);
// Destroys a session key or an imported public key. For an unknown handle, and for those of the key pair, nothing is
// done.
BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey);
// Not exported. Always fails, with ERROR_CALL_NOT_IMPLEMENTED.
BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags, HCRYPTKEY* phKey);
// A null `pbData` asks for the size. `dwFlags` is logged and not used. Other blobs than these are NTE_BAD_TYPE.
//
// PUBLICKEYBLOB: the public key of the pair, or an imported one. Its numbers are little-endian. There is no login, and
// `hPubKey` is not read. A buffer that is too small is ERROR_MORE_DATA. On success `*pcbDataLen` is the length of the
// blob.
//
// SIMPLEBLOB: a session key, encrypted with the public key `hPubKey`. Logs in, unless the size is asked for. The
// encrypted key is big-endian, while CPImportKey takes a little-endian one. On success `*pcbDataLen` is the length of
// the encrypted key, without the 12 bytes before it. A buffer that is too small is NTE_FAIL, and the module decides
// what `*pcbDataLen` is then. NTE_NO_KEY for an unknown key, NTE_BAD_PUBLIC_KEY when `hPubKey` is not a public key or
// the session key may not be exported.
BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbDataLen);
// Logs in. The blob is a PUBLICKEYBLOB of CALG_RSA_KEYX, or a SIMPLEBLOB that the container's private key decrypts.
// Both are little-endian. `dwFlags` are the permissions of a session key, and are not used for a public key. `hPubKey`
// is not read.
//
// NTE_INVALID_PARAMETER for a null `pbData` or `phKey` and for a length of 0, NTE_BAD_TYPE for another blob,
// NTE_BAD_ALGID for another algorithm, NTE_BAD_DATA for a blob that is shorter than its header, NTE_BAD_KEYSET for a
// SIMPLEBLOB when the container has no private key.
BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey, DWORD dwFlags,
                        HCRYPTKEY* phKey);

// Encrypts data in place. Only RSA pads: `fFinal` and `dwFlags` (CRYPT_OAEP) are logged and not used. A null `pbData`
// asks for the length. A buffer that is too small is NTE_FAIL. On success `*pcbDataLen` is the length of the output.
//
// With the key pair it logs in, `*pcbDataLen` is the length of the input, `cbBufLen` is the size of the buffer, and the
// output is big-endian. With a session key the two lengths swap their roles: `cbBufLen` is the length of the input,
// which must be whole blocks, and `*pcbDataLen` is the size of the buffer.
//
// NTE_BAD_KEY for any other handle, ERROR_INVALID_PARAMETER for a hash.
BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen, DWORD cbBufLen);
// Decrypts data in place. `*pcbDataLen` is the length of the input and the size of the buffer, and on success the
// length of the output. `dwFlags` is logged and not used.
//
// With the key pair it logs in, and the input is little-endian. With a session key `fFinal` removes the padding. If
// there is none, that is NTE_BAD_DATA, and the decrypted bytes are in the buffer. After a decryption the key has no IV.
//
// NTE_BAD_KEY for any other handle, NTE_FAIL for a buffer that is too small, ERROR_INVALID_PARAMETER for a hash, and
// for null data of a length other than 0.
BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen);

// A null `pbData` asks for the size. A buffer that is too small is ERROR_MORE_DATA, except that for KP_PERMISSIONS it
// is ERROR_INVALID_PARAMETER, and `*pcbDataLen` stays as it was. A parameter that this kind of key does not have is
// refused first. What is written:
//
//   parameter                                bytes written                          `*pcbDataLen` afterwards
//   KP_ALGID, KP_PADDING, KP_MODE,           4                                      as it was
//   KP_MODE_BITS, KP_PERMISSIONS
//   KP_BLOCKLEN, KP_KEYLEN                   4                                      4
//   KP_CERTIFICATE                           the DER bytes; the rest is cleared     their number
//   KP_PIN_INFO                              36                                     36
//   KP_IV, KP_SALT                           none: the key takes the buffer's       as it was
//
// KP_KEYLEN is in bytes for a session key and in bits for an RSA key. KP_BLOCKLEN is in bits. For both the first 4
// bytes of the buffer are cleared, even if it is too small.
//
// Only session keys have KP_IV, KP_SALT, KP_MODE and KP_MODE_BITS. Only other keys have KP_CERTIFICATE. Otherwise these
// are NTE_BAD_TYPE, except that any key returns the size of KP_MODE and KP_MODE_BITS. KP_PERMISSIONS of a key other
// than a session key is NTE_BAD_TYPE only without a buffer. KP_EFFECTIVE_KEYLEN is refused, because there are no RC2
// keys: NTE_BAD_FLAGS for a session key, NTE_BAD_TYPE for others.
//
// KP_IV first gives a key that has no IV the mode CBC. KP_SALT of a key without a salt is NTE_BAD_KEY_STATE.
// KP_CERTIFICATE is the container's, whichever key is asked: NTE_BAD_TYPE without a private key, NTE_BAD_KEY without a
// certificate. Flags are NTE_BAD_FLAGS, an unknown key is NTE_NO_KEY.
BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                          DWORD dwFlags);
// How much of `pbData` is read depends on the parameter:
//
//   KP_PADDING, KP_MODE, KP_MODE_BITS, KP_PERMISSIONS    4 bytes
//   KP_IV                                                as many as the key's IV has: 8, or 16 for AES
//   KP_SALT                                              as many as the key's salt has: NTE_BAD_KEY_STATE without one
//   KP_SALT_EX                                           a CRYPT_INTEGER_BLOB, and the bytes that it points to
//   KP_CERTIFICATE                                       as many as the DER header says that it begins with
//   KP_EFFECTIVE_KEYLEN                                  none
//
// KP_CERTIFICATE logs in and writes to the card. KP_IV first gives a key that has no IV the mode CBC. Only session keys
// have KP_IV, KP_SALT and KP_SALT_EX: NTE_BAD_TYPE for the key pair, as for any parameter that is not in the table. For
// the key pair only KP_CERTIFICATE has an effect. An unknown padding or permission is NTE_BAD_FLAGS, and so are flags.
//
// Required: a handle that is neither the key pair's nor a session key's gives the result 0x80090003.
BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
}
