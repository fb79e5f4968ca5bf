// ProbedModule: the module of the proofs. What it allocates is not the provider's, and it keeps which PINs it was
// offered and how it answered.
#pragma once

#include <map>
#include <string>

#include "LyingModule.h"

class ProbedModule : public LyingModule {
 public:
  struct Offers {
    int offered = 0;
    // As wrong, by CKR_PIN_INCORRECT. A refusal by the number of tries that are left does not count here: the provider
    // keeps a remembered PIN then, as it does after any failure that is not CKR_PIN_INCORRECT, and offers it again.
    int refused = 0;
  };
  std::map<std::string, Offers> pins;

#define ENTRY(name, params, args) CK_RV name params override;
#include "cryptoki/CryptokiEntries.inc"
  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  CK_RV KeepLogin(CK_RV result, const CK_UTF8CHAR* pin, CK_ULONG pinLen);
};
