// The adapter over a module that answers anything: wrong counts and lengths, occasional failures, a token that comes
// and goes. The provider calls in any order. The adapter must not read or write memory outside its own, and must not
// hang.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>

#include "adapter/Adapter.h"
#include "adapter/ScriptedModule.h"

namespace {

using adapter::Adapter;
using scripted::Flag;
using scripted::Number;

void AddObjects(scripted::Script& module) {
  for (const CK_OBJECT_CLASS objectClass : {CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY, CKO_DATA}) {
    for (const char* const id : {"1", "2"}) {
      module.Add({{CKA_CLASS, Number(objectClass)},
                  {CKA_TOKEN, Flag(true)},
                  {CKA_PRIVATE, Flag(objectClass == CKO_PRIVATE_KEY)},
                  {CKA_KEY_TYPE, Number(CKK_RSA)},
                  {CKA_ID, id},
                  {CKA_LABEL, "Key"},
                  {CKA_VALUE, "no certificate"},
                  {CKA_MODULUS, std::string(64, '\x8B')},
                  {CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3)}});
    }
  }
}

// Usually tells the truth, so that calls get past their first steps.
CK_ULONG Falsified(FuzzedDataProvider& data, CK_ULONG truth) {
  switch (data.ConsumeIntegralInRange(0, 15)) {
    case 1:
      return CK_UNAVAILABLE_INFORMATION;
    case 2:
      return data.ConsumeIntegral<CK_ULONG>();
    case 3:
      return data.ConsumeIntegral<std::uint8_t>();
    default:
      return truth;
  }
}

CK_RV AnyFailure(FuzzedDataProvider& data) {
  constexpr CK_RV kLikely[] = {CKR_DEVICE_REMOVED,     CKR_OPERATION_ACTIVE,      CKR_USER_NOT_LOGGED_IN,
                               CKR_KEY_HANDLE_INVALID, CKR_OBJECT_HANDLE_INVALID, CKR_BUFFER_TOO_SMALL};
  if (data.ConsumeIntegralInRange(0, 15) != 1) return CKR_OK;
  return data.PickValueInArray(kLikely);
}

// Makes the provider's calls.
class Caller {
 public:
  Caller(Adapter& served, FuzzedDataProvider& data) : m_adapter(served), m_data(data) {}

  void CallOne() {
    switch (m_data.ConsumeIntegralInRange(0, 9)) {
      case 0:
        m_adapter.C_GetSlotList(CK_TRUE, nullptr, &m_length);
        return;
      case 1:
        m_adapter.C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &m_session);
        return;
      case 2:
        m_adapter.C_LoginExtended(m_session, CKU_USER, m_pin, m_data.ConsumeIntegralInRange<CK_ULONG>(5, 6));
        return;
      case 3:
        m_adapter.C_Logout(m_session);
        return;
      case 4:
        Search();
        return;
      case 5:
        Use<&Adapter::C_SignInit, &Adapter::C_Sign>();
        return;
      case 6:
        Use<&Adapter::C_DecryptInit, &Adapter::C_Decrypt>();
        return;
      case 7:
        m_adapter.C_DestroyObject(m_session, Object());
        return;
      case 8:
        m_adapter.C_CloseSession(m_session);
        return;
      default:
        Read();
        return;
    }
  }

 private:
  CK_OBJECT_HANDLE Object() { return m_data.ConsumeIntegralInRange<CK_OBJECT_HANDLE>(0, 20); }

  void Search() {
    m_adapter.C_FindObjectsInit(m_session, nullptr, 0);
    CK_OBJECT_HANDLE found[20] = {};
    m_adapter.C_FindObjects(m_session, found, 20, &m_length);
    m_adapter.C_FindObjectsFinal(m_session);
  }

  template <auto Init, auto Finish>
  void Use() {
    CK_MECHANISM mechanism = {m_data.ConsumeBool() ? CK_MECHANISM_TYPE{CKM_RSA_PKCS} : CKM_RSA_X_509, nullptr, 0};
    (m_adapter.*Init)(m_session, &mechanism, Object());
    CK_BYTE input[64] = {}, output[64] = {};
    m_length = m_data.ConsumeIntegralInRange<CK_ULONG>(0, sizeof output);
    (m_adapter.*Finish)(m_session, input, sizeof input, output, &m_length);
  }

  void Read() {
    CK_BYTE value[16] = {};
    CK_ATTRIBUTE attributes[] = {
        {CKA_LABEL, value, sizeof value}, {CKA_OBJECT_ID, nullptr, 0}, {CKA_START_DATE, nullptr, 0}};
    m_adapter.C_GetAttributeValue(m_session, Object(), attributes, 3);
  }

  Adapter& m_adapter;
  FuzzedDataProvider& m_data;
  CK_SESSION_HANDLE m_session = 0;
  CK_ULONG m_length = 0;
  CK_UTF8CHAR m_pin[7] = "123456";
};

template <typename Body>
void Refusable(Body body) {
  try {
    body();
  } catch (const pkcs11::Failure&) {
    // A refusal is an answer.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  scripted::Script& module = scripted::TheScript();
  module = scripted::Script();
  AddObjects(module);
  module.lockAfter = 1000000;
  module.privateKeysDie = data.ConsumeBool();
  module.keepsOperation = data.ConsumeBool();
  module.stopsAtBadAttribute = data.ConsumeBool();
  module.falsify = [&](CK_ULONG truth) { return Falsified(data, truth); };
  module.fail = [&](const char* /*entry*/) { return AnyFailure(data); };
  adapter::Settings settings;
  settings.module = TELVO_SCRIPTED_MODULE;
  settings.keepLogin = data.ConsumeBool();
  Adapter served(std::make_unique<adapter::Module>(settings), settings, std::chrono::steady_clock::now);
  Caller caller(served, data);
  while (data.remaining_bytes() > 0) {
    module.slots[0].tokenIn = data.ConsumeIntegralInRange(0, 15) != 1;
    Refusable([&] { caller.CallOne(); });
  }
  Refusable([&] { served.Stop(); });
  module.fail = nullptr;
  module.falsify = nullptr;
  return 0;
}
