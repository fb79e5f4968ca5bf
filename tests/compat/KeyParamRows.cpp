// CryptGetKeyParam, CryptSetKeyParam.
#include <cstring>

#include "Row.h"

namespace {

constexpr DWORD kPinInfo = 44;

enum class Kind { kPair, kSignaturePair, kTriple, kAes, kPublic };

Key Of(Kind kind, HCRYPTPROV context) {
  switch (kind) {
    case Kind::kPair:
      return Pair(context);
    case Kind::kSignaturePair:
      return Pair(context, AT_SIGNATURE);
    case Kind::kTriple:
      return Session(context, CALG_3DES, 24);
    case Kind::kAes:
      return Session(context, CALG_AES_128, 16);
    default:
      return Imported(context, Exported(Pair(context), PUBLICKEYBLOB));
  }
}

// Reads a number into a buffer of `room` bytes; 0 is a null buffer.
std::string Ask(HCRYPTKEY key, DWORD parameter, DWORD room, DWORD flags) {
  Bytes value(4096);
  DWORD length = room;
  const BOOL done = CryptGetKeyParam(key, parameter, room == 0 ? nullptr : value.data(), &length, flags);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  DWORD number = 0;
  std::memcpy(&number, value.data(), sizeof number);
  return Answer(done, room == 0 || room > 4 ? "length " + Number(length) : Number(number));
}
Call Get(Kind kind, DWORD parameter, DWORD room = 4, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Ask(Of(kind, context), parameter, room, flags);
  };
}
std::string GetParamNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGetKeyParam(Pair(context), KP_ALGID, nullptr, nullptr, 0));
}
std::string GetOfNoKey(const Side& /*side*/) { return Ask(0, KP_ALGID, 4, 0); }

Call SetNumber(Kind kind, DWORD parameter, DWORD number, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Of(kind, context);
    const DWORD value[4] = {number, 0, 0, 0};
    return Answer(CryptSetKeyParam(key, parameter, reinterpret_cast<const BYTE*>(value), flags));
  };
}

// Sets a number and reads it.
Call SetAndGet(Kind kind, DWORD parameter, DWORD number) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Of(kind, context);
    Step(CryptSetKeyParam(key, parameter, reinterpret_cast<const BYTE*>(&number), 0), "CryptSetKeyParam");
    return Ask(key, parameter, 4, 0);
  };
}
Call SetNull(Kind kind, DWORD parameter) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Answer(CryptSetKeyParam(Of(kind, context), parameter, nullptr, 0));
  };
}
std::string IvThereAndBack(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  const DWORD mode = CRYPT_MODE_CBC;
  Step(CryptSetKeyParam(key, KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0), "CryptSetKeyParam");
  Step(CryptSetKeyParam(key, KP_IV, Bytes(8, 0x5A).data(), 0), "CryptSetKeyParam");
  Bytes iv(8);
  DWORD length = 8;
  const BOOL done = CryptGetKeyParam(key, KP_IV, iv.data(), &length, 0);
  return Answer(done, Hex(iv));
}
Call SetSalt(Kind kind) {
  return [=](const Side& side) {
    const Prepared context(side);
    BYTE bytes[11] = {1, 2, 3};
    const CRYPT_INTEGER_BLOB salt = {sizeof bytes, bytes};
    return Answer(CryptSetKeyParam(Of(kind, context), KP_SALT_EX, reinterpret_cast<const BYTE*>(&salt), 0));
  };
}
std::string SetOfNoKey(const Side& /*side*/) {
  const DWORD mode = CRYPT_MODE_CBC;
  return Answer(CryptSetKeyParam(0, KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0));
}
std::string CertificateOfNewContainer(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  return Ask(pair, KP_CERTIFICATE, 4096, 0);
}

}  // namespace

