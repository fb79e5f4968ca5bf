// CryptGenKey.
#include "Row.h"

namespace {

constexpr ALG_ID kDesx = 0x6604;
constexpr ALG_ID kSkipjack = 0x660A;
std::string Generate(HCRYPTPROV context, ALG_ID algorithm, DWORD flags) {
  Key key;
  return Answer(CryptGenKey(context, algorithm, flags, key.Out()));
}
Call NewSession(ALG_ID algorithm, DWORD flags = CRYPT_EXPORTABLE) {
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

}  // namespace

const Rows kGenerateRows = {
    {"key.pair_1024", "CryptGenKey AT_KEYEXCHANGE, 1024 bits", "TRUE, 1024 bits",
     NewPair(AT_KEYEXCHANGE, 1024U << 16U)},
    {"key.pair_512", "CryptGenKey AT_KEYEXCHANGE, 512 bits", "TRUE, 512 bits", NewPair(AT_KEYEXCHANGE, 512U << 16U)},
    {"key.pair_default", "CryptGenKey AT_KEYEXCHANGE without a size", "TRUE, 1024 bits; 2048 in newer systems",
     NewPair(AT_KEYEXCHANGE, 0)},
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
    {"key.des", "CryptGenKey CALG_DES", "TRUE", NewSession(CALG_DES)},
    {"key.3des", "CryptGenKey CALG_3DES", "TRUE", NewSession(CALG_3DES)},
    {"key.3des_0", "CryptGenKey CALG_3DES, flags 0", "TRUE", NewSession(CALG_3DES, 0)},
    {"key.3des_112", "CryptGenKey CALG_3DES_112", "TRUE", NewSession(CALG_3DES_112)},
    {"key.aes128", "CryptGenKey CALG_AES_128", "TRUE", NewSession(CALG_AES_128)},
    {"key.aes192", "CryptGenKey CALG_AES_192", "TRUE", NewSession(CALG_AES_192)},
    {"key.aes256", "CryptGenKey CALG_AES_256", "TRUE", NewSession(CALG_AES_256)},
    {"key.aes", "CryptGenKey CALG_AES without a size", "TRUE or FALSE NTE_BAD_ALGID", NewSession(CALG_AES)},
    {"key.rc2", "CryptGenKey CALG_RC2", "TRUE", NewSession(CALG_RC2)},
    {"key.rc4", "CryptGenKey CALG_RC4", "TRUE", NewSession(CALG_RC4)},
    {"key.rc4_40", "CryptGenKey CALG_RC4, 40 bits", "TRUE", NewSession(CALG_RC4, 40U << 16U)},
    {"key.desx", "CryptGenKey CALG_DESX", "FALSE NTE_BAD_ALGID", NewSession(kDesx)},
    {"key.skipjack", "CryptGenKey CALG_SKIPJACK", "FALSE NTE_BAD_ALGID", NewSession(kSkipjack)},
    {"key.hash", "CryptGenKey CALG_SHA1", "FALSE NTE_BAD_ALGID", NewSession(CALG_SHA1)},
    {"key.0", "CryptGenKey of algorithm 0", "FALSE NTE_BAD_ALGID", NewSession(0)},
    {"key.des_bits", "CryptGenKey CALG_DES, 64 bits", "FALSE NTE_BAD_FLAGS or FALSE NTE_BAD_LEN",
     NewSession(CALG_DES, 64U << 16U)},
    {"key.3des_salt", "CryptGenKey CALG_3DES, CRYPT_CREATE_SALT", "TRUE", NewSession(CALG_3DES, CRYPT_CREATE_SALT)},
    {"key.3des_no_salt", "CryptGenKey CALG_3DES, CRYPT_NO_SALT", "TRUE", NewSession(CALG_3DES, CRYPT_NO_SALT)},
    {"key.3des_verification", "CryptGenKey CALG_3DES in a verification context", "TRUE",
     SessionForVerification(CALG_3DES)},
    {"key.nowhere", "CryptGenKey, a null pointer for the handle", "FALSE ERROR_INVALID_PARAMETER", GenerateNowhere},
    {"key.two", "CryptGenKey CALG_3DES twice", "TRUE, two handles", GenerateTwo},
};
