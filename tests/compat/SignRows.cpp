// CryptSignHash.
#include "Row.h"

namespace {

std::string Sign(HCRYPTHASH hash, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0, DWORD room = 128) {
  Bytes signature(1024);
  DWORD length = room;
  const BOOL done = CryptSignHashA(hash, keySpec, nullptr, flags, signature.data(), &length);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, InBytes(length));
}
Call SignOf(ALG_ID algorithm, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0, DWORD room = 128) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Sign(HashOf(context, algorithm), keySpec, flags, room);
  };
}
Call SignSet(ALG_ID algorithm, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    Hash hash;
    Step(CryptCreateHash(context, algorithm, 0, 0, hash.Out()), "CryptCreateHash");
    Step(CryptSetHashParam(hash, HP_HASHVAL, Bytes(64, 0x5A).data(), 0), "CryptSetHashParam");
    return Sign(hash, AT_KEYEXCHANGE, flags);
  };
}
std::string SignSize(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  DWORD length = 0;
  const BOOL done = CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length);
  return Answer(done, InBytes(length));
}
std::string DataAfterTheSize(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  DWORD length = 0;
  Step(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length), "CryptSignHash");
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
std::string DataAfterTheSignature(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  Signature(hash);
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
std::string SignNothing(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  return Sign(hash);
}
std::string SignWithDescription(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  Bytes signature(128);
  DWORD length = Length(signature);
  const BOOL done = CryptSignHashA(hash, AT_KEYEXCHANGE, "description", 0, signature.data(), &length);
  return Answer(done, InBytes(length));
}
std::string SignTwice(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Signature(hash) == Signature(hash) ? "TRUE, the same" : "TRUE, another";
}
std::string SignWithoutKeys(const Side& side) {
  const Fresh container(side);
  return Sign(HashOf(container, CALG_SHA1));
}
std::string SignForVerification(const Side& side) {
  const Verifying context(side);
  return Sign(HashOf(context, CALG_SHA1));
}
std::string SignSilently(const Side& side) {
  const Prepared context(side, CRYPT_SILENT);
  return Sign(HashOf(context, CALG_SHA1));
}
std::string SignNoHash(const Side& /*side*/) { return Sign(0); }

}  // namespace

const Rows kSignRows = {
    {"sign.md5", "CryptSignHash of MD5", "TRUE, 128 bytes", SignOf(CALG_MD5)},
    {"sign.sha1", "CryptSignHash of SHA-1", "TRUE, 128 bytes", SignOf(CALG_SHA1)},
    {"sign.sha256", "CryptSignHash of SHA-256", "TRUE, 128 bytes", SignOf(CALG_SHA_256)},
    {"sign.sha384", "CryptSignHash of SHA-384", "TRUE, 128 bytes", SignOf(0x800D)},
    {"sign.sha512", "CryptSignHash of SHA-512", "TRUE, 128 bytes", SignOf(CALG_SHA_512)},
    {"sign.ssl3", "CryptSignHash of a value of CALG_SSL3_SHAMD5 that was set", "TRUE, 128 bytes",
     SignSet(CALG_SSL3_SHAMD5)},
    {"sign.set", "CryptSignHash of a value of SHA-1 that was set", "TRUE, 128 bytes", SignSet(CALG_SHA1)},
    {"sign.signature_key", "CryptSignHash with AT_SIGNATURE", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_SIGNATURE)},
    {"sign.keyspec_0", "CryptSignHash with key spec 0", "FALSE NTE_NO_KEY or FALSE NTE_BAD_ALGID",
     SignOf(CALG_SHA1, 0)},
    {"sign.keyspec_3", "CryptSignHash with key spec 3", "FALSE NTE_NO_KEY or FALSE NTE_BAD_ALGID",
     SignOf(CALG_SHA1, 3)},
    {"sign.size", "CryptSignHash, null buffer", "TRUE, 128 bytes", SignSize},
    {"sign.small", "CryptSignHash, 127 bytes", "FALSE ERROR_MORE_DATA, length 128",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0, 127)},
    {"sign.larger", "CryptSignHash, 1024 bytes", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0, 1024)},
    {"sign.no_oid", "CryptSignHash with CRYPT_NOHASHOID", "TRUE, 128 bytes",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, CRYPT_NOHASHOID)},
    {"sign.flag_2", "CryptSignHash with CRYPT_TYPE2_FORMAT", "FALSE NTE_BAD_FLAGS; it is no longer supported",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 2)},
    {"sign.x931", "CryptSignHash with CRYPT_X931_FORMAT", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_KEYEXCHANGE, 4)},
    {"sign.flag_80", "CryptSignHash with the undefined flag 0x80", "FALSE NTE_BAD_FLAGS",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0x80)},
    {"sign.description", "CryptSignHash with a description",
     "TRUE or FALSE ERROR_INVALID_PARAMETER; it is no longer used and must be null", SignWithDescription},
    {"sign.nothing", "CryptSignHash without data", "TRUE, 128 bytes", SignNothing},
    {"sign.twice", "CryptSignHash twice", "TRUE, the same", SignTwice},
    {"sign.data_after", "CryptHashData after CryptSignHash", "FALSE NTE_BAD_HASH_STATE", DataAfterTheSignature},
    {"sign.data_after_size", "CryptHashData after CryptSignHash with a null buffer",
     "TRUE or FALSE NTE_BAD_HASH_STATE; it is not documented", DataAfterTheSize},
    {"sign.without_keys", "CryptSignHash in a container without keys", "FALSE NTE_NO_KEY", SignWithoutKeys},
    {"sign.verification", "CryptSignHash in a verification context", "FALSE NTE_NO_KEY", SignForVerification},
    {"sign.silent", "CryptSignHash with CRYPT_SILENT, the PIN given", "TRUE, 128 bytes", SignSilently},
    {"sign.no_hash", "CryptSignHash of no hash", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     SignNoHash},
};
