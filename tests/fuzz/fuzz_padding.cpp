// Decrypted data of any kind, compared with a search that tries every length of a padding. And the IV of a session key:
// operations in any order, compared with a model that also knows which IV the module gets.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <optional>
#include <vector>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "entry/RemovePKCSPadding.h"
#include "module/Journal.h"
#include "module/ScriptedModule.h"
#include "objects/C3DESKey.h"
#include "objects/C3DES_112Key.h"
#include "objects/CAES_128Key.h"
#include "objects/CDESKey.h"

namespace {

std::size_t PaddingOf(const Bytes& data) {
  for (std::size_t n = 1; n <= data.size(); ++n) {
    const auto isN = [n](BYTE byte) { return byte == n; };
    if (std::all_of(data.end() - static_cast<std::ptrdiff_t>(n), data.end(), isN)) return n;
  }
  return 0;
}

// Random data rarely ends in a padding, so its last byte is repeated.
void Padding(FuzzedDataProvider& tape) {
  const auto repeats = tape.ConsumeIntegralInRange<std::size_t>(0, 130);
  auto data = tape.ConsumeRemainingBytes<BYTE>();
  if (!data.empty()) data.insert(data.end(), repeats, data.back());
  const Bytes before = data;
  const std::size_t padding = PaddingOf(before);

  auto length = static_cast<DWORD>(data.size());
  Must(!RemovePKCSPadding(nullptr, &length) && !RemovePKCSPadding(data.data(), nullptr));
  Must(RemovePKCSPadding(data.data(), &length) == (padding != 0));
  Must(length == before.size() - padding);
  Must(std::equal(data.begin(), data.begin() + length, before.begin()));
  Must(std::all_of(data.begin() + length, data.end(), [](BYTE byte) { return byte == 0; }));
}

// A session key on a token of the scripted module, and what is known of its IV.
class KeyWithIV {
 public:
  explicit KeyWithIV(int kind) : m_block(kind == 3 ? 16 : 8) {
    const CK_KEY_TYPE types[] = {CKK_DES, CKK_DES3, CKK_DES2, CKK_AES};
    const CK_OBJECT_HANDLE object = m_module->InsertToken("Reader").Add(SecretKeyObject(types[kind], Bytes(16)));
    m_token.SetCryptoki(m_module);
    m_session = boost::make_shared<Session>(m_token.OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr));
    m_key = Make(kind);
    m_key->Bind(m_session.get(), object, 1);
  }

  void Step(FuzzedDataProvider& tape) {
    switch (tape.ConsumeIntegralInRange(0, 4)) {
      case 0:
        return SetMode(tape.ConsumeIntegralInRange<DWORD>(0, 6));
      case 1:
        return SetIV(tape.ConsumeBytes<BYTE>(tape.ConsumeBool() ? m_block : tape.ConsumeIntegralInRange(0U, 20U)));
      case 2:
        return GetIV(Bytes(tape.ConsumeIntegralInRange<std::size_t>(0, 20), tape.ConsumeIntegral<BYTE>()));
      case 3:
        return Decrypt(tape.ConsumeIntegralInRange<DWORD>(1, 3) * m_block);
      default:
        return Encrypt(tape.ConsumeIntegralInRange<DWORD>(1, 3) * m_block, tape.ConsumeIntegral<BYTE>());
    }
  }

 private:
  static boost::shared_ptr<CCSPSecretKey> Make(int kind) {
    switch (kind) {
      case 0:
        return boost::make_shared<CDESKey>();
      case 1:
        return boost::make_shared<C3DESKey>();
      case 2:
        return boost::make_shared<C3DES_112Key>();
      default:
        return boost::make_shared<CAES_128Key>();
    }
  }

  void UseMode(DWORD mode) {
    const bool chains = mode == CRYPT_MODE_CBC || mode == CRYPT_MODE_OFB || mode == CRYPT_MODE_CFB;
    if (!chains && mode != CRYPT_MODE_ECB) return;
    m_chains = m_given = chains;
    m_iv.resize(chains ? m_block : 0);
  }

