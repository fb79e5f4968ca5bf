// The life of a session key: operations in any order, on buffers of exactly the declared lengths, and with a module
// that lies about lengths.
#include <boost/make_shared.hpp>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/Session.h"
#include "cryptoki/Token.h"
#include "log/Logs.h"
#include "module/ScriptedModule.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "platform/ScriptedClock.h"

namespace {

class KeyLife {
 public:
  KeyLife(const std::uint8_t* data, std::size_t size) : m_data(data, size) {
    m_module->falsifyCount = [this](const std::string&, CK_ULONG& count) {
      if (m_data.ConsumeIntegralInRange(0, 3) == 3) count = m_data.ConsumeIntegral<std::uint32_t>();
    };
    const CK_OBJECT_HANDLE object = m_module->InsertToken("Reader").Add(SecretKeyObject(CKK_DES, Bytes(24)));
    m_token.SetCryptoki(m_module);
    Reopen();
    const ALG_ID algorithms[] = {CALG_DES, CALG_3DES, CALG_3DES_112, CALG_AES_128};
    m_key = m_factory.CreateSecretKey(m_data.PickValueInArray(algorithms), m_session.get(), object);
  }

  void Live() {
    while (m_data.remaining_bytes() != 0) {
      try {
        Step();
      } catch (const CCSPContextError&) {
      } catch (const CryptokiError&) {
        // An operation may have stayed open.
        Reopen();
      }
    }
  }

 private:
  void Reopen() { *m_session = m_token.OpenSession(6, nullptr, nullptr); }

  Bytes Buffer() { return Bytes(m_data.ConsumeIntegralInRange<std::size_t>(0, 6) * 8 + Odd()); }
  std::size_t Odd() { return m_data.ConsumeIntegralInRange(0, 7) == 7 ? 3 : 0; }

  void Step() {
    Bytes in = Buffer();
    Bytes out = Buffer();
    const auto inLength = static_cast<DWORD>(in.size());
    auto length = static_cast<DWORD>(out.size());
    BYTE* const target = m_data.ConsumeIntegralInRange(0, 7) == 7 ? nullptr : out.data();
    switch (m_data.ConsumeIntegralInRange(0, 9)) {
      case 0:
        return m_key->SetMode(m_data.ConsumeIntegralInRange(0U, 5U));
      case 1:
        return m_key->SetIV(in.data(), inLength);
      case 2:
        return m_key->GetIV(target, &length);
      case 3:
        return m_key->AddSalt(in.data(), inLength);
      case 4:
        return m_key->GetSalt(target, &length);
      case 5:
        return m_key->GetKeyValue(target, &length);
      case 6:
        return m_key->Decrypt(in.data(), inLength, target, &length);
      case 7:
        length = m_data.ConsumeIntegralInRange(0U, inLength);
        return m_key->Encrypt(in.data(), inLength, in.data(), &length);
      default:
        return m_key->Encrypt(in.data(), inLength, target, &length);
    }
  }

  FuzzedDataProvider m_data;
  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  Token m_token{0};
  boost::shared_ptr<Session> m_session = boost::make_shared<Session>();
  ScriptedClock m_clock;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, m_clock.Clock()};
  boost::shared_ptr<CCSPSecretKey> m_key;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KeyLife(data, size).Live();
  return 0;
}
