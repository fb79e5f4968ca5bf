// CryptGetHashParam, CryptSetHashParam.
#include "Row.h"

namespace {

// Reads a parameter into a buffer of `room` bytes. A room of 0 asks for the size.
Call GetParam(ALG_ID algorithm, DWORD parameter, DWORD room, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Hash hash = HashOf(context, algorithm);
    Bytes value(64);
    DWORD length = room;
    const BOOL done = CryptGetHashParam(hash, parameter, room == 0 ? nullptr : value.data(), &length, flags);
    std::string details = "length " + Number(length);
    const std::string answer = Answer(done, details);
    if (done == FALSE) return GetLastError() == ERROR_MORE_DATA ? answer + ", " + details : answer;
    return room == 0 ? answer : answer + ", " + Hex(value);
  };
}
std::string GetWithoutLength(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  BYTE value[20];
  return Answer(CryptGetHashParam(hash, HP_HASHVAL, value, nullptr, 0));
}

const Bytes& SomeValue() {
  static const Bytes value(64, 0x5A);
  return value;
}
Call SetParam(DWORD parameter, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    Hash hash;
    Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
    return Answer(CryptSetHashParam(hash, parameter, SomeValue().data(), flags));
  };
}
std::string SetNothing(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  return Answer(CryptSetHashParam(hash, HP_HASHVAL, nullptr, 0));
}
std::string SetAndRead(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  Step(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0), "CryptSetHashParam");
  return HashValue(hash);
}
std::string SetAfterData(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Answer(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0));
}
std::string SetAfterTheValue(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  HashValue(hash);
  return Answer(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0));
}
std::string SetTwice(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  Step(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0), "CryptSetHashParam");
  return Answer(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0));
}
std::string DataAfterASetValue(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  Step(CryptSetHashParam(hash, HP_HASHVAL, SomeValue().data(), 0), "CryptSetHashParam");
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}

}  // namespace

