// The functions of the provider, called by the platform's CryptoAPI with the signatures of CryptoSPI.
//
// A function returns true and sets the last error to 0, or returns false and sets the last error to the reason. That is
// not so in these cases:
//   - CPGetProvParam of PP_KEYEXCHANGE_PIN returns the code NTE_BAD_TYPE, which counts as true, and sets no last error.
//   - CPSetKeyParam of an unknown key returns the code NTE_BAD_KEY, which counts as true; the last error is NTE_NO_KEY.
//   - Four failures are exceptions that leave the function: see CPReleaseContext, CPGetProvParam (PP_SMARTCARD_GUID),
//     CPSetProvParam (a PIN) and CPAcquireContext (the reader dialog). A std::bad_alloc leaves a function, too.
//
// What all of them have in common:
//   - Lengths count bytes, unless it says bits. A length stays as it was when the function fails, unless it says so.
//   - An unknown `hProv` is NTE_BAD_UID, an unknown `hHash` NTE_BAD_HASH.
//   - A failure of the module is NTE_FAIL, whatever its CK_RV. So is a missing session, where one is needed.
//   - A null pointer that must be read or written is ERROR_INVALID_PARAMETER.
//   - Of `hHash` and `hKey` the low 32 bits count. The handle of a key pair is compared whole, but in CPExportKey.
//   - "Logs in" means: with the cached PIN, else the user is asked. That may fail with NTE_SILENT_CONTEXT,
//     SCARD_W_CANCELLED_BY_USER, SCARD_W_CHV_BLOCKED or SCARD_W_CARD_NOT_AUTHENTICATED.
//   - Handles belong to the context and are of no use once it is released. Key pairs and certificates stay on the card.
#pragma once

#include "common/Platform.h"

extern "C" {
// A null `phProv` is ERROR_INVALID_HANDLE. After a failed acquisition *phProv is 0. `pVTable` is not read.
//
// NTE_BAD_FLAGS for flags that do not go together; NTE_BAD_KEYSET for a container that is not there, but not with flags
// 0 and not under a named reader; NTE_EXISTS for a new one that is; NTE_BAD_KEYSET_PARAM for a name of more than 260
// characters; NTE_FAIL without a card, or NTE_SILENT_CONTEXT when the user would have to be asked for a reader;
// SCARD_W_CANCELLED_BY_USER when he does not choose one.
//
// CRYPT_DELETEKEYSET does not log in. A deletion that succeeds leaves *phProv alone; one that the module refuses is a
// success with a live handle. A std::runtime_error of the reader dialog, which finds no reader, leaves the function.
BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, void* pVTable);
// Closes the session. An unknown handle raises CCSPContextError NTE_BAD_UID out of the function. `dwFlags` is logged
// and not used.
BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

// A null `pbData` asks for the size. Too small a buffer is ERROR_MORE_DATA with the size in `*pcbDataLen`. Else the
// answer's bytes are cleared, and then written:
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
// PP_ENUMCONTAINERS with CRYPT_FIRST wants a buffer of 128 bytes. With CRYPT_NEXT it takes one of that size for
// granted: it writes up to 128 bytes, or `*pcbDataLen` when that is more, and clears `*pcbDataLen` bytes. A longer name
// is ERROR_MORE_DATA with its need. A question for the size moves the position, too. Flags other than these two are
// ERROR_NO_MORE_ITEMS, and so is the end. Of a failing module the CK_RV itself is the last error.
//
// PP_ENUMALGS and PP_ENUMALGS_EX begin with CRYPT_FIRST and go on with any other flags, each from its own position; a
// question for the size does not move it. PP_KEYSET_SEC_DESCR wants one OWNER, GROUP, DACL or SACL_SECURITY_INFORMATION
// in `dwFlags`; with others the answer is empty. Other parameters do not use `dwFlags`, but 0xFFFFFFFF is
// NTE_BAD_FLAGS.
//
// PP_SMARTCARD_READER without a reader is NTE_BAD_TYPE, but its size is 1. The stores belong to the caller, who closes
// them; a user's store that does not open is a null handle and a success. PP_SMARTCARD_GUID asks the token: its
// CryptokiError leaves the function.
BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen, DWORD dwFlags);
// PP_KEYEXCHANGE_PIN and PP_SIGNATURE_PIN read a string up to its zero byte, and log in with it: SCARD_W_WRONG_CHV,
// SCARD_W_CHV_BLOCKED, NTE_FAIL for another failure, ERROR_INVALID_PARAMETER for an empty string. A CryptokiError
// leaves the function when the module does not tell the tries that a wrong PIN left. PP_UI_PROMPT reads such a string,
// too; the context keeps a copy. PP_KEYSET_SEC_DESCR, PP_PIN_PROMPT_STRING and PP_USE_HARDWARE_RNG read nothing and do
// nothing. Any other parameter is NTE_BAD_TYPE.
//
// A null `pbData` is ERROR_INVALID_PARAMETER but for PP_USE_HARDWARE_RNG. `dwFlags` is logged and not used.
BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
// Fills `pbBuffer` with random bytes of the token. What it held is not used as a seed. A null buffer or no bytes is
// nothing to do.
BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbBuffer, BYTE* pbBuffer);

