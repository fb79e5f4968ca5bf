// CryptExportKey.
#include "Row.h"

namespace {

constexpr DWORD kPublicKeyBlobEx = 0xA;
constexpr std::size_t kHeader = 8;
std::string Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, DWORD flags, DWORD room) {
  Bytes blob(4096);
  DWORD length = room;
  const BOOL done = CryptExportKey(key, exchangeKey, type, flags, room == 0 ? nullptr : blob.data(), &length);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, InBytes(length));
}

// Exports the pair. A room of 0 asks for the size.
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

// The bytes at a place in the public key's blob.
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

// Exports a generated session key.
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
    {"export.private", "PRIVATEKEYBLOB of a pair that is not exportable", "FALSE NTE_BAD_KEY_STATE",
     ExportPair(PRIVATEKEYBLOB, 4096)},
    {"export.private_exportable", "PRIVATEKEYBLOB of a pair that is exportable", "TRUE, 596 bytes",
     ExportExportablePair},
    {"export.opaque", "OPAQUEKEYBLOB of a pair", "FALSE NTE_BAD_TYPE", ExportPair(OPAQUEKEYBLOB, 4096)},
    {"export.plain_pair", "PLAINTEXTKEYBLOB of a pair", "FALSE NTE_BAD_TYPE or FALSE NTE_BAD_KEY",
     ExportPair(PLAINTEXTKEYBLOB, 4096)},
    {"export.public_ex", "PUBLICKEYBLOBEX of a pair", "FALSE NTE_BAD_TYPE", ExportPair(kPublicKeyBlobEx, 4096)},
    {"export.unknown", "an unknown type of blob", "FALSE NTE_BAD_TYPE", ExportPair(0x77, 4096)},
    {"export.nowhere", "a null pointer for the length", "FALSE ERROR_INVALID_PARAMETER", ExportNowhere},
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