const Rows kPairParamRows = {
    {"param.pair.algid", "KP_ALGID of AT_KEYEXCHANGE", "TRUE, 41984; CALG_RSA_KEYX", Get(Kind::kPair, KP_ALGID)},
    {"param.pair.algid_signature", "KP_ALGID of AT_SIGNATURE", "TRUE, 9216; CALG_RSA_SIGN",
     Get(Kind::kSignaturePair, KP_ALGID)},
    {"param.pair.algid_size", "KP_ALGID, null buffer", "TRUE, length 4", Get(Kind::kPair, KP_ALGID, 0)},
    {"param.pair.algid_small", "KP_ALGID, 3 bytes", "FALSE ERROR_MORE_DATA, length 4", Get(Kind::kPair, KP_ALGID, 3)},
    {"param.pair.algid_larger", "KP_ALGID, 64 bytes", "TRUE, length 4", Get(Kind::kPair, KP_ALGID, 64)},
    {"param.pair.keylen", "KP_KEYLEN of a pair", "TRUE, 1024", Get(Kind::kPair, KP_KEYLEN)},
    {"param.pair.keylen_larger", "KP_KEYLEN of a pair, 64 bytes", "TRUE, length 4", Get(Kind::kPair, KP_KEYLEN, 64)},
    {"param.pair.keylen_small", "KP_KEYLEN of a pair, 3 bytes", "FALSE ERROR_MORE_DATA, length 4",
     Get(Kind::kPair, KP_KEYLEN, 3)},
    {"param.pair.blocklen", "KP_BLOCKLEN of a pair", "TRUE, 1024", Get(Kind::kPair, KP_BLOCKLEN)},
    {"param.pair.permissions", "KP_PERMISSIONS of a pair", "TRUE; a set of flags", Get(Kind::kPair, KP_PERMISSIONS)},
    {"param.pair.permissions_size", "KP_PERMISSIONS of a pair, null buffer", "TRUE, length 4",
     Get(Kind::kPair, KP_PERMISSIONS, 0)},
    {"param.pair.padding", "KP_PADDING of a pair", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, KP_PADDING)},
    {"param.pair.mode", "KP_MODE of a pair", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, KP_MODE)},
    {"param.pair.mode_size", "KP_MODE of a pair, null buffer", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, KP_MODE, 0)},
    {"param.pair.iv", "KP_IV of a pair", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, KP_IV, 16)},
    {"param.pair.salt", "KP_SALT of a pair", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, KP_SALT, 16)},
    {"param.pair.effective", "KP_EFFECTIVE_KEYLEN of a pair", "FALSE NTE_BAD_TYPE",
     Get(Kind::kPair, KP_EFFECTIVE_KEYLEN)},
    {"param.pair.pin_info", "KP_PIN_INFO of a pair", "TRUE or FALSE NTE_BAD_TYPE; for cards",
     Get(Kind::kPair, kPinInfo, 64)},
    {"param.pair.unknown", "an unknown parameter of a pair", "FALSE NTE_BAD_TYPE", Get(Kind::kPair, 0x777)},
    {"param.pair.flags", "KP_ALGID with flags", "FALSE NTE_BAD_FLAGS", Get(Kind::kPair, KP_ALGID, 4, 1)},
    {"param.pair.nowhere", "KP_ALGID, a null pointer for the length", "FALSE ERROR_INVALID_PARAMETER", GetParamNowhere},
    {"param.no_key", "KP_ALGID of key 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER", GetOfNoKey},
    {"param.public.algid", "KP_ALGID of an imported public key", "TRUE, 41984; CALG_RSA_KEYX",
     Get(Kind::kPublic, KP_ALGID)},
    {"param.public.keylen", "KP_KEYLEN of an imported public key", "TRUE, 1024", Get(Kind::kPublic, KP_KEYLEN)},
    {"param.public.blocklen", "KP_BLOCKLEN of an imported public key", "TRUE, 1024", Get(Kind::kPublic, KP_BLOCKLEN)},
    {"param.public.mode", "KP_MODE of an imported public key", "FALSE NTE_BAD_TYPE", Get(Kind::kPublic, KP_MODE)},
    {"param.public.set_mode", "CryptSetKeyParam KP_MODE of an imported public key", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPublic, KP_MODE, CRYPT_MODE_CBC)},
    {"param.certificate.none", "KP_CERTIFICATE without a certificate",
     "FALSE SCARD_E_NO_SUCH_CERTIFICATE or FALSE NTE_BAD_TYPE; for cards", CertificateOfNewContainer},
    {"param.pair.set_mode", "CryptSetKeyParam KP_MODE of a pair", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPair, KP_MODE, CRYPT_MODE_CBC)},
    {"param.pair.set_padding", "CryptSetKeyParam KP_PADDING of a pair", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPair, KP_PADDING, PKCS5_PADDING)},
    {"param.pair.set_permissions", "CryptSetKeyParam KP_PERMISSIONS of a pair", "TRUE or FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPair, KP_PERMISSIONS, CRYPT_ENCRYPT)},
    {"param.pair.set_algid", "CryptSetKeyParam KP_ALGID of a pair", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPair, KP_ALGID, CALG_RSA_KEYX)},
    {"param.pair.set_unknown", "CryptSetKeyParam of a pair, an unknown parameter", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kPair, 0x777, 0)},
};

