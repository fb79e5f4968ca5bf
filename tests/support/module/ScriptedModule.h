// ScriptedModule: a PKCS #11 module in memory, for unit tests. A test puts readers, tokens and objects into
// it, may order failures, and afterwards reads the journal of the calls.
//
//   ScriptedModule module;
//   ScriptedToken& token = module.InsertToken("TELVO Reader A");
//   token.Add(PrivateKeyObject({1}, modulus));
//   module.FailOnCall("C_FindObjects", 2, CKR_DEVICE_REMOVED);
//   ... what is tested ...
//   EXPECT_EQ(module.TakeCalls(), (Calls{"C_FindObjectsInit(1, null of 0)", "C_FindObjects(1, 1)", ...}));
//
// It behaves as the token family's module does: objects are visible before a login, private keys work only after one,
// and C_LoginExtended answers a wrong PIN with the number of tries left. Its cryptography is predictable: see
// ScriptedCrypto.cpp. Calls may come from several threads.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cryptoki/CryptokiInterface.h"
#include "module/Journal.h"
#include "module/ScriptedObjects.h"

// The card in a reader, with its objects and its PIN.
struct ScriptedToken {
  std::string label = "TELVO Token";
  std::string serial = "0123456789ABCDEF";
  std::string pin = "1234";
  CK_ULONG tries = 3;
  CK_ULONG triesLeft = 3;
  CK_ULONG minPinLen = 4;
  CK_ULONG maxPinLen = 8;
  CK_FLAGS flags = CKF_TOKEN_INITIALIZED | CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED | CKF_RNG;
  std::vector<CK_MECHANISM_TYPE> mechanisms = {CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_PKCS, CKM_SHA_1};
  std::map<CK_OBJECT_HANDLE, ScriptedObject> objects;
  bool loggedIn = false;

  // Puts an object on the token and returns its handle. Handles count up from 1 and are not used again.
  CK_OBJECT_HANDLE Add(const ScriptedObject& object);

 private:
  CK_OBJECT_HANDLE m_nextHandle = 1;
};

class ScriptedModule : public CryptokiInterface {
 public:
  ScriptedModule();
  ~ScriptedModule() override;

  // --- Setup

  // Adds a reader with a token in it; slot ids count up from 0. An existing reader gets the token.
  ScriptedToken& InsertToken(const std::string& reader);
  // Adds a reader with a token in it, even if one of the same name exists.
  ScriptedToken& AddReader(const std::string& reader);
  void AddEmptyReader(const std::string& reader);
  // Takes the token out. Its sessions end, and their objects are removed.
  void RemoveToken(const std::string& reader);
  // What C_LoginExtended answers to a wrong PIN while tries are left: their number, or CKR_PIN_INCORRECT.
  enum class WrongPin { kTriesLeft, kPinIncorrect };
  WrongPin wrongPin = WrongPin::kTriesLeft;

  // --- Orders

  // The n-th call of an entry from now on, counted from 1, answers `result` and does nothing.
  void FailOnCall(const std::string& entry, int n, CK_RV result);
  void FailNext(const std::string& entry, CK_RV result) { FailOnCall(entry, 1, result); }
  // Every call of the entry from now on answers `result`, until FailAlways(entry, CKR_OK).
  void FailAlways(const std::string& entry, CK_RV result);
  // The n-th call from now on, whatever it is, answers `result` and does nothing; with `fromThenOn` so does every call
  // after it.
  void FailAnyCall(int n, CK_RV result, bool fromThenOn = false);
  // Runs before the next call of the entry does anything, for instance to pull the card.
  void BeforeNext(const std::string& entry, std::function<void()> action);
  // Sees each attribute that C_GetAttributeValue answers with success, and may falsify it.
  std::function<void(CK_ATTRIBUTE& item)> falsify;
  // Sees the count or length that any other call returns, and may falsify it: "C_GetSlotList", "C_Digest".
  std::function<void(const std::string& entry, CK_ULONG& count)> falsifyCount;
  // Whether the last operation on data wrote its output over its input.
  bool wroteOverInput = false;

  // --- The journal

  // The calls since the last take, as Journal.h describes them, or only the names of the entries.
  Calls TakeCalls();
  Calls TakeCallNames();
  void ForgetCalls();
  // How many sessions are open.
  std::size_t OpenSessions();
  bool IsInitialized();

  // --- The module

  void Unload() override;
  void Load() override;
  // As the real module behind CryptokiFunctions: C_Finalize, C_Initialize, C_GetSlotList.
  void Reinitialize() override;

#define ENTRY(name, params, args) CK_RV name params override;
#include "cryptoki/CryptokiEntries.inc"

  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

