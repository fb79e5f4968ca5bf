// Keys: pairs, session keys, blobs, encryption and decryption, and their parameters.
#include <algorithm>
#include <cstring>

#include "Caller.h"
#include "Must.h"
#include "module/KeyBlobBytes.h"
#include "module/SampleCertificates.h"

void Caller::GenKey() {
  constexpr ALG_ID kAlgorithms[] = {CALG_3DES,      CALG_DES,     CALG_3DES_112, CALG_AES_128,
                                    AT_KEYEXCHANGE, AT_SIGNATURE, CALG_SHA1};
  constexpr DWORD kAllFlags[] = {0, CRYPT_EXPORTABLE, 512U << 16U, 1024U << 16U, 2048U << 16U, CRYPT_MODE_CBC};
  HCRYPTKEY key = 0;
  const ALG_ID algorithm = m_data.PickValueInArray(kAlgorithms);
  const DWORD flags = m_data.PickValueInArray(kAllFlags);
  if (Make([&] { return CPGenKey(Context(), algorithm, flags, &key); })) m_keys.push_back(key);
}

void Caller::DeriveKey() {
  struct Wanted {
    ALG_ID algorithm;
    DWORD bits;
  };
  constexpr Wanted kWanted[] = {{CALG_DES, 56},       {CALG_3DES, 168}, {CALG_AES_128, 112},
                                {CALG_3DES_112, 112}, {CALG_DES, 168},  {CALG_SHA1, 0}};
  const Wanted& wanted = kWanted[m_data.ConsumeIntegralInRange<std::size_t>(0, std::size(kWanted) - 1)];
  HCRYPTKEY key = 0;
  const DWORD flags = wanted.bits << 16U | Flags();
  if (Make([&] { return CPDeriveKey(Context(), wanted.algorithm, Hash(), flags, &key); })) m_keys.push_back(key);
}

void Caller::GetUserKey() {
  constexpr DWORD kSpecs[] = {AT_KEYEXCHANGE, AT_SIGNATURE, 0, 3, 4};
  HCRYPTKEY key = 0;
  const DWORD spec = m_data.PickValueInArray(kSpecs);
  HCRYPTKEY* const out = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &key;
  if (Make([&] { return CPGetUserKey(Context(), spec, out); }) && key != 0) m_keys.push_back(key);
}

void Caller::DestroyKey() {
  Make([&] { return CPDestroyKey(Context(), Key()); });
}

void Caller::ExportKey() {
  constexpr DWORD kTypes[] = {PUBLICKEYBLOB, SIMPLEBLOB, 99};
  const DWORD type = m_data.PickValueInArray(kTypes);
  Buffer buffer(m_data);
  const bool done =
      Make([&] { return CPExportKey(Context(), Key(), Key(), type, Flags(), buffer.Data(), buffer.Length()); });
  if (done && buffer.Data() != nullptr) m_blob = buffer.Content();
}

Bytes Caller::AnyBlob() {
  constexpr ALG_ID kAlgorithms[] = {CALG_3DES, CALG_DES, CALG_3DES_112, CALG_AES_128, CALG_SHA1};
  constexpr std::size_t kModulus = InterfaceStage::kModulusBytes;
  switch (m_data.ConsumeIntegralInRange(0, 5)) {
    case 0:
      return m_blob;
    case 1:
      return Message();
    case 2: {
      Bytes blob = PublicKeyBlob(CALG_RSA_KEYX, Counting(kModulus, 0x91));
      blob.resize(m_data.ConsumeIntegralInRange<std::size_t>(0, blob.size()));
      return blob;
    }
    case 3:
      return PublicKeyBlob(m_data.ConsumeBool() ? CALG_RSA_KEYX : CALG_RSA_SIGN, Counting(kModulus, 0x91));
    default: {
      const ALG_ID algorithm = m_data.PickValueInArray(kAlgorithms);
      const std::size_t length = algorithm == CALG_DES ? 8 : algorithm == CALG_3DES ? 24 : 16;
      return SimpleBlob(algorithm, Reversed(EncryptedKey(Counting(length, 1), kModulus)));
    }
  }
}

void Caller::ImportKey() {
  const Bytes blob = AnyBlob();
  const auto length = static_cast<DWORD>(blob.size());
  HCRYPTKEY key = 0;
  HCRYPTKEY* const out = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &key;
  const DWORD flags = m_data.ConsumeBool() ? CRYPT_EXPORTABLE : Flags();
  if (Make([&] { return CPImportKey(Context(), blob.data(), length, 0, flags, out); })) m_keys.push_back(key);
}

