// ModuleUser calls the module directly and not through the provider, as the provider's dialogs do.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/Pkcs11.h"

class ModuleUser {
 public:
  // Opens a session on the slot with this description. The module stays initialised.
  explicit ModuleUser(const std::string& reader);
  ~ModuleUser();
  ModuleUser(const ModuleUser&) = delete;
  ModuleUser& operator=(const ModuleUser&) = delete;

  CK_RV LogIn(std::string pin);
  CK_RV ChangePin(std::string oldPin, std::string newPin);
  // The remaining tries, from the lowest four bits of the device error in the session's information.
  DWORD TriesTold();

 private:
  CK_SLOT_ID FindSlot(const std::string& reader);

  HMODULE m_library;
  ExtendedFunctionList* m_table = nullptr;
  CK_SESSION_HANDLE m_session = 0;
};