 private:
  struct Reader {
    std::string name;
    bool hasToken = false;
    ScriptedToken token;
  };

  enum Operation { kDigest, kEncrypt, kDecrypt, kSign, kVerify, kSignRecover, kVerifyRecover, kOperations };

  struct ActiveOperation {
    bool active = false;
    CK_MECHANISM_TYPE mechanism = 0;
    CK_OBJECT_HANDLE key = 0;
    Bytes collected;
  };

  struct OpenSession {
    std::size_t reader = 0;
    CK_FLAGS flags = 0;
    CK_ULONG deviceError = 0;
    bool searching = false;
    std::vector<CK_OBJECT_HANDLE> found;
    std::vector<CK_OBJECT_HANDLE> objects;  // its own, removed with it
    ActiveOperation operations[kOperations];
  };

  struct Order {
    int callsToGo;
    CK_RV result;
  };
  struct AnyOrder {
    int call;
    CK_RV result;
    bool fromThenOn;
  };

  // Records the call, runs what was ordered for it, and then runs `body` unless the call is to fail.
  template <typename Body>
  CK_RV Do(const char* entry, const std::string& arguments, Body body) {
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const CK_RV ordered = Announce(entry, arguments);
    return ordered != CKR_OK ? ordered : body();
  }
  // The same for a call on a session. `body` gets the session and its token.
  template <typename Body>
  CK_RV DoInSession(const char* entry, const std::string& arguments, CK_SESSION_HANDLE handle, Body body) {
    return Do(entry, std::to_string(handle) + (arguments.empty() ? "" : ", ") + arguments, [&]() -> CK_RV {
      const auto session = m_sessions.find(handle);
      if (session == m_sessions.end()) return CKR_SESSION_HANDLE_INVALID;
      return body(session->second, m_readers[session->second.reader].token);
    });
  }
  // Records the call, runs the action ordered before it, and returns the failure that was ordered, or CKR_OK.
  CK_RV Announce(const std::string& entry, const std::string& arguments);
  template <typename Body>
  CK_RV DoInSlot(const char* entry, const std::string& arguments, CK_SLOT_ID slot, Body body) {
    return Do(entry, std::to_string(slot) + (arguments.empty() ? "" : ", ") + arguments, [&]() -> CK_RV {
      if (slot >= m_readers.size()) return CKR_SLOT_ID_INVALID;
      if (!m_readers[slot].hasToken) return CKR_TOKEN_NOT_PRESENT;
      return body(m_readers[slot].token);
    });
  }
  CK_RV DoLogin(const char* entry, CK_SESSION_HANDLE handle, CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG pinLen,
                bool countAsResult);
  CK_RV Begin(const char* entry, Operation operation, CK_SESSION_HANDLE handle, const CK_MECHANISM* mechanism,
              CK_OBJECT_HANDLE key);
  // A whole operation on `data`, or the end of one in several parts when `data` is null and `whole` is false.
  CK_RV Finish(const char* entry, Operation operation, CK_SESSION_HANDLE handle, const CK_BYTE* data, CK_ULONG dataLen,
               bool whole, CK_BYTE* out, CK_ULONG* outLen);
  CK_RV Collect(const char* entry, Operation operation, CK_SESSION_HANDLE handle, const CK_BYTE* data,
                CK_ULONG dataLen);
  CK_RV Compare(const char* entry, CK_SESSION_HANDLE handle, const CK_BYTE* data, CK_ULONG dataLen, bool whole,
                const CK_BYTE* signature, CK_ULONG signatureLen);
  CK_RV Compute(ScriptedToken& token, Operation operation, const ActiveOperation& active, const Bytes& data,
                Bytes& result);
  CK_RV NotSupported(const char* entry);
  void Falsify(const char* entry, CK_ULONG* count);

  std::recursive_mutex m_mutex;
  std::deque<Reader> m_readers;  // keeps references to tokens valid
  std::map<CK_SESSION_HANDLE, OpenSession> m_sessions;
  std::map<std::string, std::vector<Order>> m_orders;
  int m_callNumber = 0;
  std::vector<AnyOrder> m_anyOrders;
  std::map<std::string, CK_RV> m_always;
  std::map<std::string, std::function<void()>> m_before;
  std::vector<std::pair<std::string, std::string>> m_calls;
  CK_SESSION_HANDLE m_nextSession = 1;
  unsigned char m_random = 1;
  unsigned char m_nextModulus = 0x80;
  bool m_initialized = false;
};
