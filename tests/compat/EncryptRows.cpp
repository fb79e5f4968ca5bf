// CryptEncrypt.
#include "Cipher.h"

namespace {

// Encrypts `size` bytes "a" in a buffer of `room` bytes. A room of 0 is a null buffer, which asks for the length.
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

// Encrypts whole blocks; length and room are the same.
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

}  // namespace

const Rows kEncryptRows = {
    {"encrypt.pair", "CryptEncrypt of 3 bytes with the pair, 1024 bits", "TRUE, 128 bytes", EncryptForPair(3, 128)},
    {"encrypt.pair_size", "CryptEncrypt with the pair, null buffer", "TRUE, 128 bytes", EncryptForPair(3, 0)},
    {"encrypt.pair_longest", "CryptEncrypt of 117 bytes with the pair", "TRUE, 128 bytes", EncryptForPair(117, 128)},
    {"encrypt.pair_too_long", "CryptEncrypt of 118 bytes with the pair", "FALSE NTE_BAD_LEN", EncryptForPair(118, 128)},
    {"encrypt.pair_small", "CryptEncrypt with the pair, a buffer of 127 bytes", "FALSE ERROR_MORE_DATA, length 128",
     EncryptForPair(3, 127)},
    {"encrypt.pair_larger", "CryptEncrypt with the pair, a buffer of 1024 bytes", "TRUE, 128 bytes",
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
    {"encrypt.3des_final", "triple DES, CBC: 5 bytes, a buffer of 64, final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 5, 64, TRUE)},
    {"encrypt.3des_final_block", "triple DES, CBC: 8 bytes, a buffer of 64, final", "TRUE, 16 bytes",
     EncryptWith(kTriple, 8, 64, TRUE)},
    {"encrypt.3des_final_exact", "triple DES, CBC: 8 bytes, a buffer of 8, final", "FALSE ERROR_MORE_DATA, length 16",
     EncryptWith(kTriple, 8, 8, TRUE)},
    {"encrypt.3des_final_size", "triple DES, CBC: 8 bytes, null buffer, final", "TRUE, 16 bytes",
     EncryptWith(kTriple, 8, 0, TRUE)},
    {"encrypt.3des_more", "triple DES, CBC: 8 bytes, a buffer of 8, not final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 8, 8, FALSE)},
    {"encrypt.3des_more_room", "triple DES, CBC: 8 bytes, a buffer of 64, not final", "TRUE, 8 bytes",
     EncryptWith(kTriple, 8, 64, FALSE)},
    {"encrypt.3des_more_odd", "triple DES, CBC: 7 bytes, a buffer of 7, not final",
     "FALSE NTE_BAD_DATA or FALSE NTE_BAD_LEN", EncryptWith(kTriple, 7, 7, FALSE)},
    {"encrypt.3des_hash", "triple DES with a hash", "TRUE", EncryptWithHash(false)},
    {"encrypt.3des_no_mode", "triple DES, no mode set: 8 bytes, not final", "TRUE, 8 bytes; CBC", EncryptWithoutMode},
    {"encrypt.3des_pieces", "triple DES, CBC: two pieces of 8 bytes", "TRUE, as in one piece", EncryptInPieces},
    {"encrypt.aes_final", "AES-128, CBC: 5 bytes, a buffer of 64, final", "TRUE, 16 bytes",
     EncryptWith(kAes, 5, 64, TRUE)},
    {"encrypt.aes_more", "AES-128, CBC: 16 bytes, a buffer of 16, not final", "TRUE, 16 bytes",
     EncryptWith(kAes, 16, 16, FALSE)},
    {"encrypt.bytes_3des", "triple DES, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTriple)},
    {"encrypt.bytes_3des_ecb", "triple DES, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTripleEcb)},
    {"encrypt.bytes_3des_112", "triple DES of two keys, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kTwoKeys)},
    {"encrypt.bytes_des", "DES, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kDes)},
    {"encrypt.bytes_des_ecb", "DES, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kDesEcb)},
    {"encrypt.bytes_aes", "AES-128, CBC: 32 bytes, the ciphertext", "TRUE", Ciphertext(kAes)},
    {"encrypt.bytes_aes_ecb", "AES-128, ECB: 32 bytes, the ciphertext", "TRUE", Ciphertext(kAesEcb)},
};
