// What contexts log while they work on keys.
#pragma once

#include <string>

#include "LogTest.h"

// A login with a PIN that is known, up to its outcome.
inline std::string LoginBeginning() {
  return Line("\nInitializing PIN cache") + Value("cardSerial:\t", "01 23 45 67 89 AB CD EF") +
         Value("strReaderName:\t", "Reader A") + Line("Retrieving PIN cache") + Line("PIN Cache is set") +
         Line("Login");
}

// A session key that is made.
inline std::string CreationLines() {
  return Line("Creating Non Token Secret Key") + Line("Secret Key") + Line("Key Type") + Line("ID ") + Line("Label") +
         Line("Derive") + Line("Encrypt") + Line("Decrypt") + Line("Sign") + Line("Verify") + Line("Wrap") +
         Line("Unwrap") + Line("Private") + Line("Sensitive") + Line("Token") + Line("Exportable") +
         Line("Modifiable") + Line("Key Value: ") + Line("Creating object") + Line("Object Created") +
         Line("Get Instance") + Line("Set Permission") + Line("Return");
}
