// CryptEncrypt, CryptDecrypt.
#include "Row.h"

namespace {

constexpr DWORD kOaep = 0x40;

DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }
Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

void SetNumber(HCRYPTKEY key, DWORD parameter, DWORD number) {
  Step(CryptSetKeyParam(key, parameter, reinterpret_cast<const BYTE*>(&number), 0), "CryptSetKeyParam");
}
void SetIv(HCRYPTKEY key) { Step(CryptSetKeyParam(key, KP_IV, Bytes(16, 0x5A).data(), 0), "CryptSetKeyParam"); }

// Of that many bytes "a" in a buffer of that size; with a null buffer the question for the length.
std::string Encrypt(HCRYPTKEY key, DWORD size, DWORD room, BOOL final = TRUE, DWORD flags = 0) {
  Bytes data(4096, 'a');
  DWORD length = size;
  const BOOL done = CryptEncrypt(key, 0, final, flags, room == 0 ? nullptr : data.data(), &length, room);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, InBytes(length));
}
Call EncryptForPair(DWORD size, DWORD room, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0, BOOL final = TRUE) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Encrypt(Pair(context, keySpec), size, room, final, flags);
  };
}
std::string EncryptForImported(const Side& side) {
  const Prepared context(side);
  const Key imported = Imported(context, Exported(Pair(context), PUBLICKEYBLOB));
  return Encrypt(imported, 3, 128);
}
Call EncryptWithHash(bool pair) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = pair ? Pair(context) : Session(context, CALG_3DES, 24);
    const Hash hash = HashOf(context, CALG_SHA1);
    Bytes data(128, 'a');
    DWORD length = 8;
    return Answer(CryptEncrypt(key, hash, TRUE, 0, data.data(), &length, 128));
  };
}
std::string EncryptWithoutKey(const Side& /*side*/) { return Encrypt(0, 3, 128); }

// With a session key, known to both, in CBC with an IV.
struct Cipher {
  ALG_ID algorithm;
  DWORD keyBytes;
  DWORD mode;
};
constexpr Cipher kTriple = {CALG_3DES, 24, CRYPT_MODE_CBC};
constexpr Cipher kTripleEcb = {CALG_3DES, 24, CRYPT_MODE_ECB};
constexpr Cipher kTwoKeys = {CALG_3DES_112, 16, CRYPT_MODE_CBC};
constexpr Cipher kDes = {CALG_DES, 8, CRYPT_MODE_CBC};
constexpr Cipher kDesEcb = {CALG_DES, 8, CRYPT_MODE_ECB};
constexpr Cipher kAes = {CALG_AES_128, 16, CRYPT_MODE_CBC};
constexpr Cipher kAesEcb = {CALG_AES_128, 16, CRYPT_MODE_ECB};
constexpr Cipher kAes256 = {CALG_AES_256, 32, CRYPT_MODE_CBC};

void SetMode(HCRYPTKEY key, const Cipher& cipher) {
  SetNumber(key, KP_MODE, cipher.mode);
  if (cipher.mode != CRYPT_MODE_ECB) SetIv(key);
}
Call EncryptWith(Cipher cipher, DWORD size, DWORD room, BOOL final) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Session(context, cipher.algorithm, cipher.keyBytes);
    SetMode(key, cipher);
    return Encrypt(key, size, room, final);
  };
}
std::string EncryptWithoutMode(const Side& side) {
  const Prepared context(side);
  return Encrypt(Session(context, CALG_3DES, 24), 8, 8, FALSE);
}
// Whole blocks, the length and the room the same.
Call Ciphertext(Cipher cipher) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Key key = Session(context, cipher.algorithm, cipher.keyBytes);
    SetMode(key, cipher);
    Bytes data(32, 'a');
    DWORD length = 32;
    Step(CryptEncrypt(key, 0, FALSE, 0, data.data(), &length, 32), "CryptEncrypt");
    data.resize(length);
    return "TRUE, " + InBytes(length) + ", " + Hex(data);
  };
}
std::string EncryptInPieces(const Side& side) {
  const Prepared context(side);
  const Key key = Session(context, CALG_3DES, 24);
  SetMode(key, kTriple);
  Bytes whole(16, 'a');
  Bytes pieces(16, 'a');
  DWORD length = 16;
  Step(CryptEncrypt(key, 0, FALSE, 0, whole.data(), &length, 16), "CryptEncrypt");
  const Key again = Session(context, CALG_3DES, 24);
  SetMode(again, kTriple);
  for (const std::size_t place : {0U, 8U}) {
    length = 8;
    Step(CryptEncrypt(again, 0, FALSE, 0, pieces.data() + place, &length, 8), "CryptEncrypt");
  }
  return whole == pieces ? "TRUE, as in one piece" : "TRUE, not as in one piece";
}

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
  data.resize(length + 256);  // Wine's provider writes a whole block of RSA
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