// `hKey` is not read: there are no keyed hashes. `dwFlags` must be 0: NTE_BAD_FLAGS. NTE_BAD_ALGID for an algorithm
// that does not hash here. After a failure *phHash is as it was.
BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags, HCRYPTHASH* phHash);
// Keeps a copy of the bytes; the token digests them later, in one piece. Null data or no bytes is nothing to do.
// `dwFlags` must be 0: NTE_BAD_FLAGS. A finished hash is NTE_BAD_HASH_STATE.
BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen, DWORD dwFlags);
// Logs in, puts the value of the session key in the place of what the hash holds, and finishes the hash.
// CRYPT_LITTLE_ENDIAN reverses the value; other flags are NTE_BAD_FLAGS. NTE_NO_KEY without such a session key. With
// the log on, the key stands in it in clear, as whatever is hashed.
//
// Required: `hHash` is not read. The hash is looked for under the handle of the key: NTE_BAD_HASH as a rule.
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags);
// HP_ALGID and HP_HASHSIZE write 4 bytes, HP_HASHVAL the value, which finishes the hash: NTE_BAD_HASH_STATE without
// data. Other parameters are NTE_BAD_TYPE, flags NTE_BAD_FLAGS. A null `pbData` asks for the size and leaves the hash
// open. Too small a buffer is ERROR_MORE_DATA, with the size in `*pcbDataLen` for HP_HASHVAL alone. With a buffer that
// is long enough `*pcbDataLen` stays as it was.
BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pcbDataLen,
                           DWORD dwFlags);
// HP_HASHVAL reads as many bytes as the algorithm's value has, and finishes the hash. NTE_BAD_HASH when it holds data.
// Other parameters are NTE_BAD_TYPE, flags NTE_BAD_FLAGS.
BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash);
// Not exported. The duplicate is the hash itself.
BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags, HCRYPTHASH* phHash);

// Finishes the hash, logs in and signs by PKCS #1 v1.5. The signature is little-endian. A null `pbSignature` asks for
// its size, and finishes and logs in as well. Too small a buffer is NTE_FAIL. On success `*pcbSigLen` is the length.
//
// `dwKeySpec` is 0, AT_KEYEXCHANGE or AT_SIGNATURE, all of which name the one pair; others are NTE_NO_KEY, and so is a
// container without a private key. CRYPT_NOHASHOID signs the value without its DigestInfo; other flags are
// NTE_BAD_FLAGS, after the hash was finished. `szDescription` is not read.
BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR szDescription, DWORD dwFlags,
                       BYTE* pbSignature, DWORD* pcbSigLen);
// Finishes the hash, logs in and lets the token verify by the pair or by an imported key. The signature is
// little-endian. NTE_BAD_SIGNATURE whatever the module's failure; NTE_BAD_KEY for a key of 0, NTE_NO_KEY for an unknown
// one; ERROR_INVALID_PARAMETER for a signature that is null or empty, and for a description. Of `dwFlags` only
// CRYPT_NOHASHOID counts.
BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSigLen,
                              HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags);

// Logs in. The upper 16 bits of `dwFlags` are the size of a pair in bits; other values than 512, 1024 and 2048 give
// 4096, 0 too. A session key takes the whole of `dwFlags` as its mode. NTE_PERM for AT_KEYEXCHANGE and AT_SIGNATURE in
// a context for verification, NTE_BAD_ALGID for an algorithm that is not generated.
BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
// Finishes the hash. The upper 16 bits of `dwFlags` are the length of the key in bits: 56 for CALG_DES, 168 for
// CALG_3DES, 112 for CALG_AES_128; others are NTE_BAD_FLAGS. Of the lower ones 1, 2, 4 and 16 are taken and not used;
// others are NTE_BAD_FLAGS. NTE_BAD_ALGID for another algorithm, NTE_BAD_HASH_STATE for a finished hash.
BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags, HCRYPTKEY* phKey);
// The container's one key pair has a handle for each of the two key specs. NTE_NO_KEY without a private key, and for a
// `dwKeySpec` that has neither's bit; another one that has is a success and leaves *phUserKey alone. A null `phUserKey`
// is NTE_BAD_KEY.
BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);
// Session keys and imported public keys. Unknown handles, and those of the key pair, are nothing to do.
BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey);
// Not exported. Always fails, with ERROR_CALL_NOT_IMPLEMENTED.
BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags, HCRYPTKEY* phKey);
// A null `pbData` asks for the size. `dwFlags` is logged and not used. Other blobs than these are NTE_BAD_TYPE.
//
// A PUBLICKEYBLOB of the pair or of an imported key: little-endian numbers, no login; `hPubKey` is not read. Too small
// a buffer is ERROR_MORE_DATA; `*pcbDataLen` becomes the length of the blob.
//
// A SIMPLEBLOB of a session key, for the public key `hPubKey`: logs in, unless the size is asked for. The encrypted key
// is big-endian, other than CPImportKey takes it. Too small a buffer is NTE_FAIL, with what the module
// says of the length; else `*pcbDataLen` becomes the length of the encrypted key, without the 12 bytes before it.
// NTE_NO_KEY for an unknown key, NTE_BAD_PUBLIC_KEY when `hPubKey` is no public key or the session
// key may not leave.
BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbDataLen);
// Logs in. A PUBLICKEYBLOB of CALG_RSA_KEYX, or a SIMPLEBLOB for the container's key; both are little-endian. `dwFlags`
// are the permissions of a session key, and not used for a public one; `hPubKey` is not read. NTE_INVALID_PARAMETER for
// a null `pbData` or `phKey` and for no bytes; NTE_BAD_TYPE for another blob, NTE_BAD_ALGID for another algorithm,
// NTE_BAD_DATA for one that is shorter than its header, NTE_BAD_KEYSET for a SIMPLEBLOB without a private key.
BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey, DWORD dwFlags,
                        HCRYPTKEY* phKey);

