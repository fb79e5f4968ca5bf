// CryptGenKey, CryptGetUserKey, CryptDestroyKey, CryptDeriveKey, CryptDuplicateKey, CryptDuplicateHash.
#include "Row.h"

namespace {

constexpr ALG_ID kDesx = 0x6604;
constexpr ALG_ID kSkipjack = 0x660A;

DWORD NumberOf(HCRYPTKEY key, DWORD parameter) {
  DWORD number = 0;
  DWORD length = sizeof number;
  Step(CryptGetKeyParam(key, parameter, reinterpret_cast<BYTE*>(&number), &length, 0), "CryptGetKeyParam");
  return number;
}

std::string Generate(HCRYPTPROV context, ALG_ID algorithm, DWORD flags) {
  Key key;
  return Answer(CryptGenKey(context, algorithm, flags, key.Out()));
}
Call Session(ALG_ID algorithm, DWORD flags = CRYPT_EXPORTABLE) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Generate(context, algorithm, flags);
  };
}
Call SessionForVerification(ALG_ID algorithm) {
  return [=](const Side& side) {
    const Verifying context(side);
    return Generate(context, algorithm, CRYPT_EXPORTABLE);
  };
}
// The size of a new pair in bits.
Call NewPair(ALG_ID algorithm, DWORD flags) {
  return [=](const Side& side) {
    const Fresh container(side);
    const Key pair = Generated(container, algorithm, flags);
    return "TRUE, " + Number(NumberOf(pair, KP_KEYLEN)) + " bits";
  };
}
std::string SecondPair(const Side& side) {
  const Fresh container(side);
  const Key first = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  const Bytes before = Exported(first, PUBLICKEYBLOB);
  const Key second = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  const Key found = Pair(container);
  return Exported(found, PUBLICKEYBLOB) == before ? "TRUE, the old pair stays" : "TRUE, the new pair replaces it";
}
std::string OtherPair(const Side& side) {
  const Fresh container(side);
  const Key first = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  const Key second = Generated(container, AT_SIGNATURE, 1024U << 16U);
  const Bytes exchange = Exported(Pair(container, AT_KEYEXCHANGE), PUBLICKEYBLOB);
  const Bytes signature = Exported(Pair(container, AT_SIGNATURE), PUBLICKEYBLOB);
  return Bytes(exchange.begin() + 20, exchange.end()) == Bytes(signature.begin() + 20, signature.end())
             ? "TRUE, one pair"
             : "TRUE, two pairs";
}
std::string GenerateNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGenKey(context, CALG_3DES, CRYPT_EXPORTABLE, nullptr));
}
std::string GenerateTwo(const Side& side) {
  const Prepared context(side);
  const Key first = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  const Key second = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  return static_cast<HCRYPTKEY>(first) != static_cast<HCRYPTKEY>(second) ? "TRUE, two handles" : "TRUE, one handle";
}

Call UserKey(DWORD keySpec) {
  return [keySpec](const Side& side) {
    const Prepared context(side);
    Key key;
    return Answer(CryptGetUserKey(context, keySpec, key.Out()));
  };
}
std::string UserKeyOfNewContainer(const Side& side) {
  const Fresh container(side);
  Key key;
  return Answer(CryptGetUserKey(container, AT_KEYEXCHANGE, key.Out()));
}
// One that has the other pair alone.
std::string UserKeyOfTheOtherSpec(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  Key key;
  return Answer(CryptGetUserKey(container, AT_SIGNATURE, key.Out()));
}
std::string UserKeyForVerification(const Side& side) {
  const Verifying context(side);
  Key key;
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, key.Out()));
}
std::string UserKeyLater(const Side& side) {
  const std::string name = side.Container(side.NewName());
  Bytes made;
  {
    const Context context(side, name.c_str(), CRYPT_NEWKEYSET);
    side.GivePin(context);
    made = Exported(Generated(context, AT_KEYEXCHANGE, 1024U << 16U), PUBLICKEYBLOB);
  }
  Context context(side, name.c_str(), 0);
  side.GivePin(context);
  const Bytes found = Exported(Pair(context), PUBLICKEYBLOB);
  HCRYPTPROV none = 0;
  CryptAcquireContextA(&none, name.c_str(), side.Provider(), side.Type(), CRYPT_DELETEKEYSET);
  return found == made ? "TRUE, the same key" : "TRUE, another key";
}
std::string UserKeyNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, nullptr));
}

