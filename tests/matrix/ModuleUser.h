// ModuleUser: the module below the provider, called past it. The provider's dialogs call it like this.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/Pkcs11.h"

class ModuleUser {
 public:
  // A session on the slot of that description. The module stays initialised.
  explicit ModuleUser(const std::string& reader);
  ~ModuleUser();
  ModuleUser(const ModuleUser&) = delete;
  ModuleUser& operator=(const ModuleUser&) = delete;

  CK_RV LogIn(std::string pin);
  CK_RV ChangePin(std::string oldPin, std::string newPin);
  // The tries that the session's information has in its lowest four bits.
  DWORD TriesTold();

 private:
  CK_SLOT_ID FindSlot(const std::string& reader);

  HMODULE m_library;
  ExtendedFunctionList* m_table = nullptr;
  CK_SESSION_HANDLE m_session = 0;
};
