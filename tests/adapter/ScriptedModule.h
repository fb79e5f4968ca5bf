// An ordinary PKCS #11 module in memory. A test chooses its behaviour and its faults. The test program is linked to the
// library that the adapter loads, so both see the same script.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cryptoki/Pkcs11.h"

namespace scripted {

using Attributes = std::map<CK_ATTRIBUTE_TYPE, std::string>;

struct ScriptedSlot {
  CK_SLOT_ID id = 0;
  std::string description = "Reader";
  bool tokenIn = true;
  CK_FLAGS flags = 0;  // besides CKF_TOKEN_PRESENT
  int failures = 0;    // how many more times C_GetTokenInfo fails
  bool initialised = true;
  std::string label = "Card", serial = "1234567890ABCDEF";
};

// What the token's flags report about wrong PINs.
enum class Telling { Nothing, Everything, AlwaysLow };

struct Script {
  std::vector<ScriptedSlot> slots = {{}};
  std::map<CK_OBJECT_HANDLE, Attributes> objects;
  CK_OBJECT_HANDLE nextHandle = 1;
  CK_SESSION_HANDLE nextSession = 1;
  CK_ULONG handleStep = 1;
  std::vector<CK_MECHANISM_TYPE> mechanisms = {CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_PKCS, CKM_RSA_X_509};

  std::string pin = "123456";
  Telling telling = Telling::Nothing;
  unsigned lockAfter = 3;
  unsigned wrong = 0;
  bool lockedSaysIncorrect = false;  // openCryptoki: the wrong PIN that locks returns CKR_PIN_INCORRECT

  bool privateKeysDie = false;       // SoftHSM2: a private object has a new handle after each login
  bool keepsOperation = false;       // an operation stays active after its last call
  bool stopsAtBadAttribute = false;  // one bad attribute fails the whole read
  CK_RV removal = CKR_OK;            // what all calls on sessions return
  CK_RV changePinAnswer = CKR_OK;    // what C_SetPIN returns for the right old PIN
  bool changePinNeedsLogin = false;
  bool leavesOrphan = false;             // C_GenerateKeyPair fails after it made the public key
  bool stateIsPublic = false;            // another program logged the user out
  std::optional<CK_ULONG> lengthLie;     // the result length that C_Sign and C_Decrypt report
  std::optional<CK_ULONG> foundLie;      // the count that C_FindObjects reports
  std::optional<CK_ULONG> attributeLie;  // each length that C_GetAttributeValue reports
  CK_RV randomAnswer = CKR_OK;
  CK_ULONG needsContextLogin = 0;  // how many logins of CKU_CONTEXT_SPECIFIC were made

  // What C_Sign and C_Decrypt make of the input; by default 'signed:' and the input.
  std::function<std::string(CK_MECHANISM_TYPE, const std::string&)> use;

  // For a module that returns anything. `fail` returns an error instead of a call's work, or CKR_OK for the work.
  // `falsify` returns the number to report instead of the true one. What the module writes stays inside the caller's
  // buffers.
  std::function<CK_RV(const char* entry)> fail;
  std::function<CK_ULONG(CK_ULONG truth)> falsify;
  CK_ULONG Told(CK_ULONG truth) const { return falsify ? falsify(truth) : truth; }

  // State.
  bool loggedIn = false, officer = false;
  std::set<CK_SESSION_HANDLE> sessions;
  std::map<CK_SESSION_HANDLE, std::vector<CK_OBJECT_HANDLE>> searches;
  std::set<CK_SESSION_HANDLE> working;
  CK_MECHANISM_TYPE mechanism = 0;
  CK_OBJECT_HANDLE key = 0;
  std::vector<std::string> calls;  // the names of the entries, in order

  CK_OBJECT_HANDLE Add(const Attributes& attributes);
  int Count(const std::string& name) const;
  void TakeCalls() { calls.clear(); }
  // The card was pulled and put back, and the module kept the session.
  void LogOutAsPulled();
};

Script& TheScript();

inline std::string Number(CK_ULONG value) { return {reinterpret_cast<const char*>(&value), sizeof value}; }
inline std::string Flag(bool value) { return std::string(1, value ? '\1' : '\0'); }

}  // namespace scripted
