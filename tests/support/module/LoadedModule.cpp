#include "module/LoadedModule.h"

#include <stdexcept>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

namespace {

template <typename Function>
Function* Symbol(HMODULE library, const char* name) {
  const FARPROC symbol = GetProcAddress(library, name);
  if (symbol == nullptr) throw std::runtime_error(std::string("no symbol ") + name);
  return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(symbol));
}

}  // namespace

LoadedModule::LoadedModule(CryptokiInterface& target) : m_library(LoadLibraryA("telvopkcs11.dll")) {
  if (m_library == nullptr) throw std::runtime_error("the tests' telvopkcs11.dll was not found");
  Symbol<void(CryptokiInterface*)>(m_library, "SetTarget")(&target);
}

LoadedModule::~LoadedModule() {
  if (m_library == nullptr) return;
  SetFunctionListResult(CKR_OK);
  Symbol<void(CryptokiInterface*)>(m_library, "SetTarget")(nullptr);
  LetGo();
}

void LoadedModule::SetFunctionListResult(CK_RV result) {
  Symbol<void(CK_RV)>(m_library, "SetFunctionListResult")(result);
}

void LoadedModule::LetGo() {
  FreeLibrary(m_library);
  m_library = nullptr;
}

bool IsLibraryLoaded(const std::string& fileName) {
#if defined(_WIN32)
  return GetModuleHandleA(fileName.c_str()) != nullptr;
#else
  const std::string name = "lib" + fileName.substr(0, fileName.size() - 4) + ".so";
  void* library = dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
#endif
}
