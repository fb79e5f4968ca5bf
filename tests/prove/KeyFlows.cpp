// Flows of keys: generation, exchange, derivation, encryption and decryption.
#include <algorithm>
#include <array>

#include "Flows.h"
#include "entry/ProviderInterface.h"
#include "module/KeyBlobBytes.h"

namespace {

HCRYPTPROV AcquireWithPin(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  return context;
}

Bytes WholeKey(std::size_t length) {
  Bytes key = kKeyBytes;
  key.resize(length, 0x11);
  return key;
}

HCRYPTKEY Import(Application& app, HCRYPTPROV context, ALG_ID algorithm, std::size_t length) {
  const Bytes blob = SimpleBlob(algorithm, Reversed(EncryptedKey(WholeKey(length), kModulusBytes)));
  HCRYPTKEY key = 0;
  app.Does("CPImportKey", [&] {
    return CPImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_EXPORTABLE, &key);
  });
  return key;
}

void SetNumber(Application& app, HCRYPTPROV context, HCRYPTKEY key, DWORD param, DWORD number) {
  app.Does("CPSetKeyParam",
           [&] { return CPSetKeyParam(context, key, param, reinterpret_cast<const BYTE*>(&number), 0); });
}

void AskKey(Application& app, HCRYPTPROV context, HCRYPTKEY key, DWORD param) {
  std::array<BYTE, kRoom> answer = {};
  DWORD length = 0;
  app.Does("CPGetKeyParam", [&] { return CPGetKeyParam(context, key, param, nullptr, &length, 0); });
  length = kRoom;
  app.Does("CPGetKeyParam", [&] { return CPGetKeyParam(context, key, param, answer.data(), &length, 0); });
}

void CryptBy(Application& app, HCRYPTPROV context, HCRYPTKEY key, DWORD block) {
  SetNumber(app, context, key, KP_MODE, CRYPT_MODE_CBC);
  const std::array<BYTE, 16> iv = {9, 8, 7};
  app.Does("CPSetKeyParam", [&] { return CPSetKeyParam(context, key, KP_IV, iv.data(), 0); });
  std::array<BYTE, kRoom> data = {};
  // With a session key the two lengths swap their meanings.
  DWORD room = kRoom;
  const DWORD input = 4 * block;
  app.Does("CPEncrypt", [&] { return CPEncrypt(context, key, 0, TRUE, 0, data.data(), &room, input); });
  app.Does("CPSetKeyParam", [&] { return CPSetKeyParam(context, key, KP_IV, iv.data(), 0); });
  DWORD length = input;
  app.Does("CPDecrypt", [&] { return CPDecrypt(context, key, 0, FALSE, 0, data.data(), &length); });
  app.Needs(std::count(data.begin(), data.begin() + input, 0) == static_cast<std::ptrdiff_t>(input),
            "decryption restores the data");
}

}  // namespace

void MakePair(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  HCRYPTKEY key = 0;
  app.Does("CPGenKey", [&] { return CPGenKey(context, AT_KEYEXCHANGE, 512U << 16U, &key); });
  app.UserKey(context, AT_SIGNATURE);
  app.Release(context);
}

void MakeSessionKey(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  constexpr ALG_ID kAlgorithms[] = {CALG_DES, CALG_3DES, CALG_3DES_112};
  for (const ALG_ID algorithm : kAlgorithms) {
    HCRYPTKEY key = 0;
    app.Does("CPGenKey", [&] { return CPGenKey(context, algorithm, CRYPT_EXPORTABLE, &key); });
    app.DestroyKey(context, key);
  }
  app.Release(context);
}

