#include "Caller.h"

#include <stdexcept>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "module/KeyBlobBytes.h"

namespace {

constexpr DWORD kMarker = 0x2BADC0DE;

DWORD AnyLength(FuzzedDataProvider& data) {
  constexpr DWORD kLengths[] = {1024, 1024, 1024, 0, 1, 3, 4, 8, 16, 20, 26, 32, 36, 64, 76, 84, 88, 128};
  return data.PickValueInArray(kLengths);
}

}  // namespace

Buffer::Buffer(FuzzedDataProvider& data, DWORD least)
    : m_room(AnyLength(data)),
      m_length(m_room),
      m_hasData(data.ConsumeIntegralInRange(0, 7) != 7),
      m_hasLength(data.ConsumeIntegralInRange(0, 31) != 31),
      m_bytes(std::make_unique<BYTE[]>(m_room < least ? least : m_room)) {}

bool Caller::Make(const Call& call, Leaves leaves, BOOL odd) {
  BOOL result = FALSE;
  SetLastError(kMarker);
  try {
    result = call();
  } catch (const CCSPContextError&) {
    Must(leaves == Leaves::kContextError);
    return false;
  } catch (const CryptokiError&) {
    Must(leaves == Leaves::kModuleError);
    return false;
  } catch (const std::runtime_error&) {
    Must(leaves == Leaves::kRuntimeError);
    return false;
  }
  const DWORD code = GetLastError();
  if (result == FALSE) Must(code != 0 && code != kMarker);
  if (result == TRUE) Must(code == 0);
  if (result != FALSE && result != TRUE) Must(result == odd);
  return result == TRUE;
}

DWORD Caller::Flags() {
  constexpr DWORD kFlags[] = {1, 2, 4, 8, 0x40, 0xFFFFFFFF};
  return m_data.ConsumeIntegralInRange(0, 7) == 7 ? m_data.PickValueInArray(kFlags) : 0;
}

Bytes Caller::Message() {
  return m_data.ConsumeBytes<unsigned char>(m_data.ConsumeIntegralInRange<std::size_t>(0, 70));
}

void Caller::Prepare() {
  if (m_data.ConsumeIntegralInRange(0, 7) == 7) return;
  HCRYPTPROV context = 0;
  Make([&] { return CPAcquireContext(&context, "\\\\.\\Reader A\\one", 0, nullptr); }, Leaves::kRuntimeError);
  if (context == 0) return;
  m_contexts.push_back(context);
  if (m_data.ConsumeIntegralInRange(0, 3) != 3) {
    m_stage.Give(InterfaceStage::kPIN);
    const auto* const pin = reinterpret_cast<const BYTE*>(InterfaceStage::kPIN);
    Make([&] { return CPSetProvParam(context, PP_SIGNATURE_PIN, pin, 0); }, Leaves::kModuleError);
  }
  constexpr ALG_ID kAlgorithms[] = {CALG_3DES, CALG_DES, CALG_3DES_112, CALG_AES_128};
  const ALG_ID algorithm = m_data.PickValueInArray(kAlgorithms);
  const Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(InterfaceStage::kModulusBytes, 0x91));
  const auto length = static_cast<DWORD>(blob.size());
  const std::function<BOOL(HCRYPTKEY*)> makers[] = {
      [&](HCRYPTKEY* key) { return CPImportKey(context, blob.data(), length, 0, 0, key); },
      [&](HCRYPTKEY* key) { return CPGetUserKey(context, AT_SIGNATURE, key); },
      [&](HCRYPTKEY* key) { return CPGenKey(context, algorithm, CRYPT_EXPORTABLE, key); }};
  for (const auto& make : makers) {
    HCRYPTKEY key = 0;
    if (Make([&] { return make(&key); })) m_keys.push_back(key);
  }
  HCRYPTHASH hash = 0;
  if (!Make([&] { return CPCreateHash(context, CALG_SHA1, 0, 0, &hash); })) return;
  m_hashes.push_back(hash);
  Make([&] { return CPHashData(context, hash, blob.data(), length, 0); });
}

void Caller::CallOne() {
  static constexpr void (Caller::*kCalls[])() = {
      &Caller::Acquire,     &Caller::Release,        &Caller::GetProvParam,    &Caller::Enumerate,
      &Caller::GetStore,    &Caller::SetProvParam,   &Caller::GenRandom,       &Caller::CreateHash,
      &Caller::HashData,    &Caller::HashSessionKey, &Caller::GetHashParam,    &Caller::SetHashParam,
      &Caller::DestroyHash, &Caller::SignHash,       &Caller::VerifySignature, &Caller::GenKey,
      &Caller::DeriveKey,   &Caller::GetUserKey,     &Caller::DestroyKey,      &Caller::ExportKey,
      &Caller::ImportKey,   &Caller::Encrypt,        &Caller::Decrypt,         &Caller::GetKeyParam,
      &Caller::SetKeyParam, &Caller::SetSalt,        &Caller::DuplicateHash,   &Caller::DuplicateKey,
      &Caller::GetUserKey,  &Caller::Acquire};
  const std::size_t number = m_data.ConsumeIntegralInRange<std::size_t>(0, std::size(kCalls));
  if (number == std::size(kCalls)) return m_stage.Disturb();
  (this->*kCalls[number])();
}

void Caller::ReleaseAll() {
  for (const HCRYPTPROV context : m_contexts) Must(CPReleaseContext(context, 0) == TRUE);
  m_contexts.clear();
}
