#include "Module.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace bridge {
namespace {

constexpr char kVariable[] = "TELVO_BRIDGE_MODULE";

}  // namespace

Module& Module::Instance() {
  static Module module;
  return module;
}

Module::Module() {
  const char* const path = std::getenv(kVariable);
  if (path == nullptr) {
    static_cast<void>(std::fprintf(stderr, "bridge: %s is not set\n", kVariable));
    return;
  }
  m_library = ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (m_library == nullptr) {
    static_cast<void>(std::fprintf(stderr, "bridge: %s\n", ::dlerror()));
    return;
  }
  const auto get = reinterpret_cast<CK_C_GetFunctionList>(::dlsym(m_library, "C_GetFunctionList"));
  if (get == nullptr || get(&m_table) != CKR_OK) {
    static_cast<void>(std::fprintf(stderr, "bridge: %s gives no function list\n", path));
    m_table = nullptr;
  }
}

// A Windows program that unloads a module and loads it again expects a fresh one.
Module::~Module() {
  if (m_library != nullptr) ::dlclose(m_library);
}

}  // namespace bridge
