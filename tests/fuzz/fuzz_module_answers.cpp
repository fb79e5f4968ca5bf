// A module that answers anything: wrong counts, wrong lengths, bytes at random, failures in between. The client may
// raise its exceptions; it must not read or write what is not its own, and must come to an end.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <stdexcept>

#include "cryptoki/Cryptoki.h"
#include "cryptoki/CryptokiError.h"
#include "module/ScriptedModule.h"

namespace {

class LyingModule : public ScriptedModule {
 public:
  LyingModule(const std::uint8_t* data, std::size_t size) : m_data(data, size) {
    falsifyCount = [this](const std::string&, CK_ULONG& count) { count = Number(count); };
    for (const CK_OBJECT_CLASS objectClass : {CKO_CERTIFICATE, CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_SECRET_KEY}) {
      InsertToken("Reader").Add(ScriptedObject().With(CKA_CLASS, ::Number(objectClass)));
    }
  }

  CK_RV C_GetAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR items,
                            CK_ULONG count) override {
    for (CK_ULONG i = 0; i < count; ++i) Answer(object, items[i]);
    return Result();
  }

 private:
  // Bytes stay inside the buffer, as a module's do; the length is anything.
  void Answer(CK_OBJECT_HANDLE object, CK_ATTRIBUTE& item) {
    if (item.pValue != nullptr) {
      const std::string bytes = m_data.ConsumeRandomLengthString(std::min<CK_ULONG>(item.ulValueLen, 64));
      std::memcpy(item.pValue, bytes.data(), bytes.size());
      if (item.type == CKA_CLASS && item.ulValueLen == sizeof(object))
        std::memcpy(item.pValue, &object, sizeof(object));
    }
    item.ulValueLen = Number(std::min<CK_ULONG>(item.ulValueLen, 64));
  }

  CK_ULONG Number(CK_ULONG truth) {
    switch (m_data.ConsumeIntegralInRange(0, 7)) {
      case 0:
        return CK_UNAVAILABLE_INFORMATION;
      case 1:
        return m_data.ConsumeIntegral<CK_ULONG>();
      case 2:
        return m_data.ConsumeIntegral<std::uint8_t>();
      default:
        return truth;
    }
  }

  CK_RV Result() { return m_data.ConsumeIntegralInRange(0, 15) == 15 ? m_data.ConsumeIntegral<CK_RV>() : CKR_OK; }

  FuzzedDataProvider m_data;
};

// Each part by itself, so that the failure of one does not hide the next.
template <typename Body>
void Try(Body body) {
  try {
    body();
  } catch (const CryptokiError&) {
  } catch (const std::out_of_range&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto module = boost::make_shared<LyingModule>(data, size);
  TELVOCryptoki cryptoki(module);
  Try([&] { cryptoki.GetActiveSlots(); });
  Try([&] { cryptoki.GetAllSlots(); });
  Token token(0);
  token.SetCryptoki(module);
  Try([&] { token.GetTokenInfo(); });
  Try([&] { token.GetMechanisms(); });
  Try([&] { token.FlagsText(); });
  Try([&] {
    Session session = token.OpenSession(6, nullptr, nullptr);
    CryptokiObjects objects = session.FindAllObjects();
    Try([&] { objects.GetCertificates(false); });
    Try([&] { objects.GetSecretKeys(); });
    for (CryptokiObject object : objects.GetObjects()) {
      Try([&] { object.GetAttribute(CKA_DEFAULT_CERT); });
      Try([&] { object.Update({MakeAttribute(CKA_LABEL, Text("x"))}); });
    }
  });
  return 0;
}
