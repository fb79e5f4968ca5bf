// CryptokiFunctions: the module behind CryptokiInterface, loaded at run time and called through its function
// table.
//
// Each wrapper passes its arguments on unchanged and returns the module's result; without a table it returns
// CKR_CRYPTOKI_NOT_INITIALIZED and makes no call. None throws or logs. The two login wrappers first log the
// session out: a login always starts by dropping an earlier one.
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
  // Throws CryptokiError CKR_GENERAL_ERROR when the library or its C_GetFunctionList is missing. A
  // C_GetFunctionList that fails throws nothing: the library is released, and the wrappers answer
  // CKR_CRYPTOKI_NOT_INITIALIZED.
  void Load() override;
  void Reinitialize() override;

#define ENTRY(name, params, args) CK_RV name params override;
#include "cryptoki/CryptokiEntries.inc"

  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  // One call at a time: the module is initialised without locking.
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
