// CryptDeriveKey, CryptDuplicateHash, CryptDuplicateKey.
#include "Row.h"

namespace {

// From a hash of "abc".
Call Derive(ALG_ID algorithm, DWORD flags, ALG_ID hash = CALG_SHA_256) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Hash base = HashOf(context, hash);
    Key key;
    const BOOL done = CryptDeriveKey(context, algorithm, base, flags, key.Out());
    return done == FALSE ? Answer(done) : "TRUE, key length " + Number(NumberOf(key, KP_KEYLEN));
  };
}
std::string DeriveFromAFinishedHash(const Side& side) {
  const Prepared context(side);
  const Hash base = HashOf(context, CALG_SHA_256);
  HashValue(base);
  Key key;
  return Answer(CryptDeriveKey(context, CALG_DES, base, 56U << 16U, key.Out()));
}
std::string DeriveFromNothing(const Side& side) {
  const Prepared context(side);
  Key key;
  return Answer(CryptDeriveKey(context, CALG_DES, 0, 56U << 16U, key.Out()));
}
std::string DataAfterDerivation(const Side& side) {
  const Prepared context(side);
  const Hash base = HashOf(context, CALG_SHA_256);
  Key key;
  Step(CryptDeriveKey(context, CALG_DES, base, 56U << 16U, key.Out()), "CryptDeriveKey");
  return Answer(CryptHashData(base, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
Call DuplicateHash(DWORD flags, bool reserved) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Hash hash = HashOf(context, CALG_SHA1);
    DWORD word = 0;
    Hash copy;
    return Answer(CryptDuplicateHash(hash, reserved ? &word : nullptr, flags, copy.Out()));
  };
}
std::string DuplicateNoHash(const Side& /*side*/) {
  Hash copy;
  return Answer(CryptDuplicateHash(0, nullptr, 0, copy.Out()));
}
std::string DuplicateHashNowhere(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Answer(CryptDuplicateHash(hash, nullptr, 0, nullptr));
}
std::string DuplicateSession(const Side& side) {
  const Prepared context(side);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  Key copy;
  return Answer(CryptDuplicateKey(key, nullptr, 0, copy.Out()));
}
std::string DuplicatePair(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  Key copy;
  return Answer(CryptDuplicateKey(pair, nullptr, 0, copy.Out()));
}
std::string DuplicateKeyWithFlags(const Side& side) {
  const Prepared context(side);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  Key copy;
  return Answer(CryptDuplicateKey(key, nullptr, 1, copy.Out()));
}
std::string DuplicateNoKey(const Side& /*side*/) {
  Key copy;
  return Answer(CryptDuplicateKey(0, nullptr, 0, copy.Out()));
}

}  // namespace

