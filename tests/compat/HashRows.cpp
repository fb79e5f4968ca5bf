// CryptCreateHash, CryptHashData, CryptHashSessionKey, CryptDestroyHash.
#include "Row.h"

namespace {

constexpr ALG_ID kSha384 = 0x800D;
constexpr ALG_ID kNoSuchAlgorithm = 0x80FF;

Call Create(ALG_ID algorithm, DWORD flags = 0) {
  return [algorithm, flags](const Side& side) {
    const Prepared context(side);
    Hash hash;
    return Answer(CryptCreateHash(context, algorithm, 0, flags, hash.Out()));
  };
}
Call CreateKeyed(ALG_ID algorithm) {
  return [algorithm](const Side& side) {
    const Prepared context(side);
    const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
    Hash hash;
    return Answer(CryptCreateHash(context, algorithm, key, 0, hash.Out()));
  };
}
std::string CreateForVerification(const Side& side) {
  const Verifying context(side);
  Hash hash;
  return Answer(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()));
}
std::string CreateWithoutContext(const Side& /*side*/) {
  Hash hash;
  return Answer(CryptCreateHash(0, CALG_SHA1, 0, 0, hash.Out()));
}
std::string CreateTwo(const Side& side) {
  const Prepared context(side);
  const Hash first = HashOf(context, CALG_SHA1);
  const Hash second = HashOf(context, CALG_SHA1);
  return static_cast<HCRYPTHASH>(first) != static_cast<HCRYPTHASH>(second) ? "TRUE, two handles" : "TRUE, one handle";
}

Call Digest(ALG_ID algorithm, const std::string& data) {
  return [algorithm, data](const Side& side) {
    const Prepared context(side);
    return HashValue(HashOf(context, algorithm, data));
  };
}
std::string DigestOfPieces(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1, "a");
  Step(CryptHashData(hash, reinterpret_cast<const BYTE*>("b"), 1, 0), "CryptHashData");
  Step(CryptHashData(hash, reinterpret_cast<const BYTE*>("c"), 1, 0), "CryptHashData");
  return HashValue(hash);
}
std::string DigestOfNothing(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  return HashValue(hash);
}
std::string ValueTwice(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  HashValue(hash);
  return HashValue(hash);
}

Call Data(const char* data, DWORD length, DWORD flags = 0) {
  return [data, length, flags](const Side& side) {
    const Prepared context(side);
    Hash hash;
    Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
    return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>(data), length, flags));
  };
}
std::string DataAfterTheValue(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  HashValue(hash);
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
std::string DataAfterTheLength(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1, "ab");
  DWORD length = 0;
  Step(CryptGetHashParam(hash, HP_HASHVAL, nullptr, &length, 0), "CryptGetHashParam");
  Step(CryptHashData(hash, reinterpret_cast<const BYTE*>("c"), 1, 0), "CryptHashData");
  return HashValue(hash);
}
std::string DataOfNoHash(const Side& /*side*/) {
  return Answer(CryptHashData(0, reinterpret_cast<const BYTE*>("abc"), 3, 0));
}
std::string MuchData(const Side& side) {
  const Prepared context(side);
  return HashValue(HashOf(context, CALG_SHA_256, std::string(1U << 20U, 'a')));
}

Call SessionKey(DWORD flags) {
  return [flags](const Side& side) {
    const Prepared context(side);
    const Key key = Session(context, CALG_3DES, 24);
    Hash hash;
    Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
    const BOOL done = CryptHashSessionKey(hash, key, flags);
    return done == FALSE ? Answer(done) : HashValue(hash);
  };
}
std::string PairAsSessionKey(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  return Answer(CryptHashSessionKey(hash, pair, 0));
}

std::string Destroy(const Side& side) {
  const Prepared context(side);
  Hash hash = HashOf(context, CALG_SHA1);
  const HCRYPTHASH handle = hash;
  hash.Forget();
  return Answer(CryptDestroyHash(handle));
}
std::string DestroyNoHash(const Side& /*side*/) { return Answer(CryptDestroyHash(0)); }

}  // namespace