void ExchangePublicKey(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  const HCRYPTKEY pair = app.UserKey(context);
  std::array<BYTE, kRoom> blob = {};
  DWORD length = 0;
  app.Does("CPExportKey", [&] { return CPExportKey(context, pair, 0, PUBLICKEYBLOB, 0, nullptr, &length); });
  length = kRoom;
  app.Does("CPExportKey", [&] { return CPExportKey(context, pair, 0, PUBLICKEYBLOB, 0, blob.data(), &length); });
  HCRYPTKEY imported = 0;
  app.Does("CPImportKey", [&] { return CPImportKey(context, blob.data(), std::min(length, kRoom), 0, 0, &imported); });
  length = kRoom;
  app.Does("CPExportKey", [&] { return CPExportKey(context, imported, 0, PUBLICKEYBLOB, 0, blob.data(), &length); });
  app.DestroyKey(context, imported);
  app.Release(context);
}

void ExchangeSessionKey(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  const HCRYPTKEY pair = app.UserKey(context);
  const HCRYPTKEY key = Import(app, context, CALG_3DES, 24);
  std::array<BYTE, kRoom> blob = {};
  DWORD length = 0;
  app.Does("CPExportKey", [&] { return CPExportKey(context, key, pair, SIMPLEBLOB, 0, nullptr, &length); });
  length = kRoom;
  app.Does("CPExportKey", [&] { return CPExportKey(context, key, pair, SIMPLEBLOB, 0, blob.data(), &length); });
  app.DestroyKey(context, key);
  app.Release(context);
}

void DeriveKey(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  struct Wanted {
    ALG_ID algorithm;
    DWORD bits;
  };
  constexpr Wanted kWanted[] = {{CALG_DES, 56}, {CALG_AES_128, 112}};
  for (const Wanted& wanted : kWanted) {
    const HCRYPTHASH hash = app.HashOf(context, "a password");
    HCRYPTKEY key = 0;
    app.Does("CPDeriveKey", [&] { return CPDeriveKey(context, wanted.algorithm, hash, wanted.bits << 16U, &key); });
    app.DestroyKey(context, key);
    app.DestroyHash(context, hash);
  }
  app.Release(context);
}

void CryptByPair(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  const HCRYPTKEY pair = app.UserKey(context);
  std::array<BYTE, kRoom> data = {'a', 'b', 'c'};
  DWORD length = 3;
  app.Does("CPEncrypt", [&] { return CPEncrypt(context, pair, 0, TRUE, 0, data.data(), &length, kRoom); });
  app.Needs(length == kModulusBytes, "the length of the encrypted data");
  std::reverse(data.begin(), data.begin() + kModulusBytes);
  length = kModulusBytes;
  app.Does("CPDecrypt", [&] { return CPDecrypt(context, pair, 0, TRUE, 0, data.data(), &length); });
  app.Needs(length == 3, "the length of the decrypted data");
  app.Release(context);
}

void CryptBySessionKey(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  const HCRYPTKEY tripleDes = Import(app, context, CALG_3DES, 24);
  CryptBy(app, context, tripleDes, 8);
  app.DestroyKey(context, tripleDes);
  const HCRYPTKEY aes = Import(app, context, CALG_AES_128, 16);
  CryptBy(app, context, aes, 16);
  app.DestroyKey(context, aes);
  app.Release(context);
}

void AskKeys(Application& app) {
  const HCRYPTPROV context = AcquireWithPin(app);
  const HCRYPTKEY pair = app.UserKey(context);
  constexpr DWORD kOfAny[] = {KP_ALGID, KP_BLOCKLEN, KP_KEYLEN, KP_PIN_INFO};
  for (const DWORD param : kOfAny) AskKey(app, context, pair, param);
  const HCRYPTKEY key = Import(app, context, CALG_3DES, 24);
  constexpr DWORD kOfSessionKeys[] = {KP_ALGID, KP_BLOCKLEN, KP_KEYLEN, KP_MODE, KP_PADDING, KP_PERMISSIONS};
  for (const DWORD param : kOfSessionKeys) AskKey(app, context, key, param);
  SetNumber(app, context, key, KP_PADDING, PKCS5_PADDING);
  app.DestroyKey(context, key);
  app.Release(context);
}
