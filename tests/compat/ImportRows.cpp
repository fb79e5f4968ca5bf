// CryptImportKey.
#include "Row.h"

namespace {

std::string ThereAndBack(const Side& side) {
  const Prepared context(side);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  const Key pair = Pair(context);
  const Bytes blob = Exported(key, SIMPLEBLOB, pair);
  Key again;
  return Answer(CryptImportKey(context, blob.data(), Length(blob), pair, CRYPT_EXPORTABLE, again.Out()));
}
std::string Import(HCRYPTPROV context, const Bytes& blob, HCRYPTKEY pair = 0, DWORD flags = 0) {
  Key key;
  return Answer(CryptImportKey(context, blob.data(), Length(blob), pair, flags, key.Out()));
}

// Imports the public key of the platform's prepared pair, with one byte changed, or cut or extended to `size`.
Call ImportPublic(std::size_t place = 0, BYTE value = PUBLICKEYBLOB, std::size_t size = 148) {
  return [=](const Side& side) {
    const Prepared other(Side::Platform());
    Bytes blob = Exported(Pair(other), PUBLICKEYBLOB);
    blob[place] = value;
    blob.resize(size);
    const Prepared context(side);
    return Import(context, blob);
  };
}
std::string ImportPublicForVerification(const Side& side) {
  const Prepared other(Side::Platform());
  const Bytes blob = Exported(Pair(other), PUBLICKEYBLOB);
  const Verifying context(side);
  return Import(context, blob);
}
std::string ImportSignaturePublic(const Side& side) {
  const Prepared other(Side::Platform());
  const Bytes blob = Exported(Pair(other, AT_SIGNATURE), PUBLICKEYBLOB);
  const Prepared context(side);
  return Import(context, blob);
}
std::string ImportPrivate(const Side& side) {
  const Fresh other(Side::Platform());
  const Bytes blob = Exported(Generated(other, AT_KEYEXCHANGE, (1024U << 16U) | CRYPT_EXPORTABLE), PRIVATEKEYBLOB);
  const Fresh container(side);
  return Import(container, blob);
}
std::string ImportPlain(const Side& side) {
  const Prepared context(side);
  Bytes blob = {PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, 0, 0x03, 0x66, 0, 0, 24, 0, 0, 0};
  blob.resize(blob.size() + 24, 0x31);
  return Import(context, blob);
}
std::string ImportNull(const Side& side) {
  const Prepared context(side);
  Key key;
  return Answer(CryptImportKey(context, nullptr, 20, 0, 0, key.Out()));
}
std::string ImportNowhere(const Side& side) {
  const Prepared context(side);
  const Bytes blob = Exported(Pair(context), PUBLICKEYBLOB);
  return Answer(CryptImportKey(context, blob.data(), Length(blob), 0, 0, nullptr));
}
Call ImportType(BYTE type) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes blob = {type, CUR_BLOB_VERSION, 0, 0, 0x03, 0x66, 0, 0};
    blob.resize(64);
    return Import(context, blob);
  };
}
Call ImportEmpty(std::size_t size) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes blob(16);
    blob[0] = PUBLICKEYBLOB;
    blob[1] = CUR_BLOB_VERSION;
    Key key;
    return Answer(CryptImportKey(context, blob.data(), static_cast<DWORD>(size), 0, 0, key.Out()));
  };
}
Call ImportSession(ALG_ID algorithm, DWORD length) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key pair = Pair(context);
    return Import(context, SimpleBlobFor(context, algorithm, length), pair, CRYPT_EXPORTABLE);
  };
}
std::string ImportSessionWithoutPair(const Side& side) {
  const Prepared context(side);
  return Import(context, SimpleBlobFor(context, CALG_3DES, 24));
}
std::string ImportCorruptedSession(const Side& side) {
  const Prepared context(side);
  Bytes blob = SimpleBlobFor(context, CALG_3DES, 24);
  blob[20] ^= 1U;
  return Import(context, blob, Pair(context));
}
std::string ImportCutSession(const Side& side) {
  const Prepared context(side);
  Bytes blob = SimpleBlobFor(context, CALG_3DES, 24);
  blob.resize(60);
  return Import(context, blob, Pair(context));
}
std::string ImportSessionForVerification(const Side& side) {
  const Prepared prepared(side);
  const Bytes blob = SimpleBlobFor(prepared, CALG_3DES, 24);
  const Verifying context(side);
  return Import(context, blob);
}

}  // namespace

