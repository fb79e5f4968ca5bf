#include "telvotool/KeyWork.h"

#include "telvotool/Errors.h"

namespace tool {

namespace {

void Done(BOOL success, const std::string& what) { Require(success, what.c_str()); }

DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

// Asks `call(BYTE* out, DWORD* length)` for the length, and then for the data.
template <typename Call>
Bytes AskedFor(Call call, const std::string& what) {
  DWORD length = 0;
  Done(call(nullptr, &length), what);
  Bytes data(length);
  Done(call(data.data(), &length), what);
  return data;
}

}  // namespace

ProviderHandle SystemProvider(const char* name, DWORD type) {
  ProviderHandle provider;
  Done(CryptAcquireContextA(provider.Receive(), nullptr, name, type, CRYPT_VERIFYCONTEXT),
       "the system's own provider cannot be opened");
  return provider;
}

Bytes Reversed(const Bytes& bytes) { return {bytes.rbegin(), bytes.rend()}; }

HashHandle HashOf(HCRYPTPROV provider, ALG_ID algorithm, const Bytes& data, const std::string& what) {
  HashHandle hash;
  Done(CryptCreateHash(provider, algorithm, 0, 0, hash.Receive()), what);
  Done(CryptHashData(hash.Get(), data.data(), Length(data), 0), what);
  return hash;
}

Bytes ValueOf(HCRYPTHASH hash, const std::string& what) {
  return AskedFor([&](BYTE* out, DWORD* length) { return CryptGetHashParam(hash, HP_HASHVAL, out, length, 0); }, what);
}

Bytes SignatureOf(HCRYPTHASH hash, const std::string& what) {
  const auto sign = [&](BYTE* out, DWORD* length) {
    return CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, out, length);
  };
  return AskedFor(sign, what);
}

bool Holds(HCRYPTHASH hash, const Bytes& signature, HCRYPTKEY key, const std::string& what) {
  if (CryptVerifySignatureA(hash, signature.data(), Length(signature), key, nullptr, 0) != FALSE) return true;
  Done(GetLastError() == static_cast<DWORD>(NTE_BAD_SIGNATURE) ? TRUE : FALSE, what);
  return false;
}

KeyHandle NewKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, const std::string& what) {
  KeyHandle key;
  Done(CryptGenKey(provider, algorithm, flags, key.Receive()), what);
  return key;
}

Bytes Export(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD type, const std::string& what) {
  return AskedFor([&](BYTE* out, DWORD* length) { return CryptExportKey(key, exchangeKey, type, 0, out, length); },
                  what);
}

KeyHandle Import(HCRYPTPROV provider, const Bytes& blob, HCRYPTKEY exchangeKey, const std::string& what) {
  KeyHandle key;
  Done(CryptImportKey(provider, blob.data(), Length(blob), exchangeKey, 0, key.Receive()), what);
  return key;
}

void UseCbc(HCRYPTKEY key, std::size_t block, const std::string& what) {
  const DWORD mode = CRYPT_MODE_CBC;
  Done(CryptSetKeyParam(key, KP_MODE, reinterpret_cast<const BYTE*>(&mode), 0), what);
  const Bytes iv(block, 0x5A);
  Done(CryptSetKeyParam(key, KP_IV, iv.data(), 0), what);
}

// For a session key the provider takes the size of the buffer as the length of the input.
Bytes EncryptedBlocks(HCRYPTKEY key, const Bytes& plain, const std::string& what) {
  Bytes data = plain;
  DWORD length = Length(data);
  Done(CryptEncrypt(key, 0, FALSE, 0, data.data(), &length, Length(data)), what);
  data.resize(length);
  return data;
}

Bytes EncryptedWithPadding(HCRYPTKEY key, const Bytes& plain, std::size_t room, const std::string& what) {
  Bytes data = plain;
  DWORD length = Length(data);
  data.resize(data.size() + room);
  Done(CryptEncrypt(key, 0, TRUE, 0, data.data(), &length, Length(data)), what);
  data.resize(length);
  return data;
}

Bytes Decrypted(HCRYPTKEY key, bool hasPadding, const Bytes& encrypted, const std::string& what) {
  Bytes data = encrypted;
  DWORD length = Length(data);
  Done(CryptDecrypt(key, 0, hasPadding ? TRUE : FALSE, 0, data.data(), &length), what);
  data.resize(length);
  return data;
}

}  // namespace tool
