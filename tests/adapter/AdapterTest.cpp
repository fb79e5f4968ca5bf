#include "AdapterTest.h"

namespace adapter::testing {

const std::string AdapterTest::kModulus(128, '\x8B');

void AdapterTest::Start() {
  settings.module = TELVO_SCRIPTED_MODULE;
  adapter = std::make_unique<Adapter>(std::make_unique<Module>(settings), settings, [this] { return now; });
}

void AdapterTest::Stop() {
  if (adapter) adapter->Stop();
  adapter.reset();
}

CK_SESSION_HANDLE AdapterTest::Open(CK_FLAGS flags, CK_SLOT_ID slot) {
  CK_SESSION_HANDLE session = 0;
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_OpenSession>(slot, flags, nullptr, nullptr, &session));
  return session;
}

CK_RV AdapterTest::Login(CK_SESSION_HANDLE session, std::string pin) {
  return Call<&Adapter::C_LoginExtended>(session, CK_USER_TYPE{CKU_USER}, reinterpret_cast<CK_UTF8CHAR*>(pin.data()),
                                         static_cast<CK_ULONG>(pin.size()));
}

CK_ULONG AdapterTest::DeviceError(CK_SESSION_HANDLE session) {
  CK_SESSION_INFO info = {};
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_GetSessionInfo>(session, &info));
  return info.ulDeviceError;
}

std::vector<CK_SLOT_ID> AdapterTest::Slots(bool withToken) {
  std::vector<CK_SLOT_ID> slots(20);
  CK_ULONG count = 20;
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_GetSlotList>(static_cast<CK_BBOOL>(withToken), slots.data(), &count));
  slots.resize(count);
  return slots;
}

std::string AdapterTest::SlotName(CK_SLOT_ID slot) {
  CK_SLOT_INFO info = {};
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_GetSlotInfo>(slot, &info));
  const std::string name(reinterpret_cast<char*>(info.slotDescription), sizeof info.slotDescription);
  return name.substr(0, name.find_last_not_of(' ') + 1);
}

std::vector<CK_OBJECT_HANDLE> AdapterTest::Find(CK_SESSION_HANDLE session, Template wanted) {
  std::vector<CK_OBJECT_HANDLE> found(100);
  CK_ULONG count = 0;
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_FindObjectsInit>(session, wanted.Data(), wanted.Count()));
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_FindObjects>(session, found.data(), CK_ULONG{100}, &count));
  EXPECT_EQ(CKR_OK, Call<&Adapter::C_FindObjectsFinal>(session));
  found.resize(count);
  return found;
}

CK_OBJECT_HANDLE AdapterTest::FindOne(CK_SESSION_HANDLE session, Template wanted) {
  const auto found = Find(session, std::move(wanted));
  return found.size() == 1 ? found.front() : 0;
}

std::string AdapterTest::Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  std::string value(4096, '\0');
  CK_ATTRIBUTE attribute = {type, value.data(), static_cast<CK_ULONG>(value.size())};
  if (Call<&Adapter::C_GetAttributeValue>(session, object, &attribute, CK_ULONG{1}) != CKR_OK) return "?";
  value.resize(attribute.ulValueLen);
  return value;
}

CK_RV AdapterTest::Sign(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, std::string data, std::string& signature,
                        CK_MECHANISM_TYPE mechanism) {
  CK_MECHANISM raw = {mechanism, nullptr, 0};
  const CK_RV begun = Call<&Adapter::C_SignInit>(session, &raw, key);
  if (begun != CKR_OK) return begun;
  signature.assign(512, '\0');
  auto length = static_cast<CK_ULONG>(signature.size());
  const CK_RV result =
      Call<&Adapter::C_Sign>(session, reinterpret_cast<CK_BYTE*>(data.data()), static_cast<CK_ULONG>(data.size()),
                             reinterpret_cast<CK_BYTE*>(signature.data()), &length);
  signature.resize(result == CKR_OK ? length : 0);
  return result;
}

CK_OBJECT_HANDLE AdapterTest::AddPublicKey(const std::string& id, const std::string& label) {
  return module.Add({{CKA_CLASS, Number(CKO_PUBLIC_KEY)},
                     {CKA_TOKEN, Flag(true)},
                     {CKA_PRIVATE, Flag(false)},
                     {CKA_KEY_TYPE, Number(CKK_RSA)},
                     {CKA_ID, id},
                     {CKA_LABEL, label},
                     {CKA_MODULUS, kModulus},
                     {CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3)}});
}

CK_OBJECT_HANDLE AdapterTest::AddPrivateKey(const std::string& id, const std::string& label) {
  return module.Add({{CKA_CLASS, Number(CKO_PRIVATE_KEY)},
                     {CKA_TOKEN, Flag(true)},
                     {CKA_PRIVATE, Flag(true)},
                     {CKA_KEY_TYPE, Number(CKK_RSA)},
                     {CKA_ID, id},
                     {CKA_LABEL, label},
                     {CKA_MODULUS, kModulus},
                     {CKA_PUBLIC_EXPONENT, std::string("\1\0\1", 3)}});
}

}  // namespace adapter::testing