// "secret" for the pair, by the platform's provider.
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

const Rows kEncryptRows = {
    {"encrypt.pair", "CryptEncrypt of 3 bytes with the pair, 1024 bits", "TRUE, 128 bytes", EncryptForPair(3, 128)},
    {"encrypt.pair_size", "CryptEncrypt with the pair, null buffer", "TRUE, 128 bytes", EncryptForPair(3, 0)},
    {"encrypt.pair_longest", "CryptEncrypt of 117 bytes with the pair", "TRUE, 128 bytes", EncryptForPair(117, 128)},
    {"encrypt.pair_too_long", "CryptEncrypt of 118 bytes with the pair", "FALSE NTE_BAD_LEN", EncryptForPair(118, 128)},
    {"encrypt.pair_small", "CryptEncrypt with the pair, 127 bytes of room", "FALSE ERROR_MORE_DATA, length 128",
     EncryptForPair(3, 127)},
    {"encrypt.pair_larger", "CryptEncrypt with the pair, 1024 bytes of room", "TRUE, 128 bytes",
     EncryptForPair(3, 1024)},
    {"encrypt.pair_empty", "CryptEncrypt of no bytes with the pair", "TRUE, 128 bytes", EncryptForPair(0, 128)},
    {"encrypt.pair_oaep", "CryptEncrypt with the pair, CRYPT_OAEP", "TRUE, 128 bytes",
     EncryptForPair(3, 128, AT_KEYEXCHANGE, kOaep)},
    {"encrypt.pair_flags", "CryptEncrypt with the pair, the flag 0x100", "FALSE NTE_BAD_FLAGS",
     EncryptForPair(3, 128, AT_KEYEXCHANGE, 0x100)},
    {"encrypt.pair_not_final", "CryptEncrypt with the pair, not final", "TRUE, 128 bytes",
     EncryptForPair(3, 128, AT_KEYEXCHANGE, 0, FALSE)},
    {"encrypt.signature", "CryptEncrypt with the pair of AT_SIGNATURE", "FALSE NTE_BAD_KEY",
     EncryptForPair(3, 128, AT_SIGNATURE)},
    {"encrypt.imported", "CryptEncrypt with an imported public key", "TRUE, 128 bytes", EncryptForImported},
    {"encrypt.pair_hash", "CryptEncrypt with the pair and a hash", "TRUE", EncryptWithHash(true)},
    {"encrypt.no_key", "CryptEncrypt with key 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     EncryptWithoutKey},
    {"encrypt.3des_final", "triple DES, CBC: 5 bytes, 64 of room, final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 5, 64, TRUE)},
    {"encrypt.3des_final_block", "triple DES, CBC: 8 bytes, 64 of room, final", "TRUE, 16 bytes",
     EncryptWith(kTriple, 8, 64, TRUE)},
    {"encrypt.3des_final_exact", "triple DES, CBC: 8 bytes, 8 of room, final", "FALSE ERROR_MORE_DATA, length 16",
     EncryptWith(kTriple, 8, 8, TRUE)},
    {"encrypt.3des_final_size", "triple DES, CBC: 8 bytes, null buffer, final", "TRUE, 16 bytes",
     EncryptWith(kTriple, 8, 0, TRUE)},
    {"encrypt.3des_more", "triple DES, CBC: 8 bytes, 8 of room, not final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 8, 8, FALSE)},
    {"encrypt.3des_more_room", "triple DES, CBC: 8 bytes, 64 of room, not final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 8, 64, FALSE)},
    {"encrypt.3des_more_odd", "triple DES, CBC: 7 bytes, 7 of room, not final",
     "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", EncryptWith(kTriple, 7, 7, FALSE)},
    {"encrypt.3des_hash", "triple DES with a hash", "TRUE", EncryptWithHash(false)},
    {"encrypt.3des_no_mode", "triple DES, no mode set: 8 bytes, not final", "TRUE, 8 bytes; CBC", EncryptWithoutMode},
    {"encrypt.3des_pieces", "triple DES, CBC: two pieces of 8 bytes", "TRUE, as in one piece", EncryptInPieces},
    {"encrypt.aes_final", "AES-128, CBC: 5 bytes, 64 of room, final", "TRUE, 16 bytes", EncryptWith(kAes, 5, 64, TRUE)},
    {"encrypt.aes_more", "AES-128, CBC: 16 bytes, 16 of room, not final", "TRUE, 16 bytes",
     EncryptWith(kAes, 16, 16, FALSE)},
    {"encrypt.bytes_3des", "triple DES, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTriple)},
    {"encrypt.bytes_3des_ecb", "triple DES, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTripleEcb)},
    {"encrypt.bytes_3des_112", "triple DES of two keys, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTwoKeys)},
    {"encrypt.bytes_des", "DES, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kDes)},
    {"encrypt.bytes_des_ecb", "DES, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kDesEcb)},
    {"encrypt.bytes_aes", "AES-128, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kAes)},
    {"encrypt.bytes_aes_ecb", "AES-128, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kAesEcb)},
};

const Rows kDecryptRows = {
    {"decrypt.pair", "CryptDecrypt with the pair of what the platform's provider encrypted", "TRUE, secret",
     DecryptSecret(0, 0)},
    {"decrypt.pair_not_final", "the same, not final", "TRUE, secret", DecryptSecret(0, 0, FALSE)},
    {"decrypt.pair_own", "CryptDecrypt with the pair of what CryptEncrypt made with the pair", "TRUE, secret",
     DecryptOwn},
    {"decrypt.pair_oaep", "CryptDecrypt with the pair, CRYPT_OAEP on both sides", "TRUE, secret",
     DecryptSecret(kOaep, kOaep)},
    {"decrypt.pair_oaep_only", "CryptDecrypt with the pair, CRYPT_OAEP for decryption alone", "FALSE NTE_BAD_DATA",
     DecryptSecret(0, kOaep)},
    {"decrypt.pair_flags", "CryptDecrypt with the pair, the flag 0x100", "FALSE NTE_BAD_FLAGS",
     DecryptSecret(0, 0x100)},
    {"decrypt.pair_corrupted", "CryptDecrypt with the pair, a bit is another one", "FALSE NTE_BAD_DATA",
     DecryptCorrupted},
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
    {"decrypt.unpadded", "triple DES, final, without a padding", "FALSE NTE_BAD_DATA", DecryptUnpadded},
    {"decrypt.padded_more", "triple DES with a padding, not final", "TRUE, 8 bytes", DecryptPaddedAsMore},
    {"decrypt.pieces", "triple DES, CBC: two pieces of 8 bytes", "TRUE, sixteen letters.", DecryptInPieces},
    {"decrypt.no_mode", "triple DES, no mode set", "TRUE; CBC without an IV", DecryptWithoutMode},
    {"decrypt.odd", "triple DES, CBC: 7 bytes", "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", DecryptSize(7, TRUE)},
    {"decrypt.null", "triple DES, CBC: a null pointer and length 0", "FALSE ERROR_INVALID_PARAMETER",
     DecryptSize(0, TRUE)},
    {"decrypt.hash", "triple DES with a hash", "TRUE", DecryptWithHash},
};
