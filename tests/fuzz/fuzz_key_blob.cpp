// Key blobs from applications: any bytes, imported into a context whose container has a key pair. What was accepted is
// exported again, into buffers of any size. A public key must keep its modulus and exponent. A session key must keep
// its algorithm and, if it has as many bytes as the algorithm needs, its value.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <optional>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "context/TELVOCSPContext.h"
#include "cryptoki/CryptokiError.h"
#include "log/Logs.h"
#include "module/KeyBlobBytes.h"
#include "module/ScriptedModule.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

// Returns false when the operation is refused.
template <typename Body>
bool Try(Body body) {
  try {
    body();
    return true;
  } catch (const CCSPContextError&) {
    return false;
  } catch (const CryptokiError&) {
    return false;
  }
}

// Any bytes, or a blob that is correct except for its key.
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
    token.Add(PublicKeyObject(Text("one"), Counting(kModulus, 0x81)));
    token.Add(PrivateKeyObject(Text("one"), Counting(kModulus, 0x81)));
    const auto cryptoki = boost::make_shared<TELVOCryptoki>(m_module);
    cryptoki->Initialize();
    m_context.Initialize("\\\\.\\Reader A\\one", 0, cryptoki, 1);
    const BYTE pin[] = {'1', '2', '3', '4'};
    m_context.LoginWithPIN(pin, sizeof(pin));
    m_context.AssignKeyHandles();
  }

  // Returns false when something was refused: an operation that fails stays open in the module, and disturbs the next
  // one.
  bool Play(FuzzedDataProvider& data) {
    const auto flags = data.ConsumeIntegral<DWORD>();
    const auto room = data.ConsumeIntegralInRange<DWORD>(0, 600);
    const Bytes blob = Blob(data);
    DWORD handle = 0;
    bool exported = false;
    Try([&] {
      m_context.ImportKey(blob.data(), static_cast<DWORD>(blob.size()), &handle, &m_factory, flags);
      Must(handle != 0 && (blob[0] == PUBLICKEYBLOB || blob[0] == SIMPLEBLOB));
      if (blob[0] == PUBLICKEYBLOB) {
        exported = ComparePublicKey(handle, blob, room);
      } else {
        exported = CompareSessionKey(handle, blob, flags, room);
        m_context.RemoveSecretKey(handle);
        m_factory.DestroySecretKey(handle);
      }
    });
    const Calls calls = m_module->TakeCalls();
    return calls.empty() || exported;
  }

 private:
  // Exports into a buffer of exactly `room` bytes, so that writes past its end are detected. No value when the export
  // is refused.
  template <typename Operation>
  static std::optional<Bytes> Export(DWORD room, Operation operation) {
    const auto out = std::make_unique<BYTE[]>(room);
    DWORD length = room;
    std::optional<Bytes> blob;
    Try([&] {
      operation(out.get(), &length);
      Must(length <= room);
      blob = Bytes(out.get(), out.get() + room);
      blob->resize(length);
    });
    return blob;
  }

  // Both return whether the key was exported.
  bool ComparePublicKey(DWORD handle, const Bytes& blob, DWORD room) {
    constexpr std::size_t kHeader = 20;
    const auto exported =
        Export(room, [&](BYTE* out, DWORD* length) { m_context.ExportPublicKey(handle, out, length); });
    if (blob.size() == kHeader) return exported.has_value();  // the module has no modulus to return
    Must(exported.has_value() == (room >= blob.size()));
    if (!exported) return false;
    const Bytes modulus(blob.begin() + kHeader, blob.end());
    Bytes expected = PublicKeyBlob(CALG_RSA_SIGN, Reversed(modulus));
    const auto bits = static_cast<DWORD>(modulus.size() * 8);
    std::memcpy(&expected[12], &bits, sizeof(bits));
    std::copy_n(blob.begin() + 16, 3, expected.begin() + 16);  // three bytes of the exponent
    Must(*exported == expected);
    return true;
  }

  bool CompareSessionKey(DWORD handle, const Bytes& blob, DWORD flags, DWORD room) {
    constexpr DWORD kHeader = 12;
    const auto exported = Export(room, [&](BYTE* out, DWORD* outLength) {
      m_context.ExportSessionKey(handle, m_context.GetExchangeKeyHandle(), out, outLength);
      *outLength = std::min(*outLength + kHeader, room);  // it returns the length without the header
    });
    const Bytes value = ValueOf(blob);
    const std::size_t length = LengthOf(AlgorithmOf(blob));
    const bool isWhole = !value.empty() && value.size() <= length;  // otherwise the module does not return it
    Must(exported.has_value() == ((flags & CRYPT_EXPORTABLE) != 0 && room >= kHeader + kModulus && isWhole));
    if (!exported) return false;
    Must(std::equal(exported->begin(), exported->begin() + 8, SimpleBlob(AlgorithmOf(blob), {}).begin()));
    const Bytes encrypted(exported->begin() + kHeader, exported->end());
    Must(value.size() != length || encrypted == EncryptedKey(Reversed(value), kModulus));
    return true;
  }

  static unsigned AlgorithmOf(const Bytes& blob) { return blob[4] | blob[5] * 256U; }
  static std::size_t LengthOf(unsigned algorithm) {
    return algorithm == CALG_DES ? 8 : algorithm == CALG_3DES ? 24 : 16;
  }
  // What the scripted module decrypts: the bytes after the first zero byte.
  static Bytes ValueOf(const Bytes& blob) {
    const Bytes block = Reversed(Bytes(blob.begin() + 12, blob.end()));
    return Bytes(std::find(block.begin(), block.end(), 0) + 1, block.end());
  }

  static constexpr DWORD kModulus = 48;
  boost::shared_ptr<ScriptedModule> m_module = boost::make_shared<ScriptedModule>();
  std::time_t m_now = 1000000;
  CCSPSecretKeyFactory m_factory{g_secretKeyLog, {[this] { return ++m_now; }, [](DWORD) {}}};
  TELVOCSPContext m_context{static_cast<HINSTANCE>(nullptr)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto stage = std::make_unique<Stage>();
  FuzzedDataProvider provider(data, size);
  if (!stage->Play(provider)) stage = std::make_unique<Stage>();
  return 0;
}
