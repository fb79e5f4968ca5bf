// CCryptoWrapper: the record of the PKCS #11 module, one for the process. The first context loads the module; it stays
// to the end of the process.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <string>

#include "cryptoki/Cryptoki.h"
#include "cryptoki/CryptokiFunctions.h"

class CCryptoWrapper {
 public:
  // Loads and initialises the module, unless that was done before, and adds one to the use count. Raises
  // CCSPContextError NTE_FAIL without a module name, and CryptokiError when the module cannot be loaded or initialised.
  // After a failure the count is the same, and the next attempt continues with what was made.
  static boost::shared_ptr<TELVOCryptoki> GetCryptoki();
  // Subtracts one from the use count, unless it is 0. The module stays, even at 0.
  static void Release();
  // Contexts acquired minus contexts released.
  static DWORD GetUseCount();

  // At the end of the process the fields are destroyed in reverse order: the module is freed, but not finalised.
  std::string m_moduleName = "telvopkcs11.dll";
  boost::shared_ptr<CryptokiFunctions> m_functions;
  boost::shared_ptr<TELVOCryptoki> m_cryptoki;
  DWORD m_useCount = 0;
};

// Defined in entry/ProcessObjects.cpp.
extern CCryptoWrapper g_cryptoWrapper;
