// CryptDecrypt.
#include "Cipher.h"

namespace {

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }
// What the platform's provider encrypts with the same key, with its padding.
Bytes FromElsewhere(const Cipher& cipher, const std::string& text, BOOL final) {
  const Prepared other(Side::Platform());
  const Key key = Session(other, cipher.algorithm, cipher.keyBytes);
  SetMode(key, cipher);
  Bytes data = Text(text);
  DWORD length = Length(data);
  data.resize(length + 32);
  Step(CryptEncrypt(key, 0, final, 0, data.data(), &length, Length(data)), "CryptEncrypt");
  data.resize(length);
  return data;
}
std::string Decrypt(HCRYPTKEY key, Bytes data, BOOL final, DWORD flags = 0) {
  DWORD length = Length(data);
  data.resize(length + 256);  // Wine's provider writes a whole RSA block
  const BOOL done = CryptDecrypt(key, 0, final, flags, length == 0 ? nullptr : data.data(), &length);
  if (done == FALSE) return Answer(done);
  return "TRUE, " + std::string(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
}
Call DecryptWith(Cipher cipher, const std::string& text, BOOL final = TRUE) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Session(context, cipher.algorithm, cipher.keyBytes);
    SetMode(key, cipher);
    return Decrypt(key, FromElsewhere(cipher, text, final), final);
  };
}
std::string DecryptUnpadded(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  SetMode(key, kTriple);
  return Decrypt(key, FromElsewhere(kTriple, "sixteen letters.", FALSE), TRUE);
}
std::string DecryptPaddedAsMore(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  SetMode(key, kTriple);
  Bytes data = FromElsewhere(kTriple, "five.", TRUE);
  DWORD length = Length(data);
  const BOOL done = CryptDecrypt(key, 0, FALSE, 0, data.data(), &length);
  return Answer(done, InBytes(length));
}
std::string DecryptInPieces(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  SetMode(key, kTriple);
  Bytes data = FromElsewhere(kTriple, "sixteen letters.", FALSE);
  for (const std::size_t place : {0U, 8U}) {
    DWORD length = 8;
    Step(CryptDecrypt(key, 0, FALSE, 0, data.data() + place, &length),
         place == 0 ? "the first piece" : "the second piece");
  }
  return "TRUE, " + std::string(data.begin(), data.end());
}
std::string DecryptWithoutMode(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  Bytes data = FromElsewhere(kTriple, "sixteen letters.", FALSE);
  DWORD length = Length(data);
  const BOOL done = CryptDecrypt(key, 0, FALSE, 0, data.data(), &length);
  return Answer(done, InBytes(length));
}
Call DecryptSize(std::size_t size, BOOL final) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Session(context, CALG_3DES, 24);
    SetMode(key, kTriple);
    return Decrypt(key, Bytes(size, 'a'), final).substr(0, 30);
  };
}
std::string DecryptWithHash(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  SetMode(key, kTriple);
  const Hash hash = HashOf(context, CALG_SHA1);
  Bytes data = FromElsewhere(kTriple, "five.", TRUE);
  DWORD length = Length(data);
  return Answer(CryptDecrypt(key, hash, TRUE, 0, data.data(), &length));
}
std::string DecryptWithoutKey(const Side& /*side*/) { return Decrypt(0, Bytes(8), TRUE); }
// "secret", encrypted for the pair by the platform's provider.
Bytes SecretFor(HCRYPTPROV context, DWORD flags = 0) {
  const Verifying other(Side::Platform());
  const Key key = Imported(other, Exported(Pair(context), PUBLICKEYBLOB));
  Bytes data = Text("secret");
  DWORD length = Length(data);
  data.resize(128);
  Step(CryptEncrypt(key, 0, TRUE, flags, data.data(), &length, 128), "CryptEncrypt");
  return data;
}
Call DecryptSecret(DWORD encryptFlags, DWORD decryptFlags, BOOL final = TRUE) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Decrypt(Pair(context), SecretFor(context, encryptFlags), final, decryptFlags);
  };
}
std::string DecryptOwn(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  Bytes data = Text("secret");
  DWORD length = Length(data);
  data.resize(128);
  Step(CryptEncrypt(pair, 0, TRUE, 0, data.data(), &length, 128), "CryptEncrypt");
  return Decrypt(pair, data, TRUE);
}
std::string DecryptCorrupted(const Side& side) {
  const Prepared context(side);
  Bytes data = SecretFor(context);
  data[9] ^= 1U;
  return Decrypt(Pair(context), data, TRUE);
}
Call DecryptOfSize(std::size_t size) {
  return [size](const Side& side) {
    const Prepared context(side);
    return Decrypt(Pair(context), Bytes(size, 1), TRUE);
  };
}
std::string DecryptWithImported(const Side& side) {
  const Prepared context(side);
  const Key imported = Imported(context, Exported(Pair(context), PUBLICKEYBLOB));
  return Decrypt(imported, SecretFor(context), TRUE);
}

}  // namespace

