// Fixture for tests of the adapter over a scripted module. The test has its own clock.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "Bytes.h"
#include "ScriptedModule.h"
#include "adapter/Adapter.h"

namespace adapter::testing {

using scripted::Attributes;
using scripted::Flag;
using scripted::Number;
using scripted::Script;

constexpr CK_FLAGS kReadOnly = CKF_SERIAL_SESSION;
constexpr CK_FLAGS kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

// A template whose Data() points into the object.
class Template {
 public:
  Template() = default;
  Template(Attributes values) : m_values(std::move(values)) {}  // NOLINT(google-explicit-constructor)

  CK_ATTRIBUTE* Data() {
    m_attributes.clear();
    for (auto& [type, value] : m_values) {
      m_attributes.push_back({type, value.data(), static_cast<CK_ULONG>(value.size())});
    }
    return m_attributes.data();
  }
  CK_ULONG Count() const { return static_cast<CK_ULONG>(m_values.size()); }

 private:
  Attributes m_values;
  std::vector<CK_ATTRIBUTE> m_attributes;
};

class AdapterTest : public ::testing::Test {
 protected:
  AdapterTest() { module = Script(); }
  ~AdapterTest() override { Stop(); }

  // Starts the adapter with `settings`, over the scripted module.
  void Start();
  void Stop();

  // Calls an entry, and returns its result.
  template <auto Entry, typename... A>
  CK_RV Call(A... arguments) {
    return CodeOrFailure([&] { return (adapter.get()->*Entry)(arguments...); });
  }

  CK_SESSION_HANDLE Open(CK_FLAGS flags = kReadWrite, CK_SLOT_ID slot = 0);
  CK_RV Login(CK_SESSION_HANDLE session, std::string pin = "123456");
  CK_RV Logout(CK_SESSION_HANDLE session) { return Call<&Adapter::C_Logout>(session); }
  CK_ULONG DeviceError(CK_SESSION_HANDLE session);
  std::vector<CK_SLOT_ID> Slots(bool withToken);
  std::string SlotName(CK_SLOT_ID slot);

  std::vector<CK_OBJECT_HANDLE> Find(CK_SESSION_HANDLE session, Template wanted = {});
  // The one object with these attributes; 0 if there is none or there are more.
  CK_OBJECT_HANDLE FindOne(CK_SESSION_HANDLE session, Template wanted);
  // The value of an attribute; "?" when it cannot be read.
  std::string Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
  // Signs in one call, with a large enough buffer.
  CK_RV Sign(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, std::string data, std::string& signature,
             CK_MECHANISM_TYPE mechanism = CKM_RSA_PKCS);

  // Each adds a key with a modulus of 128 bytes to the module, and returns the module's handle.
  CK_OBJECT_HANDLE AddPublicKey(const std::string& id, const std::string& label = "Key");
  CK_OBJECT_HANDLE AddPrivateKey(const std::string& id, const std::string& label = "Key");

  static const std::string kModulus;

  Script& module = scripted::TheScript();
  Settings settings;
  std::chrono::steady_clock::time_point now;
  std::unique_ptr<Adapter> adapter;

 private:
  template <typename Body>
  static CK_RV CodeOrFailure(Body body) {
    try {
      return body();
    } catch (const pkcs11::Failure& failure) {
      return failure.code;
    }
  }
};

}  // namespace adapter::testing
