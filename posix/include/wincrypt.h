// The subset of Crypt32 that the provider and its tests call, for the host build, on OpenSSL (Crypt32.cpp,
// CertStore.cpp).
#pragma once

#include <windows.h>

using HCRYPTPROV = ULONG_PTR;
using HCRYPTKEY = ULONG_PTR;
using HCRYPTHASH = ULONG_PTR;
using ALG_ID = unsigned int;

using HCERTSTORE = void*;

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

// Parameters of session keys.
constexpr DWORD PKCS5_PADDING = 1;
constexpr DWORD CRYPT_MODE_CBC = 1;
constexpr DWORD CRYPT_MODE_ECB = 2;
constexpr DWORD CRYPT_MODE_OFB = 3;
constexpr DWORD CRYPT_MODE_CFB = 4;

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

// Writes a DER encoded X.500 name as a string of at most `size` bytes and returns the number of bytes; both count the
// terminating zero. With a null `text` or a `size` of 0 nothing is written and the number needed is returned.
// For bytes that are not such a name, the string is empty and 1 is returned.
//
// Only for the form CERT_X500_NAME_STR, with or without CERT_NAME_STR_REVERSE_FLAG: "CN=..., O=..., C=...", with " + "
// between the values of one part.
extern "C" {
DWORD CertNameToStrA(DWORD encoding, PCERT_NAME_BLOB name, DWORD form, LPSTR text, DWORD size);
}

// Parameters of a provider, and the structures that they return.
constexpr DWORD CRYPT_FIRST = 1;
constexpr DWORD CRYPT_NEXT = 2;
constexpr DWORD PP_CLIENT_HWND = 1;
constexpr DWORD PP_ENUMALGS = 1;
constexpr DWORD PP_ENUMCONTAINERS = 2;
constexpr DWORD PP_IMPTYPE = 3;
constexpr DWORD PP_NAME = 4;
constexpr DWORD PP_VERSION = 5;
constexpr DWORD PP_CONTAINER = 6;
constexpr DWORD PP_KEYSET_SEC_DESCR = 8;
constexpr DWORD PP_PROVTYPE = 16;
constexpr DWORD PP_KEYSTORAGE = 17;
constexpr DWORD PP_UI_PROMPT = 21;
constexpr DWORD PP_ENUMALGS_EX = 22;
constexpr DWORD PP_KEYSET_TYPE = 27;
constexpr DWORD PP_ADMIN_PIN = 31;
constexpr DWORD PP_KEYEXCHANGE_PIN = 32;
constexpr DWORD PP_SIGNATURE_PIN = 33;
constexpr DWORD PP_SIG_KEYSIZE_INC = 34;
constexpr DWORD PP_KEYX_KEYSIZE_INC = 35;
constexpr DWORD PP_UNIQUE_CONTAINER = 36;
constexpr DWORD PP_USE_HARDWARE_RNG = 38;
constexpr DWORD PP_KEYSPEC = 39;
constexpr DWORD PP_USER_CERTSTORE = 42;
constexpr DWORD PP_SMARTCARD_READER = 43;
constexpr DWORD PP_PIN_PROMPT_STRING = 44;
constexpr DWORD PP_SMARTCARD_GUID = 45;
constexpr DWORD PP_ROOT_CERTSTORE = 46;
constexpr DWORD CRYPT_IMPL_MIXED = 3;
constexpr DWORD CRYPT_IMPL_REMOVABLE = 8;
constexpr DWORD PROV_RSA_FULL = 1;
constexpr DWORD CRYPT_FLAG_PCT1 = 0x01;
constexpr DWORD CRYPT_FLAG_IPSEC = 0x10;
constexpr DWORD CRYPT_FLAG_SIGNING = 0x20;

struct PROV_ENUMALGS {
  ALG_ID aiAlgid;
  DWORD dwBitLen;
  DWORD dwNameLen;
  CHAR szName[20];
};

struct PROV_ENUMALGS_EX {
  ALG_ID aiAlgid;
  DWORD dwDefaultLen;
  DWORD dwMinLen;
  DWORD dwMaxLen;
  DWORD dwProtocols;
  DWORD dwNameLen;
  CHAR szName[20];
  DWORD dwLongNameLen;
  CHAR szLongName[40];
};

// Keys and their blobs.
constexpr ALG_ID CALG_AES = 0x6611;
constexpr DWORD CRYPT_EXPORTABLE = 0x00000001;
constexpr BYTE SIMPLEBLOB = 1;
constexpr BYTE PUBLICKEYBLOB = 6;
constexpr BYTE CUR_BLOB_VERSION = 2;

struct BLOBHEADER {
  BYTE bType;
  BYTE bVersion;
  WORD reserved;
  ALG_ID aiKeyAlg;
};

struct RSAPUBKEY {
  DWORD magic;
  DWORD bitlen;
  DWORD pubexp;
};