// With a session key the two lengths swap their meanings, so the buffer has space for either.
void Caller::Encrypt() {
  constexpr DWORD kLengths[] = {16, 32, 64, 8, 0, 3, 53, 128};
  DWORD first = m_data.PickValueInArray(kLengths);
  const DWORD second = m_data.PickValueInArray(kLengths);
  const auto buffer = std::make_unique<BYTE[]>(std::max(first, second));
  BYTE* const bytes = m_data.ConsumeIntegralInRange(0, 7) == 7 ? nullptr : buffer.get();
  DWORD* const length = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &first;
  const HCRYPTHASH hash = m_data.ConsumeIntegralInRange(0, 31) == 31 ? Hash() : 0;
  Make([&] { return CPEncrypt(Context(), Key(), hash, TRUE, Flags(), bytes, length, second); });
}

void Caller::Decrypt() {
  constexpr DWORD kLengths[] = {16, 32, 64, 8, 0, 3, 53, 128};
  DWORD length = m_data.PickValueInArray(kLengths);
  // Data that the scripted module decrypts to a padding, or data that it encrypted with the pair.
  Bytes data(length, static_cast<unsigned char>(0x5A ^ m_data.ConsumeIntegralInRange(0, 16)));
  if (length == InterfaceStage::kModulusBytes && m_data.ConsumeBool()) data = Reversed(EncryptedKey({1, 2}, length));
  BYTE* const bytes = m_data.ConsumeIntegralInRange(0, 15) == 15 ? nullptr : data.data();
  DWORD* const pointer = m_data.ConsumeIntegralInRange(0, 63) == 63 ? nullptr : &length;
  const HCRYPTHASH hash = m_data.ConsumeIntegralInRange(0, 31) == 31 ? Hash() : 0;
  const BOOL final = m_data.ConsumeBool() ? TRUE : FALSE;
  Make([&] { return CPDecrypt(Context(), Key(), hash, final, Flags(), bytes, pointer); });
}

void Caller::GetKeyParam() {
  constexpr DWORD kParams[] = {KP_ALGID,
                               KP_BLOCKLEN,
                               KP_KEYLEN,
                               KP_MODE,
                               KP_MODE_BITS,
                               KP_PADDING,
                               KP_PERMISSIONS,
                               KP_IV,
                               KP_SALT,
                               KP_CERTIFICATE,
                               KP_EFFECTIVE_KEYLEN,
                               KP_PIN_INFO,
                               99};
  const DWORD param = m_data.PickValueInArray(kParams);
  Buffer buffer(m_data);
  // KP_BLOCKLEN and KP_KEYLEN first clear four bytes, whatever length is declared.
  Buffer cleared(m_data, sizeof(DWORD));
  Buffer& used = param == KP_BLOCKLEN || param == KP_KEYLEN ? cleared : buffer;
  Make([&] { return CPGetKeyParam(Context(), Key(), param, used.Data(), used.Length(), Flags()); });
}

// A value as long as the provider may read.
Bytes Caller::KeyParamValue(DWORD param) {
  constexpr std::size_t kLongestSalt = 4096;
  const Bytes* const certificates[] = {&kFirstCertificate, &kHolderCertificate, &kRootCertificate};
  switch (param) {
    case KP_CERTIFICATE: {
      if (m_data.ConsumeBool()) return *m_data.PickValueInArray(certificates);
      Bytes odd(2 + m_data.ConsumeIntegralInRange<std::size_t>(0, 60), 0x30);
      odd[1] = static_cast<unsigned char>(odd.size() - 2);
      return odd;
    }
    case KP_SALT:
    case KP_IV:
      return Bytes(kLongestSalt, m_data.ConsumeIntegral<unsigned char>());
    default: {
      Bytes number(sizeof(DWORD));
      number[0] = m_data.ConsumeIntegral<unsigned char>();
      return number;
    }
  }
}

void Caller::SetKeyParam() {
  constexpr DWORD kParams[] = {
      KP_MODE, KP_IV, KP_PADDING, KP_MODE_BITS, KP_PERMISSIONS, KP_SALT, KP_CERTIFICATE, KP_EFFECTIVE_KEYLEN, 99};
  const DWORD param = m_data.PickValueInArray(kParams);
  const Bytes value = KeyParamValue(param);
  const BYTE* const bytes = m_data.ConsumeIntegralInRange(0, 15) == 15 ? nullptr : value.data();
  Make([&] { return CPSetKeyParam(Context(), Key(), param, bytes, Flags()); }, Leaves::kNothing,
       static_cast<BOOL>(NTE_BAD_KEY));
}

void Caller::SetSalt() {
  Bytes salt(m_data.ConsumeIntegralInRange<std::size_t>(0, 8), 's');
  const CRYPT_INTEGER_BLOB blob = {static_cast<DWORD>(salt.size()), salt.data()};
  Make([&] { return CPSetKeyParam(Context(), Key(), KP_SALT_EX, reinterpret_cast<const BYTE*>(&blob), 0); },
       Leaves::kNothing, static_cast<BOOL>(NTE_BAD_KEY));
}

void Caller::DuplicateKey() {
  HCRYPTKEY copy = 0;
  Make([&] { return CPDuplicateKey(Context(), Key(), nullptr, Flags(), &copy); });
}
