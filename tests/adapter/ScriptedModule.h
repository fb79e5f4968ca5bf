// An ordinary PKCS #11 module in memory, whose habits and faults a test chooses. The test program is linked to the
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
  CK_FLAGS flags = 0;  // besides that of the token
  int failures = 0;    // how often C_GetTokenInfo still fails
  bool initialised = true;
  std::string label = "Card", serial = "1234567890ABCDEF";
};

// How the token's flags tell of wrong PINs.
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
  bool lockedSaysIncorrect = false;  // openCryptoki: the code of a locked PIN

  bool privateKeysDie = false;       // SoftHSM2: a private object has a new handle after each login
  bool keepsOperation = false;       // an operation stays after its failure
  bool stopsAtBadAttribute = false;  // fails a whole read for one attribute
  CK_RV removal = CKR_OK;            // what all calls on sessions answer
  CK_RV changePinAnswer = CKR_OK;    // to the right old PIN
  bool changePinNeedsLogin = false;
  bool leavesOrphan = false;             // a pair fails after its public key was made
  bool stateIsPublic = false;            // another program logged the user out
  std::optional<CK_ULONG> lengthLie;     // what C_Sign and C_Decrypt say of their result
  std::optional<CK_ULONG> foundLie;      // what C_FindObjects says it found
  std::optional<CK_ULONG> attributeLie;  // what C_GetAttributeValue says of each length
  CK_RV randomAnswer = CKR_OK;
  CK_ULONG needsContextLogin = 0;  // logins of CKU_CONTEXT_SPECIFIC that were made

  // What a private key makes of the input; by default 'signed:' and the input, up to the length of the modulus.
  std::function<std::string(CK_MECHANISM_TYPE, const std::string&)> use;

  // For a module that answers anything: the result of a call instead of its work, CKR_OK for the work; and a number
  // that the module tells instead of the true one. What it writes stays inside the caller's buffers.
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
