// CryptExportKey, CryptImportKey.
#include "Row.h"

namespace {

constexpr DWORD kPublicKeyBlobEx = 0xA;
constexpr std::size_t kHeader = 8;

DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

std::string Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, DWORD flags, DWORD room) {
  Bytes blob(4096);
  DWORD length = room;
  const BOOL done = CryptExportKey(key, exchangeKey, type, flags, room == 0 ? nullptr : blob.data(), &length);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, InBytes(length));
}
// Of the pair; a room of 0 is a question for the size.
Call ExportPair(DWORD type, DWORD room, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Export(Pair(context, keySpec), 0, type, flags, room);
  };
}
std::string ExportPairForAKey(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  return Export(pair, key, PUBLICKEYBLOB, 0, 1024);
}
std::string ExportExportablePair(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, (1024U << 16U) | CRYPT_EXPORTABLE);
  return Export(pair, 0, PRIVATEKEYBLOB, 0, 4096);
}
std::string ExportNowhere(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  return Answer(CryptExportKey(pair, 0, PUBLICKEYBLOB, 0, nullptr, nullptr));
}
// What stands at a place of the public key's blob.
Call Field(std::size_t place, std::size_t size, DWORD keySpec = AT_KEYEXCHANGE) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Bytes blob = Exported(Pair(context, keySpec), PUBLICKEYBLOB);
    const auto begin = blob.begin() + static_cast<std::ptrdiff_t>(place);
    return "TRUE, " + Hex(Bytes(begin, begin + static_cast<std::ptrdiff_t>(size)));
  };
}
std::string ExportImported(const Side& side) {
  const Prepared context(side);
  const Bytes blob = Exported(Pair(context), PUBLICKEYBLOB);
  const Key imported = Imported(context, blob);
  const Bytes again = Exported(imported, PUBLICKEYBLOB);
  return blob == again ? "TRUE, the same blob" : "TRUE, another algorithm";
}

// Of a session key that is generated.
Call ExportSession(ALG_ID algorithm, DWORD flags, DWORD type, DWORD room) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Generated(context, algorithm, flags);
    return Export(key, Pair(context), type, 0, room);
  };
}
Call ExportSessionWithoutKey(DWORD type) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
    return Export(key, 0, type, 0, 1024);
  };
}
std::string ExportSessionForImported(const Side& side) {
  const Prepared context(side);
  const Key other = Imported(context, Exported(Pair(context), PUBLICKEYBLOB));
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  return Export(key, other, SIMPLEBLOB, 0, 140);
}
std::string ExportPairAsSession(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  return Export(pair, pair, SIMPLEBLOB, 0, 1024);
}
Call ExportImportedSession(DWORD flags) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key pair = Pair(context);
    const Key key = Imported(context, SimpleBlobFor(context, CALG_3DES, 24), pair, flags);
    return Export(key, pair, SIMPLEBLOB, 0, 140);
  };
}
std::string SessionHeader(const Side& side) {
  const Prepared context(side);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  const Bytes blob = Exported(key, SIMPLEBLOB, Pair(context));
  return "TRUE, " + Hex(blob) + " " + Hex(Bytes(blob.begin() + 4, blob.begin() + kHeader)) + " " +
         Hex(Bytes(blob.begin() + kHeader, blob.begin() + 12));
}
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
// The public key of the platform's prepared pair, changed at a place.
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