const Rows kSessionParamRows = {
    {"param.3des.algid", "KP_ALGID of a triple DES key", "TRUE, 26115; CALG_3DES", Get(Kind::kTriple, KP_ALGID)},
    {"param.3des.keylen", "KP_KEYLEN of a triple DES key, in bits", "TRUE, 192 or TRUE, 168",
     Get(Kind::kTriple, KP_KEYLEN)},
    {"param.3des.keylen_size", "KP_KEYLEN of a triple DES key, null buffer", "TRUE, length 4",
     Get(Kind::kTriple, KP_KEYLEN, 0)},
    {"param.3des.blocklen", "KP_BLOCKLEN of a triple DES key, in bits", "TRUE, 64", Get(Kind::kTriple, KP_BLOCKLEN)},
    {"param.3des.mode", "KP_MODE of an imported triple DES key", "TRUE, 1; CRYPT_MODE_CBC",
     Get(Kind::kTriple, KP_MODE)},
    {"param.3des.mode_bits", "KP_MODE_BITS of an imported triple DES key", "TRUE, 0 or TRUE, 8",
     Get(Kind::kTriple, KP_MODE_BITS)},
    {"param.3des.padding", "KP_PADDING of a triple DES key", "TRUE, 1; PKCS5_PADDING", Get(Kind::kTriple, KP_PADDING)},
    {"param.3des.permissions", "KP_PERMISSIONS of a triple DES key, imported with CRYPT_EXPORTABLE",
     "TRUE; a set of flags", Get(Kind::kTriple, KP_PERMISSIONS)},
    {"param.3des.permissions_small", "KP_PERMISSIONS of a triple DES key, 3 bytes", "FALSE ERROR_MORE_DATA, length 4",
     Get(Kind::kTriple, KP_PERMISSIONS, 3)},
    {"param.3des.iv_size", "KP_IV of a triple DES key, null buffer", "TRUE, length 8", Get(Kind::kTriple, KP_IV, 0)},
    {"param.3des.iv_small", "KP_IV of a triple DES key, 7 bytes", "FALSE ERROR_MORE_DATA, length 8",
     Get(Kind::kTriple, KP_IV, 7)},
    {"param.3des.iv_read", "KP_IV of a triple DES key, set and read", "TRUE, 5A5A5A5A", IvThereAndBack},
    {"param.3des.salt", "KP_SALT of a triple DES key", "TRUE or FALSE NTE_BAD_TYPE", Get(Kind::kTriple, KP_SALT, 64)},
    {"param.3des.effective", "KP_EFFECTIVE_KEYLEN of a triple DES key", "FALSE NTE_BAD_TYPE; for RC2",
     Get(Kind::kTriple, KP_EFFECTIVE_KEYLEN)},
    {"param.3des.certificate", "KP_CERTIFICATE of a triple DES key", "FALSE NTE_BAD_TYPE",
     Get(Kind::kTriple, KP_CERTIFICATE, 64)},
    {"param.3des.unknown", "an unknown parameter of a triple DES key", "FALSE NTE_BAD_TYPE", Get(Kind::kTriple, 0x777)},
    {"param.3des.flags", "KP_KEYLEN of a triple DES key with flags", "FALSE NTE_BAD_FLAGS",
     Get(Kind::kTriple, KP_KEYLEN, 4, 1)},
    {"param.aes.algid", "KP_ALGID of an AES-128 key", "TRUE, 26126; CALG_AES_128", Get(Kind::kAes, KP_ALGID)},
    {"param.aes.keylen", "KP_KEYLEN of an AES-128 key, in bits", "TRUE, 128", Get(Kind::kAes, KP_KEYLEN)},
    {"param.aes.blocklen", "KP_BLOCKLEN of an AES-128 key, in bits", "TRUE, 128", Get(Kind::kAes, KP_BLOCKLEN)},
    {"param.aes.mode", "KP_MODE of an imported AES-128 key", "TRUE, 1; CRYPT_MODE_CBC", Get(Kind::kAes, KP_MODE)},
    {"param.aes.iv_size", "KP_IV of an AES-128 key, null buffer", "TRUE, length 16", Get(Kind::kAes, KP_IV, 0)},
    {"param.3des.set_cbc", "CryptSetKeyParam KP_MODE CRYPT_MODE_CBC, then read", "TRUE, 1",
     SetAndGet(Kind::kTriple, KP_MODE, CRYPT_MODE_CBC)},
    {"param.3des.set_ecb", "CryptSetKeyParam KP_MODE CRYPT_MODE_ECB, then read", "TRUE, 2",
     SetAndGet(Kind::kTriple, KP_MODE, CRYPT_MODE_ECB)},
    {"param.3des.set_ofb", "CryptSetKeyParam KP_MODE CRYPT_MODE_OFB of a triple DES key",
     "FALSE NTE_BAD_DATA or FALSE NTE_BAD_ALGID; Microsoft's providers do not support it",
     SetNumber(Kind::kTriple, KP_MODE, CRYPT_MODE_OFB)},
    {"param.3des.set_cfb", "CryptSetKeyParam KP_MODE CRYPT_MODE_CFB, then read", "TRUE, 4",
     SetAndGet(Kind::kTriple, KP_MODE, CRYPT_MODE_CFB)},
    {"param.3des.set_cts", "CryptSetKeyParam KP_MODE CRYPT_MODE_CTS of a triple DES key",
     "FALSE NTE_BAD_DATA or FALSE NTE_BAD_ALGID; Microsoft's providers do not support it",
     SetNumber(Kind::kTriple, KP_MODE, CRYPT_MODE_CTS)},
    {"param.3des.set_mode_7", "CryptSetKeyParam KP_MODE 7 of a triple DES key", "FALSE NTE_BAD_DATA",
     SetNumber(Kind::kTriple, KP_MODE, 7)},
    {"param.aes.set_mode_7", "CryptSetKeyParam KP_MODE 7 of an AES-128 key", "FALSE NTE_BAD_DATA",
     SetNumber(Kind::kAes, KP_MODE, 7)},
    {"param.3des.set_mode_bits", "CryptSetKeyParam KP_MODE_BITS 8, then read", "TRUE, 8",
     SetAndGet(Kind::kTriple, KP_MODE_BITS, 8)},
    {"param.3des.set_iv", "CryptSetKeyParam KP_IV of a triple DES key", "TRUE", SetNumber(Kind::kTriple, KP_IV, 7)},
    {"param.aes.set_iv", "CryptSetKeyParam KP_IV of an AES-128 key", "TRUE", SetNumber(Kind::kAes, KP_IV, 7)},
    {"param.3des.set_padding", "CryptSetKeyParam KP_PADDING PKCS5_PADDING", "TRUE",
     SetNumber(Kind::kTriple, KP_PADDING, PKCS5_PADDING)},
    {"param.3des.set_padding_2", "CryptSetKeyParam KP_PADDING RANDOM_PADDING",
     "FALSE NTE_BAD_DATA or FALSE NTE_BAD_FLAGS", SetNumber(Kind::kTriple, KP_PADDING, RANDOM_PADDING)},
    {"param.3des.set_permissions", "CryptSetKeyParam KP_PERMISSIONS CRYPT_ENCRYPT, then read",
     "TRUE, 1; permissions can be taken away", SetAndGet(Kind::kTriple, KP_PERMISSIONS, CRYPT_ENCRYPT)},
    {"param.3des.set_permissions_40", "CryptSetKeyParam KP_PERMISSIONS 0x40",
     "TRUE or FALSE NTE_BAD_DATA; CRYPT_EXPORT_KEY", SetNumber(Kind::kTriple, KP_PERMISSIONS, 0x40)},
    {"param.3des.set_salt", "CryptSetKeyParam KP_SALT of a triple DES key", "TRUE or FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kTriple, KP_SALT, 1)},
    {"param.3des.set_salt_ex", "CryptSetKeyParam KP_SALT_EX of a triple DES key", "TRUE or FALSE NTE_BAD_KEY",
     SetSalt(Kind::kTriple)},
    {"param.pair.set_salt_ex", "CryptSetKeyParam KP_SALT_EX of a pair", "FALSE NTE_BAD_KEY or FALSE NTE_BAD_TYPE",
     SetSalt(Kind::kPair)},
    {"param.3des.set_effective", "CryptSetKeyParam KP_EFFECTIVE_KEYLEN of a triple DES key",
     "FALSE NTE_BAD_TYPE; for RC2", SetNumber(Kind::kTriple, KP_EFFECTIVE_KEYLEN, 40)},
    {"param.3des.set_algid", "CryptSetKeyParam KP_ALGID of a triple DES key", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kTriple, KP_ALGID, CALG_DES)},
    {"param.3des.set_unknown", "CryptSetKeyParam of a triple DES key, an unknown parameter", "FALSE NTE_BAD_TYPE",
     SetNumber(Kind::kTriple, 0x777, 0)},
    {"param.3des.set_null", "CryptSetKeyParam KP_MODE, a null pointer", "FALSE ERROR_INVALID_PARAMETER",
     SetNull(Kind::kTriple, KP_MODE)},
    {"param.3des.set_flags", "CryptSetKeyParam KP_MODE with flags", "FALSE NTE_BAD_FLAGS",
     SetNumber(Kind::kTriple, KP_MODE, CRYPT_MODE_CBC, 1)},
    {"param.set_no_key", "CryptSetKeyParam of key 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     SetOfNoKey},
};
