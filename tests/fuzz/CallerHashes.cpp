// Hashes and signatures.
#include <algorithm>

#include "Caller.h"
#include "Must.h"

void Caller::CreateHash() {
  constexpr ALG_ID kAlgorithms[] = {CALG_SHA1,    CALG_SHA1,    CALG_MD5,         CALG_SHA_256,
                                    CALG_SHA_384, CALG_SHA_512, CALG_SSL3_SHAMD5, CALG_RSA_SIGN};
  constexpr HCRYPTHASH kNone = 7;
  HCRYPTHASH hash = kNone;
  const ALG_ID algorithm = m_data.PickValueInArray(kAlgorithms);
  HCRYPTHASH* const out = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &hash;
  const bool done = Make([&] { return CPCreateHash(Context(), algorithm, 0, Flags(), out); });
  Must(done != (hash == kNone));
  if (done) m_hashes.push_back(hash);
}

void Caller::HashData() {
  const Bytes message = Message();
  const auto length = static_cast<DWORD>(message.size());
  Make([&] { return CPHashData(Context(), Hash(), message.data(), length, Flags()); });
}

// The hash is looked up under the key's handle, so a hash's handle is passed as well.
void Caller::HashSessionKey() {
  const HCRYPTKEY key = m_data.ConsumeBool() ? Key() : Hash();
  Make([&] { return CPHashSessionKey(Context(), Hash(), key, Flags()); });
}

void Caller::GetHashParam() {
  constexpr DWORD kParams[] = {HP_HASHVAL, HP_HASHSIZE, HP_ALGID, 99};
  const DWORD param = m_data.PickValueInArray(kParams);
  Buffer buffer(m_data);
  Make([&] { return CPGetHashParam(Context(), Hash(), param, buffer.Data(), buffer.Length(), Flags()); });
}

void Caller::SetHashParam() {
  const Bytes value(64, m_data.ConsumeIntegral<unsigned char>());
  const DWORD param = m_data.ConsumeIntegralInRange(0, 7) == 7 ? HP_ALGID : HP_HASHVAL;
  const BYTE* const bytes = m_data.ConsumeIntegralInRange(0, 15) == 15 ? nullptr : value.data();
  Make([&] { return CPSetHashParam(Context(), Hash(), param, bytes, Flags()); });
}

void Caller::DestroyHash() {
  const HCRYPTHASH hash = Hash();
  if (Make([&] { return CPDestroyHash(Context(), hash); }))
    m_hashes.erase(std::remove(m_hashes.begin(), m_hashes.end(), hash), m_hashes.end());
}

void Caller::SignHash() {
  constexpr DWORD kSpecs[] = {AT_SIGNATURE, AT_KEYEXCHANGE, 0, 3};
  const DWORD spec = m_data.PickValueInArray(kSpecs);
  const DWORD flags = m_data.ConsumeIntegralInRange(0, 7) == 7 ? CRYPT_NOHASHOID : Flags();
  Buffer buffer(m_data);
  const bool done =
      Make([&] { return CPSignHash(Context(), Hash(), spec, nullptr, flags, buffer.Data(), buffer.Length()); });
  if (done && buffer.Data() != nullptr) m_signature = buffer.Content();
}

void Caller::VerifySignature() {
  Bytes signature = m_data.ConsumeIntegralInRange(0, 7) == 7 ? Message() : m_signature;
  if (!signature.empty() && m_data.ConsumeIntegralInRange(0, 7) == 7) signature.front() ^= 1U;
  const auto length = static_cast<DWORD>(signature.size());
  const auto* const description = m_data.ConsumeIntegralInRange(0, 31) == 31 ? L"text" : nullptr;
  const DWORD flags = m_data.ConsumeIntegralInRange(0, 7) == 7 ? CRYPT_NOHASHOID : 0;
  Make([&] {
    return CPVerifySignature(Context(), Hash(), signature.data(), length, Key(), reinterpret_cast<LPCWSTR>(description),
                             flags);
  });
}

void Caller::DuplicateHash() {
  HCRYPTHASH copy = 0;
  Make([&] { return CPDuplicateHash(Context(), Hash(), nullptr, Flags(), &copy); });
}
