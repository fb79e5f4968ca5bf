#include "context/KeyDerivation.h"

#include <algorithm>

#include "common/CCSPContextError.h"
#include "common/WipeMemory.h"
#include "context/CreateSecretKey.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "objects/CCSPHash.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKey.h"

namespace {

WipedBuffer ValueOf(CCSPHash& hash) {
  DWORD length = 0;
  hash.GetHash(nullptr, &length);
  WipedBuffer value(length);
  hash.GetHash(value.Data(), &length);
  return value;
}

boost::shared_ptr<CCSPHash> HashOfPad(CCSPHashFactory& factory, ALG_ID algorithm, Session* session, BYTE filling,
                                      const WipedBuffer& value) {
  constexpr std::size_t kPadLength = 64;
  WipedBuffer pad(kPadLength);
  std::fill_n(pad.Data(), kPadLength, filling);
  const std::size_t count = std::min(kPadLength, value.Length());
  for (std::size_t i = 0; i < count; ++i) pad.Data()[i] ^= value.Data()[i];
  auto hash = factory.CreateHash(algorithm, session);
  hash->AddData(pad.Data(), kPadLength);
  return hash;
}

// The digests of the value in two pads, one after the other.
WipedBuffer Stretch(const WipedBuffer& value, ALG_ID algorithm, Session* session) {
  CCSPHashFactory factory;
  const auto first = HashOfPad(factory, algorithm, session, 0x36, value);
  const auto second = HashOfPad(factory, algorithm, session, 0x5C, value);
  const WipedBuffer head = ValueOf(*first);
  const WipedBuffer tail = ValueOf(*second);
  WipedBuffer both(head.Length() + tail.Length());
  std::copy_n(tail.Data(), tail.Length(), std::copy_n(head.Data(), head.Length(), both.Data()));
  return both;
}

// Whether the value of such a hash is too short for the key and is made longer.
bool IsStretched(ALG_ID key, ALG_ID hash) {
  return (key == CALG_3DES || key == CALG_AES) && (hash == CALG_SHA1 || hash == CALG_MD5);
}

WipedBuffer KeyMaterial(CCSPHash& hash, ALG_ID key, Session* session) {
  WipedBuffer value = ValueOf(hash);
  if (!IsStretched(key, hash.GetAlgID())) return value;
  return Stretch(value, hash.GetAlgID(), session);
}

}  // namespace

boost::shared_ptr<CCSPSecretKey> DeriveSecretKey(TELVOCSPContext& context, CCSPHash& hash, ALG_ID algorithm,
                                                 DWORD length, CCSPSecretKeyFactory* factory) {
  try {
    const WipedBuffer material = KeyMaterial(hash, algorithm, context.GetSession());
    // Required: any length is made; CPDeriveKey refuses those that it does not accept. Bytes missing from the material
    // are zero.
    WipedBuffer bytes(length);
    std::copy_n(material.Data(), std::min<std::size_t>(length, material.Length()), bytes.Data());
    const LoginLock lock;  // no other thread logs the token out before the object is made
    auto key = CreateSecretKey(context, bytes.Data(), length, algorithm, factory);
    context.AddSecretKey(key);
    return key;
  } catch (const CryptokiError& error) {
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
}
