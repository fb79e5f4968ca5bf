// CCryptoWrapper: the one record of the process that holds the PKCS #11 module: made by the first context,
// kept to the end of the process however many contexts come and go.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <string>

#include "cryptoki/Cryptoki.h"
#include "cryptoki/CryptokiFunctions.h"

class CCryptoWrapper {
 public:
  // Loads and initialises the module, unless that was done before, and counts one use more. Raises
  // CCSPContextError NTE_FAIL without a module name, and CryptokiError when the module cannot be loaded or
  // started; then nothing is counted, and what was made so far stays for the next attempt.
  static boost::shared_ptr<TELVOCryptoki> GetCryptoki();
  // Counts one use less, not below 0. Nothing is released at 0.
  static void Release();
  // Contexts acquired minus contexts released.
  static DWORD GetUseCount();

  // The record's fields go in the reverse of this order at the end of the process: the module is freed, not
  // finalised.
  std::string m_moduleName = "telvopkcs11.dll";
  boost::shared_ptr<CryptokiFunctions> m_functions;
  boost::shared_ptr<TELVOCryptoki> m_cryptoki;
  DWORD m_useCount = 0;
};

// Defined in entry/ProcessObjects.cpp.
extern CCryptoWrapper g_cryptoWrapper;