const Rows kExportRows = {
    {"export.public", "CryptExportKey PUBLICKEYBLOB of 1024 bits", "TRUE, 148 bytes", ExportPair(PUBLICKEYBLOB, 148)},
    {"export.public_size", "PUBLICKEYBLOB, null buffer", "TRUE, 148 bytes", ExportPair(PUBLICKEYBLOB, 0)},
    {"export.public_small", "PUBLICKEYBLOB, 147 bytes", "FALSE ERROR_MORE_DATA, length 148",
     ExportPair(PUBLICKEYBLOB, 147)},
    {"export.public_larger", "PUBLICKEYBLOB, 4096 bytes", "TRUE, 148 bytes", ExportPair(PUBLICKEYBLOB, 4096)},
    {"export.public_signature", "PUBLICKEYBLOB of AT_SIGNATURE", "TRUE, 148 bytes",
     ExportPair(PUBLICKEYBLOB, 148, AT_SIGNATURE)},
    {"export.public_for_key", "PUBLICKEYBLOB with an exchange key",
     "FALSE NTE_BAD_KEY or FALSE ERROR_INVALID_PARAMETER; it must be 0", ExportPairForAKey},
    {"export.public_flags", "PUBLICKEYBLOB with the flag 0x80", "FALSE NTE_BAD_FLAGS",
     ExportPair(PUBLICKEYBLOB, 148, AT_KEYEXCHANGE, 0x80)},
    {"export.public_type", "PUBLICKEYBLOB: type and version", "TRUE, 0602", Field(0, 2)},
    {"export.public_algorithm", "PUBLICKEYBLOB: algorithm of AT_KEYEXCHANGE", "TRUE, 00A40000", Field(4, 4)},
    {"export.public_algorithm_signature", "PUBLICKEYBLOB: algorithm of AT_SIGNATURE", "TRUE, 00240000",
     Field(4, 4, AT_SIGNATURE)},
    {"export.public_magic", "PUBLICKEYBLOB: magic", "TRUE, 52534131", Field(8, 4)},
    {"export.public_bits", "PUBLICKEYBLOB: bits", "TRUE, 00040000", Field(12, 4)},
    {"export.public_exponent", "PUBLICKEYBLOB: exponent", "TRUE, 01000100", Field(16, 4)},
    {"export.public_imported", "PUBLICKEYBLOB of an imported public key of AT_KEYEXCHANGE", "TRUE, the same blob",
     ExportImported},
    {"export.private", "PRIVATEKEYBLOB of a pair that may not be exported", "FALSE NTE_BAD_KEY_STATE",
     ExportPair(PRIVATEKEYBLOB, 4096)},
    {"export.private_exportable", "PRIVATEKEYBLOB of a pair that may be exported", "TRUE, 596 bytes",
     ExportExportablePair},
    {"export.opaque", "OPAQUEKEYBLOB of a pair", "FALSE NTE_BAD_TYPE", ExportPair(OPAQUEKEYBLOB, 4096)},
    {"export.plain_pair", "PLAINTEXTKEYBLOB of a pair", "FALSE NTE_BAD_TYPE or FALSE NTE_BAD_KEY",
     ExportPair(PLAINTEXTKEYBLOB, 4096)},
    {"export.public_ex", "PUBLICKEYBLOBEX of a pair", "FALSE NTE_BAD_TYPE", ExportPair(kPublicKeyBlobEx, 4096)},
    {"export.unknown", "a type of blob that is none", "FALSE NTE_BAD_TYPE", ExportPair(0x77, 4096)},
    {"export.nowhere", "no place for the length", "FALSE ERROR_INVALID_PARAMETER", ExportNowhere},
    {"export.pair_simple", "SIMPLEBLOB of a pair", "FALSE NTE_BAD_KEY or FALSE NTE_BAD_TYPE", ExportPairAsSession},
    {"export.simple", "SIMPLEBLOB of a triple DES key", "TRUE, 140 bytes",
     ExportSession(CALG_3DES, CRYPT_EXPORTABLE, SIMPLEBLOB, 140)},
    {"export.simple_size", "SIMPLEBLOB, null buffer", "TRUE, 140 bytes",
     ExportSession(CALG_3DES, CRYPT_EXPORTABLE, SIMPLEBLOB, 0)},
    {"export.simple_small", "SIMPLEBLOB, 100 bytes", "FALSE ERROR_MORE_DATA, length 140",
     ExportSession(CALG_3DES, CRYPT_EXPORTABLE, SIMPLEBLOB, 100)},
    {"export.simple_aes", "SIMPLEBLOB of an AES-128 key", "TRUE, 140 bytes",
     ExportSession(CALG_AES_128, CRYPT_EXPORTABLE, SIMPLEBLOB, 140)},
    {"export.simple_not_exportable", "SIMPLEBLOB of a key that was generated with flags 0", "FALSE NTE_BAD_KEY_STATE",
     ExportSession(CALG_3DES, 0, SIMPLEBLOB, 140)},
    {"export.simple_imported", "SIMPLEBLOB of a key that was imported with CRYPT_EXPORTABLE", "TRUE, 140 bytes",
     ExportImportedSession(CRYPT_EXPORTABLE)},
    {"export.simple_imported_not", "SIMPLEBLOB of a key that was imported with flags 0", "FALSE NTE_BAD_KEY_STATE",
     ExportImportedSession(0)},
    {"export.simple_without_key", "SIMPLEBLOB without an exchange key",
     "FALSE NTE_BAD_KEY or FALSE ERROR_INVALID_PARAMETER or FALSE ERROR_INVALID_HANDLE",
     ExportSessionWithoutKey(SIMPLEBLOB)},
    {"export.simple_for_imported", "SIMPLEBLOB for an imported public key", "TRUE, 140 bytes",
     ExportSessionForImported},
    {"export.simple_header", "SIMPLEBLOB: header and algorithms", "TRUE, 01020000 03660000 00A40000", SessionHeader},
    {"export.session_public", "PUBLICKEYBLOB of a session key", "FALSE NTE_BAD_KEY or FALSE NTE_BAD_TYPE",
     ExportSessionWithoutKey(PUBLICKEYBLOB)},
    {"export.plain", "PLAINTEXTKEYBLOB of a triple DES key", "TRUE, 36 bytes",
     ExportSessionWithoutKey(PLAINTEXTKEYBLOB)},
    {"export.wrapped", "SYMMETRICWRAPKEYBLOB of a triple DES key, for a pair", "FALSE NTE_BAD_KEY",
     ExportSession(CALG_3DES, CRYPT_EXPORTABLE, SYMMETRICWRAPKEYBLOB, 1024)},
};

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
    {"import.public_header", "PUBLICKEYBLOB, the header alone", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     ImportPublic(0, PUBLICKEYBLOB, 8)},
    {"import.public_long", "PUBLICKEYBLOB with 8 bytes more", "TRUE", ImportPublic(0, PUBLICKEYBLOB, 156)},
    {"import.short", "a blob of 4 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", ImportEmpty(4)},
    {"import.empty", "a blob of no bytes", "FALSE ERROR_INVALID_PARAMETER or FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     ImportEmpty(0)},
    {"import.null", "a null blob", "FALSE ERROR_INVALID_PARAMETER", ImportNull},
    {"import.nowhere", "no place for the handle", "FALSE ERROR_INVALID_PARAMETER", ImportNowhere},
    {"import.private", "PRIVATEKEYBLOB", "TRUE", ImportPrivate},
    {"import.plain", "PLAINTEXTKEYBLOB of a triple DES key", "TRUE", ImportPlain},
    {"import.opaque", "OPAQUEKEYBLOB of zeros", "FALSE NTE_BAD_TYPE", ImportType(OPAQUEKEYBLOB)},
    {"import.unknown", "a type of blob that is none", "FALSE NTE_BAD_TYPE", ImportType(0x77)},
    {"import.des", "SIMPLEBLOB of a DES key", "TRUE", ImportSession(CALG_DES, 8)},
    {"import.3des", "SIMPLEBLOB of a triple DES key", "TRUE", ImportSession(CALG_3DES, 24)},
    {"import.3des_112", "SIMPLEBLOB of a triple DES key of two keys", "TRUE", ImportSession(CALG_3DES_112, 16)},
    {"import.aes128", "SIMPLEBLOB of an AES-128 key", "TRUE", ImportSession(CALG_AES_128, 16)},
    {"import.aes192", "SIMPLEBLOB of an AES-192 key", "TRUE", ImportSession(CALG_AES_192, 24)},
    {"import.aes256", "SIMPLEBLOB of an AES-256 key", "TRUE", ImportSession(CALG_AES_256, 32)},
    {"import.rc2", "SIMPLEBLOB of an RC2 key", "TRUE", ImportSession(CALG_RC2, 16)},
    {"import.rc4", "SIMPLEBLOB of an RC4 key", "TRUE", ImportSession(CALG_RC4, 16)},
    {"import.simple_without_pair", "SIMPLEBLOB, the exchange key not named",
     "TRUE; the handle of the pair may be given", ImportSessionWithoutPair},
    {"import.simple_corrupted", "SIMPLEBLOB, a bit is another one", "FALSE NTE_BAD_DATA", ImportCorruptedSession},
    {"import.simple_cut", "SIMPLEBLOB, 60 of 140 bytes", "FALSE NTE_BAD_DATA", ImportCutSession},
    {"import.simple_verification", "SIMPLEBLOB in a verification context", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY",
     ImportSessionForVerification},
    {"import.there_and_back", "a SIMPLEBLOB that this provider wrote", "TRUE", ThereAndBack},
};
