// An object as the provider sees it: of the token, or of the adapter itself.
#pragma once

#include <optional>

#include "adapter/Values.h"
#include "cryptoki/Pkcs11.h"
#include "pkcs11/HandleTable.h"

namespace adapter {

struct Object {
  CK_SLOT_ID slot = 0;                      // of the adapter
  CK_SESSION_HANDLE owner = 0;              // the session that made a session object; 0 for an object of the token
  std::optional<CK_OBJECT_HANDLE> lower{};  // the module's handle, once it is known; it may be 0
  unsigned life = 0;                        // of the login in which `lower` was learned; see Login::Life
  Values values{};

  bool IsOnToken() const { return owner == 0; }
  CK_OBJECT_CLASS Class() const { return values.Number(CKA_CLASS).value_or(CKO_VENDOR_DEFINED); }
  bool IsPrivateKey() const { return Class() == CKO_PRIVATE_KEY; }
  // Modules show these only to a user who is logged in.
  bool NeedsLogin() const { return IsOnToken() && (IsPrivateKey() || values.Flag(CKA_PRIVATE)); }
};

// All objects of the process, by the handle that the provider has.
using ObjectTable = pkcs11::HandleTable<Object>;

// An object as the module lists it.
struct Listed {
  std::optional<CK_OBJECT_HANDLE> lower;
  Values values;

  CK_OBJECT_CLASS Class() const { return values.Number(CKA_CLASS).value_or(CKO_VENDOR_DEFINED); }
  const pkcs11::Secret& Id() const { return values.Bytes(CKA_ID); }
};

}  // namespace adapter