  void SetMode(DWORD mode) {
    const bool isOne = mode >= CRYPT_MODE_CBC && mode <= CRYPT_MODE_CFB;
    try {
      m_key->SetMode(mode);
      Must(isOne || m_block == 8);
      UseMode(mode);
    } catch (const CCSPContextError& error) {
      Must(!isOne && m_block == 16 && error.GetCode() == static_cast<DWORD>(NTE_BAD_FLAGS));
    }
    Must(m_key->GetMode() == mode);
  }

  void SetIV(const Bytes& iv) {
    try {
      m_key->SetIV(iv.data(), static_cast<DWORD>(iv.size()));
      Must(iv.size() == m_block);
      m_iv = iv;
      if (m_chains) m_given = true;
    } catch (const CCSPContextError& error) {
      Must(iv.size() != m_block && error.GetCode() == static_cast<DWORD>(NTE_BAD_DATA));
    }
  }

  // The caller's bytes replace those of the key. An empty buffer asks for the length.
  void GetIV(const Bytes& callers) {
    const bool asksForLength = callers.empty();
    if (m_iv.empty()) UseMode(CRYPT_MODE_CBC);
    Bytes buffer = callers;
    auto length = static_cast<DWORD>(buffer.size());
    try {
      m_key->GetIV(asksForLength ? nullptr : buffer.data(), &length);
      Must(asksForLength ? length == m_block : length == callers.size() && length >= m_block);
      if (!asksForLength) std::copy_n(callers.begin(), m_block, m_iv.begin());
    } catch (const CCSPContextError& error) {
      Must(!asksForLength && callers.size() < m_block && length == m_block && error.GetCode() == ERROR_MORE_DATA);
    }
    Must(buffer == callers);
  }

  // Checks the parameter that the module got for the operation: the IV, if the mode and the previous calls allow it.
  void ExpectParameter(const char* entry) {
    const std::string expected = m_given && !m_iv.empty() ? " with " + HexText(m_iv.data(), m_iv.size()) : "";
    for (const std::string& call : m_module->TakeCalls()) {
      if (call.compare(0, std::string(entry).size(), entry) != 0) continue;
      Must(expected.empty() ? call.find(" with ") == std::string::npos : call.find(expected) != std::string::npos);
      return;
    }
    Must(false);
  }

  // A block cipher of the scripted module keeps the length.
  void Encrypt(DWORD length, BYTE filling) {
    Bytes buffer(length, filling);
    const Bytes before = m_iv;
    m_module->ForgetCalls();
    DWORD outLength = length;
    m_key->Encrypt(buffer.data(), length, buffer.data(), &outLength);
    ExpectParameter("C_EncryptInit");
    Must(outLength == length);
    // The next IV starts eight bytes before the end of the buffer; bytes past the end count as zero.
    for (std::size_t i = 0; i < m_iv.size(); ++i) m_iv[i] = i < 8 ? buffer[length - 8 + i] : BYTE{0};
  }

  void Decrypt(DWORD length) {
    Bytes buffer(length);
    m_module->ForgetCalls();
    DWORD outLength = length;
    m_key->Decrypt(buffer.data(), length, buffer.data(), &outLength);
    ExpectParameter("C_DecryptInit");
    if (m_iv.empty()) return;
    m_iv.clear();
    m_given = false;
  }

  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  Token m_token{0};
  boost::shared_ptr<Session> m_session;
  boost::shared_ptr<CCSPSecretKey> m_key;
  const DWORD m_block;
  Bytes m_iv;
  bool m_chains = false;  // the mechanism takes an IV
  bool m_given = false;   // the module gets it
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
  FuzzedDataProvider tape(input, size);
  if (tape.ConsumeIntegralInRange(0, 3) == 0) {
    Padding(tape);
    return 0;
  }
  KeyWithIV key(tape.ConsumeIntegralInRange(0, 3));
  while (tape.remaining_bytes() > 0) key.Step(tape);
  return 0;
}