// Parameters of a key.
constexpr DWORD KP_IV = 1;
constexpr DWORD KP_SALT = 2;
constexpr DWORD KP_PADDING = 3;
constexpr DWORD KP_MODE = 4;
constexpr DWORD KP_MODE_BITS = 5;
constexpr DWORD KP_PERMISSIONS = 6;
constexpr DWORD KP_ALGID = 7;
constexpr DWORD KP_BLOCKLEN = 8;
constexpr DWORD KP_KEYLEN = 9;
constexpr DWORD KP_SALT_EX = 10;
constexpr DWORD KP_EFFECTIVE_KEYLEN = 19;
constexpr DWORD KP_CERTIFICATE = 26;
constexpr DWORD KP_PIN_INFO = 44;
constexpr ALG_ID CALG_RC2 = 0x6602;

// Certificates and their stores (CertStore.cpp). Only the names, serial number, extensions and version of CERT_INFO
// are filled in. The only property is CERT_KEY_PROV_INFO_PROP_ID.
struct CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_INTEGER_BLOB Value;
};
using PCERT_EXTENSION = CERT_EXTENSION*;
struct CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CERT_NAME_BLOB Issuer;
  CERT_NAME_BLOB Subject;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
};
struct CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  CERT_INFO* pCertInfo;
  HCERTSTORE hCertStore;
};
using PCCERT_CONTEXT = const CERT_CONTEXT*;
struct CRYPT_KEY_PROV_INFO {
  LPWSTR pwszContainerName;
  LPWSTR pwszProvName;
  DWORD dwProvType;
  DWORD dwFlags;
  DWORD cProvParam;
  struct CRYPT_KEY_PROV_PARAM* rgProvParam;
  DWORD dwKeySpec;
};
struct CERT_BASIC_CONSTRAINTS2_INFO {
  BOOL fCA;
  BOOL fPathLenConstraint;
  DWORD dwPathLenConstraint;
};

constexpr DWORD PKCS_7_ASN_ENCODING = 0x00010000;
constexpr DWORD CERT_NAME_SIMPLE_DISPLAY_TYPE = 4;
constexpr DWORD CERT_KEY_PROV_INFO_PROP_ID = 2;
constexpr DWORD CERT_STORE_ADD_REPLACE_EXISTING = 3;
constexpr DWORD CERT_STORE_SIGNATURE_FLAG = 1;
constexpr DWORD CRYPT_E_NOT_FOUND = 0x80092004;
constexpr DWORD CRYPT_E_ASN1_BADTAG = 0x8009310B;
#define CERT_STORE_PROV_MEMORY (reinterpret_cast<LPCSTR>(static_cast<std::uintptr_t>(2)))
#define X509_BASIC_CONSTRAINTS2 (reinterpret_cast<LPCSTR>(static_cast<std::uintptr_t>(15)))

extern "C" {
PCCERT_CONTEXT CertCreateCertificateContext(DWORD encoding, const BYTE* der, DWORD length);
BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate);
// Only for CERT_NAME_SIMPLE_DISPLAY_TYPE, and only of the subject (Crypt32.cpp): the first common name, unit,
// organisation or e-mail address, in this order. Writes at most `size` bytes, cuts the rest off and returns the number
// of bytes; both count the terminating zero. With a null `text` or a `size` of 0 returns the number needed. If the
// subject has none of these, the string is empty and 1 is returned.
DWORD CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter, LPSTR text, DWORD size);
BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, DWORD flags, const void* data);
// With a null `data` only the size is set. The strings are placed after the structure.
BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data, DWORD* length);
// Only for memory stores.
HCERTSTORE CertOpenStore(LPCSTR provider, DWORD encoding, HCRYPTPROV unused, DWORD flags, const void* parameter);
// A store inside the process: all handles of one name see the same certificates.
HCERTSTORE CertOpenSystemStoreA(HCRYPTPROV unused, LPCSTR name);
BOOL CertCloseStore(HCERTSTORE store, DWORD flags);
// Only for CERT_STORE_ADD_REPLACE_EXISTING. The store keeps a copy.
BOOL CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate, DWORD disposition,
                                      PCCERT_CONTEXT* added);
// The certificate after `previous`, which is freed.
PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
BOOL CertCompareCertificateName(DWORD encoding, PCERT_NAME_BLOB a, PCERT_NAME_BLOB b);
// Only for CERT_STORE_SIGNATURE_FLAG, which is cleared when the signature is good.
BOOL CertVerifySubjectCertificateContext(PCCERT_CONTEXT subject, PCCERT_CONTEXT issuer, DWORD* flags);
PCERT_EXTENSION CertFindExtension(LPCSTR id, DWORD count, CERT_EXTENSION* extensions);
// Only for X509_BASIC_CONSTRAINTS2. With a null `out` only the size is set.
BOOL CryptDecodeObject(DWORD encoding, LPCSTR type, const BYTE* der, DWORD derLength, DWORD flags, void* out,
                       DWORD* length);
}