const Rows kHashParamRows = {
    {"hash.get.value_size", "HP_HASHVAL, null buffer, SHA-1", "TRUE, length 20", GetParam(CALG_SHA1, HP_HASHVAL, 0)},
    {"hash.get.value_size_md5", "HP_HASHVAL, null buffer, MD5", "TRUE, length 16", GetParam(CALG_MD5, HP_HASHVAL, 0)},
    {"hash.get.value_size_sha256", "HP_HASHVAL, null buffer, SHA-256", "TRUE, length 32",
     GetParam(CALG_SHA_256, HP_HASHVAL, 0)},
    {"hash.get.value_size_sha512", "HP_HASHVAL, null buffer, SHA-512", "TRUE, length 64",
     GetParam(CALG_SHA_512, HP_HASHVAL, 0)},
    {"hash.get.value_size_ssl3", "HP_HASHVAL, null buffer, CALG_SSL3_SHAMD5", "TRUE, length 36",
     GetParam(CALG_SSL3_SHAMD5, HP_HASHVAL, 0)},
    {"hash.get.value_exact", "HP_HASHVAL, 20 bytes, SHA-1", "TRUE, length 20, A9993E36",
     GetParam(CALG_SHA1, HP_HASHVAL, 20)},
    {"hash.get.value_larger", "HP_HASHVAL, 64 bytes, SHA-1", "TRUE, length 20, A9993E36",
     GetParam(CALG_SHA1, HP_HASHVAL, 64)},
    {"hash.get.value_small", "HP_HASHVAL, 19 bytes, SHA-1", "FALSE ERROR_MORE_DATA, length 20",
     GetParam(CALG_SHA1, HP_HASHVAL, 19)},
    {"hash.get.algid", "HP_ALGID, 4 bytes, SHA-1", "TRUE, length 4, 04800000", GetParam(CALG_SHA1, HP_ALGID, 4)},
    {"hash.get.algid_md5", "HP_ALGID, 4 bytes, MD5", "TRUE, length 4, 03800000", GetParam(CALG_MD5, HP_ALGID, 4)},
    {"hash.get.algid_size", "HP_ALGID, null buffer", "TRUE, length 4", GetParam(CALG_SHA1, HP_ALGID, 0)},
    {"hash.get.algid_larger", "HP_ALGID, 8 bytes", "TRUE, length 4, 04800000", GetParam(CALG_SHA1, HP_ALGID, 8)},
    {"hash.get.algid_small", "HP_ALGID, 3 bytes", "FALSE ERROR_MORE_DATA, length 4", GetParam(CALG_SHA1, HP_ALGID, 3)},
    {"hash.get.size", "HP_HASHSIZE, 4 bytes, SHA-1", "TRUE, length 4, 14000000", GetParam(CALG_SHA1, HP_HASHSIZE, 4)},
    {"hash.get.size_sha512", "HP_HASHSIZE, 4 bytes, SHA-512", "TRUE, length 4, 40000000",
     GetParam(CALG_SHA_512, HP_HASHSIZE, 4)},
    {"hash.get.size_size", "HP_HASHSIZE, null buffer", "TRUE, length 4", GetParam(CALG_SHA1, HP_HASHSIZE, 0)},
    {"hash.get.size_small", "HP_HASHSIZE, 3 bytes", "FALSE ERROR_MORE_DATA, length 4",
     GetParam(CALG_SHA1, HP_HASHSIZE, 3)},
    {"hash.get.hmac_info", "HP_HMAC_INFO is not for reading", "FALSE NTE_BAD_TYPE",
     GetParam(CALG_SHA1, HP_HMAC_INFO, 4)},
    {"hash.get.unknown", "an unknown parameter", "FALSE NTE_BAD_TYPE", GetParam(CALG_SHA1, 0x77, 4)},
    {"hash.get.flags", "HP_HASHVAL with flags", "FALSE NTE_BAD_FLAGS", GetParam(CALG_SHA1, HP_HASHVAL, 20, 1)},
    {"hash.get.no_length", "HP_HASHVAL, a null pointer for the length", "FALSE ERROR_INVALID_PARAMETER",
     GetWithoutLength},
    {"hash.set.value", "CryptSetHashParam HP_HASHVAL", "TRUE", SetParam(HP_HASHVAL)},
    {"hash.set.value_flags", "CryptSetHashParam HP_HASHVAL with flags", "FALSE NTE_BAD_FLAGS", SetParam(HP_HASHVAL, 2)},
    {"hash.set.null", "CryptSetHashParam HP_HASHVAL of a null pointer", "FALSE ERROR_INVALID_PARAMETER", SetNothing},
    {"hash.set.read", "a value that was set is read", "TRUE, 5A5A5A5A", SetAndRead},
    {"hash.set.after_data", "CryptSetHashParam HP_HASHVAL after data",
     "TRUE or FALSE NTE_BAD_HASH_STATE; it is not documented", SetAfterData},
    {"hash.set.finished", "CryptSetHashParam HP_HASHVAL after the value was read", "FALSE NTE_BAD_HASH_STATE",
     SetAfterTheValue},
    {"hash.set.twice", "CryptSetHashParam HP_HASHVAL twice", "TRUE or FALSE NTE_BAD_HASH_STATE", SetTwice},
    {"hash.set.then_data", "CryptHashData after a value was set", "FALSE NTE_BAD_HASH_STATE", DataAfterASetValue},
    {"hash.set.algid", "CryptSetHashParam HP_ALGID is only for reading", "FALSE NTE_BAD_TYPE", SetParam(HP_ALGID)},
    {"hash.set.size", "CryptSetHashParam HP_HASHSIZE is only for reading", "FALSE NTE_BAD_TYPE", SetParam(HP_HASHSIZE)},
    {"hash.set.unknown", "CryptSetHashParam of an unknown parameter", "FALSE NTE_BAD_TYPE", SetParam(0x77)},
};