const Rows kHashRows = {
    {"hash.create.md2", "CryptCreateHash CALG_MD2", "TRUE", Create(CALG_MD2)},
    {"hash.create.md4", "CryptCreateHash CALG_MD4", "TRUE", Create(CALG_MD4)},
    {"hash.create.md5", "CryptCreateHash CALG_MD5", "TRUE", Create(CALG_MD5)},
    {"hash.create.sha1", "CryptCreateHash CALG_SHA1", "TRUE", Create(CALG_SHA1)},
    {"hash.create.sha256", "CryptCreateHash CALG_SHA_256", "TRUE", Create(CALG_SHA_256)},
    {"hash.create.sha384", "CryptCreateHash CALG_SHA_384", "TRUE", Create(kSha384)},
    {"hash.create.sha512", "CryptCreateHash CALG_SHA_512", "TRUE", Create(CALG_SHA_512)},
    {"hash.create.ssl3", "CryptCreateHash CALG_SSL3_SHAMD5", "TRUE", Create(CALG_SSL3_SHAMD5)},
    {"hash.create.hmac_without_key", "CryptCreateHash CALG_HMAC without a key", "FALSE NTE_BAD_KEY", Create(CALG_HMAC)},
    {"hash.create.hmac", "CryptCreateHash CALG_HMAC with a triple DES key", "TRUE", CreateKeyed(CALG_HMAC)},
    {"hash.create.mac_without_key", "CryptCreateHash CALG_MAC without a key", "FALSE NTE_BAD_KEY", Create(CALG_MAC)},
    {"hash.create.mac", "CryptCreateHash CALG_MAC with a triple DES key", "TRUE", CreateKeyed(CALG_MAC)},
    {"hash.create.tls_prf", "CryptCreateHash CALG_TLS1PRF without a key", "FALSE NTE_BAD_KEY or FALSE NTE_BAD_ALGID",
     Create(CALG_TLS1PRF)},
    {"hash.create.sha1_key", "CryptCreateHash CALG_SHA1 with a key",
     "TRUE or FALSE NTE_BAD_KEY; it must be 0, and no error is documented", CreateKeyed(CALG_SHA1)},
    {"hash.create.rsa", "CryptCreateHash CALG_RSA_SIGN", "FALSE NTE_BAD_ALGID", Create(CALG_RSA_SIGN)},
    {"hash.create.3des", "CryptCreateHash CALG_3DES", "FALSE NTE_BAD_ALGID", Create(CALG_3DES)},
    {"hash.create.0", "CryptCreateHash of algorithm 0", "FALSE NTE_BAD_ALGID", Create(0)},
    {"hash.create.unknown", "CryptCreateHash of an unknown algorithm", "FALSE NTE_BAD_ALGID", Create(kNoSuchAlgorithm)},
    {"hash.create.flags", "CryptCreateHash with flags", "FALSE NTE_BAD_FLAGS", Create(CALG_SHA1, 1)},
    {"hash.create.secret", "CryptCreateHash with CRYPT_SECRETDIGEST", "FALSE NTE_BAD_FLAGS", Create(CALG_SHA1, 2)},
    {"hash.create.verification", "CryptCreateHash in a verification context", "TRUE", CreateForVerification},
    {"hash.create.no_context", "CryptCreateHash in no context",
     "FALSE ERROR_INVALID_PARAMETER or FALSE ERROR_INVALID_HANDLE", CreateWithoutContext},
    {"hash.create.two", "two hashes in a context", "TRUE", CreateTwo},
};

const Rows kHashDataRows = {
    {"hash.value.md5", "the value of MD5 of \"abc\"", "TRUE, 90015098", Digest(CALG_MD5, "abc")},
    {"hash.value.sha1", "the value of SHA-1 of \"abc\"", "TRUE, A9993E36", Digest(CALG_SHA1, "abc")},
    {"hash.value.sha256", "the value of SHA-256 of \"abc\"", "TRUE, BA7816BF", Digest(CALG_SHA_256, "abc")},
    {"hash.value.sha384", "the value of SHA-384 of \"abc\"", "TRUE, CB00753F", Digest(kSha384, "abc")},
    {"hash.value.sha512", "the value of SHA-512 of \"abc\"", "TRUE, DDAF35A1", Digest(CALG_SHA_512, "abc")},
    {"hash.value.ssl3", "the value of CALG_SSL3_SHAMD5 of \"abc\"", "TRUE; MD5 and SHA-1 are set, not computed",
     Digest(CALG_SSL3_SHAMD5, "abc")},
    {"hash.value.pieces", "the value of SHA-1 of \"a\", \"b\", \"c\"", "TRUE, A9993E36", DigestOfPieces},
    {"hash.value.nothing", "the value of SHA-1 without CryptHashData", "TRUE, DA39A3EE", DigestOfNothing},
    {"hash.value.empty", "the value of SHA-1 of an empty string", "TRUE, DA39A3EE", Digest(CALG_SHA1, "")},
    {"hash.value.twice", "the value read twice", "TRUE, A9993E36", ValueTwice},
    {"hash.value.megabyte", "the value of SHA-256 of a megabyte", "TRUE", MuchData},
    {"hash.data.plain", "CryptHashData of three bytes", "TRUE", Data("abc", 3)},
    {"hash.data.empty", "CryptHashData of no bytes", "TRUE", Data("", 0)},
    {"hash.data.null", "CryptHashData of a null pointer and length 0", "TRUE", Data(nullptr, 0)},
    {"hash.data.user", "CryptHashData with CRYPT_USERDATA", "TRUE; Microsoft's providers ignore it",
     Data("abc", 3, CRYPT_USERDATA)},
    {"hash.data.flags", "CryptHashData with the flag 2", "FALSE NTE_BAD_FLAGS", Data("abc", 3, 2)},
    {"hash.data.finished", "CryptHashData after the value was read", "FALSE NTE_BAD_HASH_STATE", DataAfterTheValue},
    {"hash.data.length_asked", "CryptHashData after the length was read, then the value", "TRUE, A9993E36",
     DataAfterTheLength},
    {"hash.data.null_hash", "CryptHashData of no hash", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DataOfNoHash},
    {"hash.key.plain", "CryptHashSessionKey of a triple DES key, then the value", "TRUE", SessionKey(0)},
    {"hash.key.little", "CryptHashSessionKey with CRYPT_LITTLE_ENDIAN, then the value", "TRUE",
     SessionKey(CRYPT_LITTLE_ENDIAN)},
    {"hash.key.flags", "CryptHashSessionKey with the flag 2", "FALSE NTE_BAD_FLAGS", SessionKey(2)},
    {"hash.key.pair", "CryptHashSessionKey of a key pair", "FALSE NTE_BAD_KEY", PairAsSessionKey},
    {"hash.destroy", "CryptDestroyHash", "TRUE", Destroy},
    {"hash.destroy_null", "CryptDestroyHash of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DestroyNoHash},
};
