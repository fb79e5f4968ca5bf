// Key blobs from applications: any bytes, imported by a context whose container has a key pair. What was taken is
// exported again, into buffers of any size.
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>

#include "common/CCSPContextError.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"
#include "module/KeyBlobBytes.h"
#include "module/ScriptedModule.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

template <typename Body>
void Try(Body body) {
  try {
    body();
  } catch (const CCSPContextError&) {
    // refused
  } catch (const CryptokiError&) {
    // refused by the module
  }
}

// Any bytes, or a blob that is right but for its key.
Bytes Blob(FuzzedDataProvider& data) {
  constexpr unsigned kAlgorithms[] = {CALG_DES, CALG_3DES, CALG_3DES_112, CALG_AES_128, CALG_AES};
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return PublicKeyBlob(CALG_RSA_KEYX, data.ConsumeBytes<BYTE>(512));
    case 1: {
      const unsigned algorithm = data.PickValueInArray(kAlgorithms);
      return SimpleBlob(algorithm, Reversed(EncryptedKey(data.ConsumeBytes<BYTE>(37), 48)));
    }
    default:
      return data.ConsumeRemainingBytes<BYTE>();
  }
}

class Stage {
 public:
  Stage() {
    ScriptedToken& token = m_module->InsertToken("Reader A");
    token.Add(PublicKeyObject(Text("one"), Counting(48, 0x81)));
    token.Add(PrivateKeyObject(Text("one"), Counting(48, 0x81)));
    const auto cryptoki = boost::make_shared<TELVOCryptoki>(m_module);
    cryptoki->Initialize();
    m_context.Initialize("\\\\.\\Reader A\\one", 0, cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_context.LoginWithPIN(pin, sizeof(pin));
    m_context.AssignKeyHandles();
  }

  void Play(FuzzedDataProvider& data) {
    const auto flags = data.ConsumeIntegral<DWORD>();
    const auto room = data.ConsumeIntegralInRange<DWORD>(0, 600);
    const Bytes blob = Blob(data);
    DWORD handle = 0;
    Try([&] {
      m_context.ImportKey(blob.data(), static_cast<DWORD>(blob.size()), &handle, &m_factory, flags);
      Try([&] { Export(room, [&](BYTE* out, DWORD* length) { m_context.ExportPublicKey(handle, out, length); }); });
      Try([&] {
        Export(room, [&](BYTE* out, DWORD* length) {
          m_context.ExportSessionKey(handle, m_context.GetExchangeKeyHandle(), out, length);
        });
      });
      m_context.RemoveSecretKey(handle);
      m_factory.DestroySecretKey(handle);
    });
    m_module->ForgetCalls();
  }

 private:
  // The buffer is of the very size, so that what is written behind it is seen.
  template <typename Operation>
  static void Export(DWORD room, Operation operation) {
    const auto out = std::make_unique<BYTE[]>(room);
    DWORD length = room;
    operation(out.get(), &length);
  }

  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  std::time_t m_now = 1000000;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, {[this] { return ++m_now; }, [](DWORD) {}}};
  TELVOCSPContext m_context{static_cast<HINSTANCE>(nullptr)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Stage stage;
  FuzzedDataProvider provider(data, size);
  stage.Play(provider);
  return 0;
}