std::string DestroySession(const Side& side) {
  const Prepared context(side);
  HCRYPTKEY key = 0;
  Step(CryptGenKey(context, CALG_3DES, CRYPT_EXPORTABLE, &key), "CryptGenKey");
  return Answer(CryptDestroyKey(key));
}
std::string DestroyPair(const Side& side) {
  const Prepared context(side);
  HCRYPTKEY key = 0;
  Step(CryptGetUserKey(context, AT_KEYEXCHANGE, &key), "CryptGetUserKey");
  Step(CryptDestroyKey(key), "CryptDestroyKey");
  Key again;
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, again.Out())) + " (the pair stays)";
}
std::string DestroyImported(const Side& side) {
  const Prepared context(side);
  const Bytes blob = Exported(Pair(context), PUBLICKEYBLOB);
  HCRYPTKEY key = 0;
  Step(CryptImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key), "CryptImportKey");
  return Answer(CryptDestroyKey(key));
}
std::string DestroyNothing(const Side& /*side*/) { return Answer(CryptDestroyKey(0)); }

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

const Rows kGenerateRows = {
    {"key.pair_1024", "CryptGenKey AT_KEYEXCHANGE, 1024 bits", "TRUE, 1024 bits",
     NewPair(AT_KEYEXCHANGE, 1024U << 16U)},
    {"key.pair_512", "CryptGenKey AT_KEYEXCHANGE, 512 bits", "TRUE, 512 bits", NewPair(AT_KEYEXCHANGE, 512U << 16U)},
    {"key.pair_default", "CryptGenKey AT_KEYEXCHANGE without a size", "TRUE, 1024 bits; 2048 in newer systems",
     NewPair(AT_KEYEXCHANGE, 0)},
    {"key.pair_1536", "CryptGenKey AT_KEYEXCHANGE, 1536 bits", "TRUE, 1536 bits",
     NewPair(AT_KEYEXCHANGE, 1536U << 16U)},
    {"key.pair_signature", "CryptGenKey AT_SIGNATURE, 1024 bits", "TRUE, 1024 bits",
     NewPair(AT_SIGNATURE, 1024U << 16U)},
    {"key.pair_calg_keyx", "CryptGenKey CALG_RSA_KEYX, 1024 bits", "TRUE, 1024 bits",
     NewPair(CALG_RSA_KEYX, 1024U << 16U)},
    {"key.pair_calg_sign", "CryptGenKey CALG_RSA_SIGN, 1024 bits", "TRUE, 1024 bits",
     NewPair(CALG_RSA_SIGN, 1024U << 16U)},
    {"key.pair_exportable", "CryptGenKey AT_KEYEXCHANGE, CRYPT_EXPORTABLE", "TRUE, 1024 bits",
     NewPair(AT_KEYEXCHANGE, (1024U << 16U) | CRYPT_EXPORTABLE)},
    {"key.pair_protected", "CryptGenKey AT_KEYEXCHANGE, CRYPT_USER_PROTECTED", "TRUE, 1024 bits; the user is asked",
     NewPair(AT_KEYEXCHANGE, (1024U << 16U) | CRYPT_USER_PROTECTED)},
    {"key.pair_again", "CryptGenKey AT_KEYEXCHANGE in a container that has a pair", "TRUE, the new pair replaces it",
     SecondPair},
    {"key.pair_both", "CryptGenKey AT_KEYEXCHANGE, then AT_SIGNATURE", "TRUE, two pairs", OtherPair},
    {"key.pair_verification", "CryptGenKey AT_KEYEXCHANGE in a verification context", "FALSE NTE_PERM",
     SessionForVerification(AT_KEYEXCHANGE)},
    {"key.des", "CryptGenKey CALG_DES", "TRUE", Session(CALG_DES)},
    {"key.3des", "CryptGenKey CALG_3DES", "TRUE", Session(CALG_3DES)},
    {"key.3des_0", "CryptGenKey CALG_3DES, flags 0", "TRUE", Session(CALG_3DES, 0)},
    {"key.3des_112", "CryptGenKey CALG_3DES_112", "TRUE", Session(CALG_3DES_112)},
    {"key.aes128", "CryptGenKey CALG_AES_128", "TRUE", Session(CALG_AES_128)},
    {"key.aes192", "CryptGenKey CALG_AES_192", "TRUE", Session(CALG_AES_192)},
    {"key.aes256", "CryptGenKey CALG_AES_256", "TRUE", Session(CALG_AES_256)},
    {"key.aes", "CryptGenKey CALG_AES without a size", "TRUE or FALSE NTE_BAD_ALGID", Session(CALG_AES)},
    {"key.rc2", "CryptGenKey CALG_RC2", "TRUE", Session(CALG_RC2)},
    {"key.rc4", "CryptGenKey CALG_RC4", "TRUE", Session(CALG_RC4)},
    {"key.rc4_40", "CryptGenKey CALG_RC4, 40 bits", "TRUE", Session(CALG_RC4, 40U << 16U)},
    {"key.desx", "CryptGenKey CALG_DESX", "FALSE NTE_BAD_ALGID", Session(kDesx)},
    {"key.skipjack", "CryptGenKey CALG_SKIPJACK", "FALSE NTE_BAD_ALGID", Session(kSkipjack)},
    {"key.hash", "CryptGenKey CALG_SHA1", "FALSE NTE_BAD_ALGID", Session(CALG_SHA1)},
    {"key.0", "CryptGenKey of algorithm 0", "FALSE NTE_BAD_ALGID", Session(0)},
    {"key.des_bits", "CryptGenKey CALG_DES, 64 bits", "FALSE NTE_BAD_FLAGS or FALSE NTE_BAD_LEN",
     Session(CALG_DES, 64U << 16U)},
    {"key.3des_salt", "CryptGenKey CALG_3DES, CRYPT_CREATE_SALT", "TRUE", Session(CALG_3DES, CRYPT_CREATE_SALT)},
    {"key.3des_no_salt", "CryptGenKey CALG_3DES, CRYPT_NO_SALT", "TRUE", Session(CALG_3DES, CRYPT_NO_SALT)},
    {"key.3des_verification", "CryptGenKey CALG_3DES in a verification context", "TRUE",
     SessionForVerification(CALG_3DES)},
    {"key.nowhere", "CryptGenKey, no place for the handle", "FALSE ERROR_INVALID_PARAMETER", GenerateNowhere},
    {"key.two", "CryptGenKey CALG_3DES twice", "TRUE, two handles", GenerateTwo},
};

