// The native module below the bridge.
#pragma once

#include "cryptoki/Pkcs11.h"

namespace bridge {

// Module is the library whose Linux path is in the environment variable TELVO_BRIDGE_MODULE. It stays loaded as long as
// the bridge does.
class Module {
 public:
  // The only instance of the process. The first call loads the library.
  static Module& Instance();

  // Null when the library could not be loaded or has no table. The reason was printed to stderr.
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
