// The native module below the bridge.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace bridge {

// Module is the library that the environment variable TELVO_BRIDGE_MODULE names, a Linux path. It stays loaded as long
// as the bridge does.
class Module {
 public:
  // The one of the process, which the first call loads.
  static Module& Instance();

  // Null when the library was not loaded or has no table. What is wrong was said on stderr.
  const CK_FUNCTION_LIST* Table() const { return m_table; }

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

 private:
  Module();
  ~Module();

  void* m_library = nullptr;
  CK_FUNCTION_LIST* m_table = nullptr;
};

}  // namespace bridge