const Rows kUserKeyRows = {
    {"key.user.exchange", "CryptGetUserKey AT_KEYEXCHANGE", "TRUE", UserKey(AT_KEYEXCHANGE)},
    {"key.user.signature", "CryptGetUserKey AT_SIGNATURE", "TRUE", UserKey(AT_SIGNATURE)},
    {"key.user.0", "CryptGetUserKey of key spec 0", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(0)},
    {"key.user.3", "CryptGetUserKey of key spec 3", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(3)},
    {"key.user.4", "CryptGetUserKey of key spec 4", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(4)},
    {"key.user.new", "CryptGetUserKey in a container without keys", "FALSE NTE_NO_KEY", UserKeyOfNewContainer},
    {"key.user.other", "CryptGetUserKey AT_SIGNATURE, and there is a pair of AT_KEYEXCHANGE alone", "FALSE NTE_NO_KEY",
     UserKeyOfTheOtherSpec},
    {"key.user.verification", "CryptGetUserKey in a verification context", "FALSE NTE_NO_KEY", UserKeyForVerification},
    {"key.user.later", "CryptGetUserKey of a pair that an earlier context made", "TRUE, the same key", UserKeyLater},
    {"key.user.nowhere", "CryptGetUserKey, no place for the handle", "FALSE ERROR_INVALID_PARAMETER", UserKeyNowhere},
    {"key.destroy.session", "CryptDestroyKey of a session key", "TRUE", DestroySession},
    {"key.destroy.pair", "CryptDestroyKey of a pair, then CryptGetUserKey", "TRUE (the pair stays)", DestroyPair},
    {"key.destroy.imported", "CryptDestroyKey of an imported public key", "TRUE", DestroyImported},
    {"key.destroy.null", "CryptDestroyKey of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DestroyNothing},
};

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
    {"derive.flags", "CryptDeriveKey CALG_DES, 56 bits, the flag 8, which is none", "FALSE NTE_BAD_FLAGS",
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
    {"duplicate.hash_nowhere", "CryptDuplicateHash, no place for the handle", "FALSE ERROR_INVALID_PARAMETER",
     DuplicateHashNowhere},
    {"duplicate.session", "CryptDuplicateKey of a session key", "TRUE", DuplicateSession},
    {"duplicate.pair", "CryptDuplicateKey of a pair", "TRUE", DuplicatePair},
    {"duplicate.key_flags", "CryptDuplicateKey with flags", "FALSE ERROR_INVALID_PARAMETER", DuplicateKeyWithFlags},
    {"duplicate.no_key", "CryptDuplicateKey of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DuplicateNoKey},
};
