// Flows of hashes and signatures.
#include <array>
#include <boost/make_shared.hpp>
#include <string>

#include "Flows.h"
#include "Heap.h"
#include "entry/CCSPContextList.h"
#include "entry/ProviderInterface.h"
#include "module/KeyBlobBytes.h"
#include "objects/C3DESKey.h"

namespace {

constexpr DWORD kSignatureLength = 128;

void AskHash(Application& app, HCRYPTPROV context, HCRYPTHASH hash, DWORD expectedLength) {
  std::array<BYTE, kRoom> value = {};
  DWORD length = 0;
  app.Does("CPGetHashParam", [&] { return CPGetHashParam(context, hash, HP_HASHVAL, nullptr, &length, 0); });
  app.Needs(length == expectedLength, "the length of a hash");
  length = kRoom;
  app.Does("CPGetHashParam", [&] { return CPGetHashParam(context, hash, HP_HASHVAL, value.data(), &length, 0); });
  DWORD number = 0;
  length = sizeof(number);
  app.Does("CPGetHashParam",
           [&] { return CPGetHashParam(context, hash, HP_ALGID, reinterpret_cast<BYTE*>(&number), &length, 0); });
}

Bytes MakeSignature(Application& app, HCRYPTPROV context, ALG_ID algorithm) {
  const HCRYPTHASH hash = app.HashOf(context, "What is signed", algorithm);
  Bytes signature(kRoom);
  DWORD length = 0;
  app.Does("CPSignHash", [&] { return CPSignHash(context, hash, AT_SIGNATURE, nullptr, 0, nullptr, &length); });
  app.Needs(length == kSignatureLength, "the length of a signature");
  length = kRoom;
  app.Does("CPSignHash",
           [&] { return CPSignHash(context, hash, AT_SIGNATURE, nullptr, 0, signature.data(), &length); });
  app.Needs(length == kSignatureLength, "the length of a signature that was made");
  signature.resize(length <= kRoom ? length : 0);
  app.DestroyHash(context, hash);
  return signature;
}

}  // namespace

void Hash(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  const HCRYPTHASH hash = app.HashOf(context, "a message of some length, which the token digests in one piece");
  AskHash(app, context, hash, 20);
  app.DestroyHash(context, hash);
  const HCRYPTHASH other = app.HashOf(context, "abc", CALG_SHA_256);
  AskHash(app, context, other, 32);
  app.DestroyHash(context, other);
  const HCRYPTHASH longOne = app.HashOf(context, std::string(std::size_t{100} * 1024, 'a'));
  AskHash(app, context, longOne, 20);
  app.DestroyHash(context, longOne);
  const std::array<BYTE, 20> value = {1, 2, 3};
  HCRYPTHASH given = 0;
  app.Does("CPCreateHash", [&] { return CPCreateHash(context, CALG_SHA1, 0, 0, &given); });
  app.Does("CPSetHashParam", [&] { return CPSetHashParam(context, given, HP_HASHVAL, value.data(), 0); });
  app.DestroyHash(context, given);
  app.Release(context);
}

// CPHashSessionKey looks up the hash under the key's handle. So the context gets a key with the hash's handle, whose
// object is the fourth on the token.
void HashSessionKey(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  HCRYPTHASH hash = 0;
  if (app.Does("CPCreateHash", [&] { return CPCreateHash(context, CALG_SHA1, 0, 0, &hash); })) {
    const boost::shared_ptr<CCSPContext> object = g_contextList.FindContext(context);
    const auto key = boost::make_shared<C3DESKey>();
    key->Bind(object->GetSession(), 4, static_cast<DWORD>(hash));
    object->AddSecretKey(key);
  }
  app.Does("CPHashSessionKey", [&] { return CPHashSessionKey(context, hash, hash, CRYPT_LITTLE_ENDIAN); });
  AskHash(app, context, hash, 20);
  app.DestroyHash(context, hash);
  app.Release(context);
}

void Sign(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  MakeSignature(app, context, CALG_SHA1);
  MakeSignature(app, context, CALG_SHA_256);
  app.Release(context);
}

void SignByDialog(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  MakeSignature(app, context, CALG_SHA1);
  app.Release(context);
}

void Verify(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  const Bytes signature = MakeSignature(app, context, CALG_SHA1);
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(128, 0x81));
  HCRYPTKEY imported = 0;
  app.Does("CPImportKey",
           [&] { return CPImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &imported); });
  for (const HCRYPTKEY key : {app.UserKey(context, AT_SIGNATURE), imported}) {
    const HCRYPTHASH hash = app.HashOf(context, "What is signed");
    app.Does("CPVerifySignature", [&] {
      return CPVerifySignature(context, hash, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0);
    });
    app.DestroyHash(context, hash);
  }
  app.DestroyKey(context, imported);
  app.Release(context);
}
