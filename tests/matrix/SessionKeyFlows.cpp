// Session keys. OpenSSL made the keys, encrypted them for the container, and encrypted the same data with them.
#include "Flow.h"

namespace {

struct Cipher {
  ALG_ID algorithm;
  const char* name;  // in the names of its files
  std::size_t block;
};

constexpr Cipher kDes = {CALG_DES, "des", 8};
constexpr Cipher kTripleDes = {CALG_3DES, "3des", 8};
constexpr Cipher kAes = {CALG_AES_128, "aes", 16};

void Append(Bytes& bytes, DWORD number) {
  for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<BYTE>(number >> shift));
}

// A SIMPLEBLOB around a key that OpenSSL encrypted.
Bytes SimpleBlob(ALG_ID algorithm, const Bytes& encryptedKey) {
  Bytes blob = {SIMPLEBLOB, CUR_BLOB_VERSION, 0, 0};
  Append(blob, algorithm);
  Append(blob, CALG_RSA_KEYX);
  const Bytes key = Reversed(encryptedKey);
  blob.insert(blob.end(), key.begin(), key.end());
  return blob;
}

void Use(const Context& context, HCRYPTKEY key, DWORD mode, std::size_t block) {
  context.SetKey(key, KP_MODE, reinterpret_cast<const BYTE*>(&mode));
  const Bytes iv(block, 0x5A);
  if (mode == CRYPT_MODE_CBC) context.SetKey(key, KP_IV, iv.data());
}

// With a session key, the provider swaps the two lengths of an encryption.
Bytes Encrypted(const Context& context, HCRYPTKEY key, const Bytes& plain) {
  Bytes data = plain;
  const auto length = static_cast<DWORD>(plain.size());
  data.resize(context.Encrypt(key, data, length, length));
  return data;
}

void ImportAndUse(const Cipher& cipher, DWORD mode) {
  const std::string name = cipher.name;
  const OpenContainer context;
  const HCRYPTKEY key = context.Import(SimpleBlob(cipher.algorithm, ReadExchange(name + ".wrapped")));
  const Bytes plain = ReadExchange("blocks");
  Use(context, key, mode, cipher.block);
  Bytes data = Encrypted(context, key, plain);
  Require(data == ReadExchange(name + (mode == CRYPT_MODE_CBC ? ".cbc" : ".ecb")), "OpenSSL encrypts to other bytes");
  Use(context, key, mode, cipher.block);
  data.resize(context.Decrypt(key, false, data, static_cast<DWORD>(data.size())));
  Require(data == plain, "something else comes out");
  context.Destroy(key);
}

}  // namespace

void DesCbc() { ImportAndUse(kDes, CRYPT_MODE_CBC); }
void DesEcb() { ImportAndUse(kDes, CRYPT_MODE_ECB); }
void TripleDesCbc() { ImportAndUse(kTripleDes, CRYPT_MODE_CBC); }
void TripleDesEcb() { ImportAndUse(kTripleDes, CRYPT_MODE_ECB); }
void AesCbc() { ImportAndUse(kAes, CRYPT_MODE_CBC); }
void AesEcb() { ImportAndUse(kAes, CRYPT_MODE_ECB); }

// OpenSSL decrypts the key, and then the data with this key.
void ExportSessionKey() {
  const OpenContainer context;
  const HCRYPTKEY exchangeKey = context.Import(ReadExchange("other.blob"));
  const HCRYPTKEY key = context.Generate(CALG_3DES, CRYPT_EXPORTABLE);
  WriteExchange("exported.blob", context.Export(key, exchangeKey, SIMPLEBLOB));
  Use(context, key, CRYPT_MODE_CBC, kTripleDes.block);
  WriteExchange("exported.cbc", Encrypted(context, key, ReadExchange("blocks")));
  for (const HCRYPTKEY each : {key, exchangeKey}) context.Destroy(each);
}
