// LoadedModule: puts a CryptokiInterface, as a rule a ScriptedModule, behind the function table of the
// loadable module that stands beside the tests under the name of the token family's module. What loads
// "telvopkcs11.dll" while this object lives reaches that interface.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/CryptokiInterface.h"

class LoadedModule {
 public:
  explicit LoadedModule(CryptokiInterface& target);
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  // What C_GetFunctionList answers from now on.
  void SetFunctionListResult(CK_RV result);
  // Drops this object's own hold on the library; whether it stays loaded is then up to others.
  void LetGo();

 private:
  HMODULE m_library;
};

// Whether the process has a library of that Windows file name loaded.
bool IsLibraryLoaded(const std::string& fileName);