const Rows kImportRows = {
    {"import.public", "CryptImportKey PUBLICKEYBLOB", "TRUE", ImportPublic()},
    {"import.public_signature", "PUBLICKEYBLOB of AT_SIGNATURE", "TRUE", ImportSignaturePublic},
    {"import.public_verification", "PUBLICKEYBLOB in a verification context", "TRUE", ImportPublicForVerification},
    {"import.public_version", "PUBLICKEYBLOB, version 9", "FALSE NTE_BAD_VER", ImportPublic(1, 9)},
    {"import.public_algorithm", "PUBLICKEYBLOB, another algorithm than RSA",
     "FALSE NTE_BAD_ALGID or FALSE NTE_BAD_DATA", ImportPublic(5, 0x66)},
    {"import.public_magic", "PUBLICKEYBLOB, magic `RSA2`", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_TYPE",
     ImportPublic(11, '2')},
    {"import.public_cut", "PUBLICKEYBLOB, 100 of 148 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     ImportPublic(0, PUBLICKEYBLOB, 100)},
    {"import.public_header", "PUBLICKEYBLOB, only the header", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     ImportPublic(0, PUBLICKEYBLOB, 8)},
    {"import.public_long", "PUBLICKEYBLOB with 8 extra bytes", "TRUE", ImportPublic(0, PUBLICKEYBLOB, 156)},
    {"import.short", "a blob of 4 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", ImportEmpty(4)},
    {"import.empty", "a blob of no bytes", "FALSE ERROR_INVALID_PARAMETER or FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     ImportEmpty(0)},
    {"import.null", "a null blob", "FALSE ERROR_INVALID_PARAMETER", ImportNull},
    {"import.nowhere", "a null pointer for the handle", "FALSE ERROR_INVALID_PARAMETER", ImportNowhere},
    {"import.private", "PRIVATEKEYBLOB", "TRUE", ImportPrivate},
    {"import.plain", "PLAINTEXTKEYBLOB of a triple DES key", "TRUE", ImportPlain},
    {"import.opaque", "OPAQUEKEYBLOB of zeros", "FALSE NTE_BAD_TYPE", ImportType(OPAQUEKEYBLOB)},
    {"import.unknown", "an unknown type of blob", "FALSE NTE_BAD_TYPE", ImportType(0x77)},
    {"import.des", "SIMPLEBLOB of a DES key", "TRUE", ImportSession(CALG_DES, 8)},
    {"import.3des", "SIMPLEBLOB of a triple DES key", "TRUE", ImportSession(CALG_3DES, 24)},
    {"import.3des_112", "SIMPLEBLOB of a triple DES key of two keys", "TRUE", ImportSession(CALG_3DES_112, 16)},
    {"import.aes128", "SIMPLEBLOB of an AES-128 key", "TRUE", ImportSession(CALG_AES_128, 16)},
    {"import.aes192", "SIMPLEBLOB of an AES-192 key", "TRUE", ImportSession(CALG_AES_192, 24)},
    {"import.aes256", "SIMPLEBLOB of an AES-256 key", "TRUE", ImportSession(CALG_AES_256, 32)},
    {"import.rc2", "SIMPLEBLOB of an RC2 key", "TRUE", ImportSession(CALG_RC2, 16)},
    {"import.rc4", "SIMPLEBLOB of an RC4 key", "TRUE", ImportSession(CALG_RC4, 16)},
    {"import.simple_without_pair", "SIMPLEBLOB, without the handle of the exchange key",
     "TRUE; the handle of the pair may be given", ImportSessionWithoutPair},
    {"import.simple_corrupted", "SIMPLEBLOB, one bit changed", "FALSE NTE_BAD_DATA", ImportCorruptedSession},
    {"import.simple_cut", "SIMPLEBLOB, 60 of 140 bytes", "FALSE NTE_BAD_DATA", ImportCutSession},
    {"import.simple_verification", "SIMPLEBLOB in a verification context", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY",
     ImportSessionForVerification},
    {"import.there_and_back", "a SIMPLEBLOB that this provider wrote", "TRUE", ThereAndBack},
};