const Rows kDeriveRows = {
    {"derive.des", "CryptDeriveKey CALG_DES, flags 0", "TRUE, key length 56 or TRUE, key length 64",
     Derive(CALG_DES, 0)},
    {"derive.des_56", "CryptDeriveKey CALG_DES, 56 bits", "TRUE, key length 56 or TRUE, key length 64",
     Derive(CALG_DES, 56U << 16U)},
    {"derive.des_64", "CryptDeriveKey CALG_DES, 64 bits", "FALSE NTE_BAD_FLAGS or FALSE NTE_BAD_LEN",
     Derive(CALG_DES, 64U << 16U)},
    {"derive.des_exportable", "CryptDeriveKey CALG_DES, CRYPT_EXPORTABLE", "TRUE, key length 56 or TRUE, key length 64",
     Derive(CALG_DES, CRYPT_EXPORTABLE)},
    {"derive.3des", "CryptDeriveKey CALG_3DES, flags 0, SHA-256", "TRUE, key length 168 or TRUE, key length 192",
     Derive(CALG_3DES, 0)},
    {"derive.3des_168", "CryptDeriveKey CALG_3DES, 168 bits, SHA-256", "TRUE, key length 168 or TRUE, key length 192",
     Derive(CALG_3DES, 168U << 16U)},
    {"derive.3des_sha1", "CryptDeriveKey CALG_3DES, 168 bits, SHA-1", "TRUE, key length 168 or TRUE, key length 192",
     Derive(CALG_3DES, 168U << 16U, CALG_SHA1)},
    {"derive.3des_112", "CryptDeriveKey CALG_3DES_112, 112 bits", "TRUE, key length 112 or TRUE, key length 128",
     Derive(CALG_3DES_112, 112U << 16U)},
    {"derive.aes128", "CryptDeriveKey CALG_AES_128, flags 0", "TRUE, key length 128", Derive(CALG_AES_128, 0)},
    {"derive.aes128_128", "CryptDeriveKey CALG_AES_128, 128 bits", "TRUE, key length 128",
     Derive(CALG_AES_128, 128U << 16U)},
    {"derive.aes128_112", "CryptDeriveKey CALG_AES_128, 112 bits", "FALSE NTE_BAD_FLAGS or FALSE NTE_BAD_LEN",
     Derive(CALG_AES_128, 112U << 16U)},
    {"derive.aes256", "CryptDeriveKey CALG_AES_256, flags 0", "TRUE, key length 256", Derive(CALG_AES_256, 0)},
    {"derive.rc4", "CryptDeriveKey CALG_RC4, flags 0", "TRUE, key length 128", Derive(CALG_RC4, 0)},
    {"derive.rc2", "CryptDeriveKey CALG_RC2, 128 bits", "TRUE, key length 128", Derive(CALG_RC2, 128U << 16U)},
    {"derive.rsa", "CryptDeriveKey AT_KEYEXCHANGE", "FALSE NTE_BAD_ALGID", Derive(AT_KEYEXCHANGE, 0)},
    {"derive.hash", "CryptDeriveKey CALG_SHA1", "FALSE NTE_BAD_ALGID", Derive(CALG_SHA1, 0)},
    {"derive.flags", "CryptDeriveKey CALG_DES, 56 bits, the undefined flag 8", "FALSE NTE_BAD_FLAGS",
     Derive(CALG_DES, (56U << 16U) | 8U)},
    {"derive.finished", "CryptDeriveKey from a hash whose value was read", "FALSE NTE_BAD_HASH_STATE",
     DeriveFromAFinishedHash},
    {"derive.nothing", "CryptDeriveKey from no hash", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DeriveFromNothing},
    {"derive.data_after", "CryptHashData after CryptDeriveKey", "FALSE NTE_BAD_HASH_STATE", DataAfterDerivation},
};

const Rows kDuplicateRows = {
    {"duplicate.hash", "CryptDuplicateHash", "TRUE", DuplicateHash(0, false)},
    {"duplicate.hash_flags", "CryptDuplicateHash with flags", "FALSE ERROR_INVALID_PARAMETER", DuplicateHash(1, false)},
    {"duplicate.hash_reserved", "CryptDuplicateHash with a reserved pointer", "FALSE ERROR_INVALID_PARAMETER",
     DuplicateHash(0, true)},
    {"duplicate.no_hash", "CryptDuplicateHash of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DuplicateNoHash},
    {"duplicate.hash_nowhere", "CryptDuplicateHash, a null pointer for the handle", "FALSE ERROR_INVALID_PARAMETER",
     DuplicateHashNowhere},
    {"duplicate.session", "CryptDuplicateKey of a session key", "TRUE", DuplicateSession},
    {"duplicate.pair", "CryptDuplicateKey of a pair", "TRUE", DuplicatePair},
    {"duplicate.key_flags", "CryptDuplicateKey with flags", "FALSE ERROR_INVALID_PARAMETER", DuplicateKeyWithFlags},
    {"duplicate.no_key", "CryptDuplicateKey of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DuplicateNoKey},
};