const Rows kDecryptRows = {
    {"decrypt.pair", "CryptDecrypt with the pair of what the platform's provider encrypted", "TRUE, secret",
     DecryptSecret(0, 0)},
    {"decrypt.pair_not_final", "the same, not final", "TRUE, secret", DecryptSecret(0, 0, FALSE)},
    {"decrypt.pair_own", "CryptDecrypt with the pair of what CryptEncrypt made with the pair", "TRUE, secret",
     DecryptOwn},
    {"decrypt.pair_oaep", "CryptDecrypt with the pair, CRYPT_OAEP on both sides", "TRUE, secret",
     DecryptSecret(kOaep, kOaep)},
    {"decrypt.pair_oaep_only", "CryptDecrypt with the pair, CRYPT_OAEP only for decryption", "FALSE NTE_BAD_DATA",
     DecryptSecret(0, kOaep)},
    {"decrypt.pair_flags", "CryptDecrypt with the pair, the flag 0x100", "FALSE NTE_BAD_FLAGS",
     DecryptSecret(0, 0x100)},
    {"decrypt.pair_corrupted", "CryptDecrypt with the pair, one bit changed", "FALSE NTE_BAD_DATA", DecryptCorrupted},
    {"decrypt.pair_short", "CryptDecrypt with the pair, 127 of 128 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN",
     DecryptOfSize(127)},
    {"decrypt.pair_null", "CryptDecrypt with the pair, a null pointer and length 0", "FALSE ERROR_INVALID_PARAMETER",
     DecryptOfSize(0)},
    {"decrypt.imported", "CryptDecrypt with an imported public key", "FALSE NTE_BAD_KEY or FALSE NTE_NO_KEY",
     DecryptWithImported},
    {"decrypt.no_key", "CryptDecrypt with key 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DecryptWithoutKey},
    {"decrypt.3des", "triple DES, CBC, final", "TRUE, five.", DecryptWith(kTriple, "five.")},
    {"decrypt.3des_two", "triple DES, CBC, final, several blocks", "TRUE, more than one block",
     DecryptWith(kTriple, "more than one block")},
    {"decrypt.3des_more", "triple DES, CBC, not final", "TRUE, sixteen letters.",
     DecryptWith(kTriple, "sixteen letters.", FALSE)},
    {"decrypt.3des_ecb", "triple DES, ECB, final", "TRUE, five.", DecryptWith(kTripleEcb, "five.")},
    {"decrypt.3des_112", "triple DES of two keys, CBC, final", "TRUE, five.", DecryptWith(kTwoKeys, "five.")},
    {"decrypt.des", "DES, CBC, final", "TRUE, five.", DecryptWith(kDes, "five.")},
    {"decrypt.des_ecb", "DES, ECB, final", "TRUE, five.", DecryptWith(kDesEcb, "five.")},
    {"decrypt.aes", "AES-128, CBC, final", "TRUE, five.", DecryptWith(kAes, "five.")},
    {"decrypt.aes_two", "AES-128, CBC, final, several blocks", "TRUE, more than one block",
     DecryptWith(kAes, "more than one block")},
    {"decrypt.aes_ecb", "AES-128, ECB, final", "TRUE, five.", DecryptWith(kAesEcb, "five.")},
    {"decrypt.aes256", "AES-256, CBC, final", "TRUE, five.", DecryptWith(kAes256, "five.")},
    {"decrypt.unpadded", "triple DES, final, without padding", "FALSE NTE_BAD_DATA", DecryptUnpadded},
    {"decrypt.padded_more", "triple DES with padding, not final", "TRUE, 8 bytes", DecryptPaddedAsMore},
    {"decrypt.pieces", "triple DES, CBC: two pieces of 8 bytes", "TRUE, sixteen letters.", DecryptInPieces},
    {"decrypt.no_mode", "triple DES, no mode set", "TRUE; CBC without an IV", DecryptWithoutMode},
    {"decrypt.odd", "triple DES, CBC: 7 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", DecryptSize(7, TRUE)},
    {"decrypt.null", "triple DES, CBC: a null pointer and length 0", "FALSE ERROR_INVALID_PARAMETER",
     DecryptSize(0, TRUE)},
    {"decrypt.hash", "triple DES with a hash", "TRUE", DecryptWithHash},
};
