// The subset of Crypt32 that the provider calls, for the host build, on OpenSSL (Crypt32.cpp).
#pragma once

#include <windows.h>

using HCRYPTPROV = ULONG_PTR;
using HCRYPTKEY = ULONG_PTR;
using HCRYPTHASH = ULONG_PTR;
using ALG_ID = unsigned int;

using HCERTSTORE = void*;
using PCCERT_CONTEXT = const struct CERT_CONTEXT*;

constexpr DWORD HP_ALGID = 1;
constexpr DWORD HP_HASHVAL = 2;
constexpr DWORD HP_HASHSIZE = 4;
constexpr DWORD CRYPT_LITTLE_ENDIAN = 1;
constexpr ALG_ID CALG_SHA_384 = 0x800D;
constexpr ALG_ID CALG_MD5 = 0x8003;
constexpr ALG_ID CALG_SHA1 = 0x8004;
constexpr ALG_ID CALG_SSL3_SHAMD5 = 0x8008;
constexpr ALG_ID CALG_SHA_256 = 0x800C;
constexpr ALG_ID CALG_SHA_512 = 0x800E;
constexpr ALG_ID CALG_RSA_SIGN = 0x2400;
constexpr ALG_ID CALG_RSA_KEYX = 0xA400;
constexpr ALG_ID CALG_DES = 0x6601;
constexpr ALG_ID CALG_3DES = 0x6603;
constexpr ALG_ID CALG_3DES_112 = 0x6609;
constexpr ALG_ID CALG_AES_128 = 0x660E;

constexpr DWORD CRYPT_VERIFYCONTEXT = 0xF0000000;
constexpr DWORD CRYPT_NEWKEYSET = 0x00000008;
constexpr DWORD CRYPT_DELETEKEYSET = 0x00000010;
constexpr DWORD CRYPT_MACHINE_KEYSET = 0x00000020;
constexpr DWORD AT_KEYEXCHANGE = 1;
constexpr DWORD AT_SIGNATURE = 2;
constexpr DWORD CRYPT_NOHASHOID = 0x00000001;
constexpr DWORD CRYPT_SILENT = 0x00000040;

constexpr DWORD X509_ASN_ENCODING = 0x00000001;

constexpr DWORD CERT_X500_NAME_STR = 3;
constexpr DWORD CERT_NAME_STR_REVERSE_FLAG = 0x02000000;

struct CRYPT_INTEGER_BLOB {
  DWORD cbData;
  BYTE* pbData;
};
using CERT_NAME_BLOB = CRYPT_INTEGER_BLOB;
using PCERT_NAME_BLOB = CERT_NAME_BLOB*;

// Writes a DER encoded X.500 name as text, at most `size` bytes with the terminating zero, and returns the
// number of bytes with it. With a null `text` or a `size` of 0 nothing is written and the number needed is
// returned. Bytes that are no such name give the empty text: 1 is returned.
//
// Only the form CERT_X500_NAME_STR is there, with or without CERT_NAME_STR_REVERSE_FLAG: "CN=..., O=...,
// C=...".
DWORD CertNameToStrA(DWORD encoding, PCERT_NAME_BLOB name, DWORD form, LPSTR text, DWORD size);
