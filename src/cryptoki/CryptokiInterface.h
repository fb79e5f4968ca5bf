// CryptokiInterface: the PKCS #11 module as the client sees it. Each entry of the module's table is a virtual
// operation.
#pragma once

#include <string>

#include "cryptoki/Pkcs11.h"

class CryptokiInterface {
 public:
  explicit CryptokiInterface(std::string moduleName);
  CryptokiInterface(const CryptokiInterface&) = delete;
  CryptokiInterface& operator=(const CryptokiInterface&) = delete;

  // In interface order: append, never reorder.

  // The file name of the module.
  virtual std::string GetModuleName();
  virtual ~CryptokiInterface();
  // Finalises the module and releases it.
  virtual void Unload() = 0;
  // Loads the module, unless it is loaded. Raises CryptokiError CKR_GENERAL_ERROR when that fails.
  virtual void Load() = 0;
  // Finalises and initialises the module, which ends every session of the process. Results are ignored.
  virtual void Reinitialize() = 0;

#define ENTRY(name, params, args) virtual CK_RV name params = 0;
#include "cryptoki/CryptokiEntries.inc"

  // The module's own login, with the arguments of C_Login.
  virtual CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) = 0;

 private:
  std::string m_moduleName;
};