// Data in place. Nothing is padded but RSA: `fFinal` and `dwFlags` (CRYPT_OAEP) are logged and not used. A null
// `pbData` asks for the length. Too little room is NTE_FAIL. On success `*pcbDataLen` is the length of the output.
//
// With the key pair: logs in; `*pcbDataLen` is the length of the input, `cbBufLen` the room; the output is big-endian.
// With a session key the two lengths change their parts: `cbBufLen` is the length of the input, whole blocks, and
// `*pcbDataLen` the room.
//
// NTE_BAD_KEY for a handle that is neither, ERROR_INVALID_PARAMETER for a hash.
BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen, DWORD cbBufLen);
// Data in place: `*pcbDataLen` is the length of the input, the room, and on success the length of the output. With the
// key pair: logs in; the input is little-endian. With a session key `fFinal` takes the padding off: NTE_BAD_DATA when
// there is none, with the decrypted bytes in the buffer. After a decryption the key has no IV. `dwFlags` is logged and
// not used. Refusals are those of CPEncrypt; null data of a length is ERROR_INVALID_PARAMETER.
BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbDataLen);

// A null `pbData` asks for the size. Too small a buffer is ERROR_MORE_DATA, but ERROR_INVALID_PARAMETER for
// KP_PERMISSIONS, with `*pcbDataLen` as it was. A parameter that this kind of key does not have is refused first. What
// is written:
//
//   parameter                                bytes written                          `*pcbDataLen` afterwards
//   KP_ALGID, KP_PADDING, KP_MODE,           4                                      as it was
//   KP_MODE_BITS, KP_PERMISSIONS
//   KP_BLOCKLEN, KP_KEYLEN                   4                                      4
//   KP_CERTIFICATE                           the DER bytes; the rest is cleared     their number
//   KP_PIN_INFO                              36                                     36
//   KP_IV, KP_SALT                           none: the key takes the buffer's       as it was
//
// KP_KEYLEN is in bytes for a session key and in bits for an RSA key; KP_BLOCKLEN is in bits. For both the first 4
// bytes of a buffer are cleared even if it is too small. KP_IV, KP_SALT, KP_MODE and KP_MODE_BITS are of session keys
// alone, KP_CERTIFICATE of the others: NTE_BAD_TYPE, but for a null `pbData`, which KP_MODE and KP_MODE_BITS answer for
// any key. KP_PERMISSIONS of another key is NTE_BAD_TYPE only without a buffer. KP_EFFECTIVE_KEYLEN is refused, because
// there are no RC2 keys: NTE_BAD_FLAGS for a session key, NTE_BAD_TYPE for others.
//
// KP_IV gives a key that has no IV the mode CBC first; a key without a salt is NTE_BAD_KEY_STATE. KP_CERTIFICATE is the
// container's, whichever key is asked: NTE_BAD_TYPE without a private key, NTE_BAD_KEY without a certificate. Flags are
// NTE_BAD_FLAGS, an unknown key is NTE_NO_KEY.
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
// KP_CERTIFICATE logs in and writes to the card. KP_IV gives a key that has no IV the mode CBC first. KP_IV, KP_SALT
// and KP_SALT_EX are of session keys alone: NTE_BAD_TYPE, as for any other parameter. A key pair accepts the rest
// without effect. A padding or a permission that there is not is NTE_BAD_FLAGS, and so are flags.
//
// Required: a handle that is neither a key pair's nor a session key's gives the result 0x80090003.
BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags);
}
