// CryptokiFunctions: the CryptokiInterface of a real module, which is loaded at run time and called through its
// function table.
//
// Each wrapper calls the module with the same arguments and returns the module's result. Without a table it returns
// CKR_CRYPTOKI_NOT_INITIALIZED and calls nothing. No wrapper throws or logs. The two login wrappers log the session out
// first.
#pragma once

#include "common/Platform.h"

#include <atomic>
#include <mutex>
#include <string>

#include "cryptoki/CryptokiInterface.h"

// The result of the last wrapper of any thread.
extern std::atomic<CK_RV> g_lastResult;

class CryptokiFunctions : public CryptokiInterface {
 public:
  // Stores the file name; nothing is loaded yet.
  explicit CryptokiFunctions(std::string moduleName);

  // In interface order: append, never reorder.

  // Releases a loaded module without finalising it.
  ~CryptokiFunctions() override;
  void Unload() override;
  // Raises CryptokiError CKR_GENERAL_ERROR when the library or its C_GetFunctionList is missing. When C_GetFunctionList
  // fails nothing is raised: the library is released, and the wrappers return CKR_CRYPTOKI_NOT_INITIALIZED.
  void Load() override;
  void Reinitialize() override;

#define ENTRY(name, params, args) CK_RV name params override;
#include "cryptoki/CryptokiEntries.inc"

  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  // One call at a time, because the module is initialised without locking.
  template <typename Body>
  CK_RV Forward(Body body);
  template <typename Body>
  CK_RV ForwardPastTheGate(Body body);
  template <typename Body>
  CK_RV ForwardLogin(CK_SESSION_HANDLE session, Body body);

  std::mutex m_gate;
  HMODULE m_module = nullptr;
  CK_FUNCTION_LIST* m_functions = nullptr;
};
