#include "ModuleUser.h"

#include <iterator>
#include <stdexcept>

namespace {

void CheckResult(CK_RV result, const char* function) {
  if (result != CKR_OK) throw std::runtime_error(std::string(function) + " returns " + std::to_string(result));
}

CK_UTF8CHAR* Text(std::string& text) { return reinterpret_cast<CK_UTF8CHAR*>(text.data()); }
CK_ULONG LengthOf(const std::string& text) { return static_cast<CK_ULONG>(text.size()); }

// A text field of the module's structures, without the spaces at its end.
template <std::size_t Size>
std::string Trimmed(const CK_UTF8CHAR (&field)[Size]) {
  const std::string text(reinterpret_cast<const char*>(field), Size);
  return text.substr(0, text.find_last_not_of(std::string(" \0", 2)) + 1);
}

}  // namespace

ModuleUser::ModuleUser(const std::string& reader) : m_library(LoadLibraryA("telvopkcs11.dll")) {
  if (m_library == nullptr) throw std::runtime_error("telvopkcs11.dll cannot be loaded");
  const auto get = reinterpret_cast<CK_C_GetFunctionList>(
      reinterpret_cast<void (*)()>(GetProcAddress(m_library, "C_GetFunctionList")));
  CK_FUNCTION_LIST* list = nullptr;
  CheckResult(get(&list), "C_GetFunctionList");
  m_table = reinterpret_cast<ExtendedFunctionList*>(list);
  const CK_RV initialised = m_table->standard.C_Initialize(nullptr);
  if (initialised != CKR_CRYPTOKI_ALREADY_INITIALIZED) CheckResult(initialised, "C_Initialize");
  CheckResult(m_table->standard.C_OpenSession(FindSlot(reader), CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr,
                                              &m_session),
              "C_OpenSession");
}

ModuleUser::~ModuleUser() {
  m_table->standard.C_Logout(m_session);
  m_table->standard.C_CloseSession(m_session);
  FreeLibrary(m_library);
}

CK_SLOT_ID ModuleUser::FindSlot(const std::string& reader) {
  CK_SLOT_ID slots[64] = {};
  CK_ULONG count = static_cast<CK_ULONG>(std::size(slots));
  CheckResult(m_table->standard.C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
  for (CK_ULONG i = 0; i < count; ++i) {
    CK_SLOT_INFO info = {};
    CheckResult(m_table->standard.C_GetSlotInfo(slots[i], &info), "C_GetSlotInfo");
    if (Trimmed(info.slotDescription) == reader) return slots[i];
  }
  throw std::runtime_error("no slot has the name " + reader);
}

CK_RV ModuleUser::LogIn(std::string pin) {
  m_table->standard.C_Logout(m_session);
  return m_table->C_LoginExtended(m_session, CKU_USER, Text(pin), LengthOf(pin));
}

CK_RV ModuleUser::ChangePin(std::string oldPin, std::string newPin) {
  return m_table->standard.C_SetPIN(m_session, Text(oldPin), LengthOf(oldPin), Text(newPin), LengthOf(newPin));
}

DWORD ModuleUser::TriesTold() {
  CK_SESSION_INFO info = {};
  CheckResult(m_table->standard.C_GetSessionInfo(m_session, &info), "C_GetSessionInfo");
  return static_cast<DWORD>(info.ulDeviceError) & 0xFU;
}
