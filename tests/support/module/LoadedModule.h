// LoadedModule: connects a CryptokiInterface, usually a ScriptedModule, to the loadable module next to
// the tests, which has the name of the token family's module. Code that loads "telvopkcs11.dll" while
// this object lives calls that interface.
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

  // The result of C_GetFunctionList from now on.
  void SetFunctionListResult(CK_RV result);
  // Releases this object's reference to the library, which stays loaded while others hold one.
  void LetGo();

 private:
  HMODULE m_library;
};

// Whether the process has a library of that Windows file name loaded.
bool IsLibraryLoaded(const std::string& fileName);
