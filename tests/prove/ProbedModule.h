// ProbedModule: the module of the proofs. Its allocations do not count as the provider's. It records the PINs it was
// offered and how often it refused them.
#pragma once

#include <map>
#include <string>

#include "LyingModule.h"

class ProbedModule : public LyingModule {
 public:
  struct Offers {
    int offered = 0;
    // With CKR_PIN_INCORRECT. A refusal with the number of tries left does not count here: the provider then keeps a
    // remembered PIN, as after any failure other than CKR_PIN_INCORRECT, and offers it again.
    int refused = 0;
  };
  std::map<std::string, Offers> pins;

#define ENTRY(name, params, args) CK_RV name params override;
#include "cryptoki/CryptokiEntries.inc"
  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  CK_RV KeepLogin(CK_RV result, const CK_UTF8CHAR* pin, CK_ULONG pinLen);
};
