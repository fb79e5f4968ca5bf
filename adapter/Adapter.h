// The adapter: the entries of the provider's module, in native layout, over an ordinary module.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "adapter/Module.h"
#include "adapter/Object.h"
#include "adapter/Operation.h"
#include "adapter/Settings.h"
#include "adapter/Slots.h"
#include "adapter/Token.h"
#include "pkcs11/Search.h"

namespace adapter {

// Adapter is the state between C_Initialize and C_Finalize. It has no lock: the caller lets in one thread at a time.
//
// An operation named like an entry takes the entry's parameters. It returns the entry's result, or throws it as
// Failure. Entries that are not here are not supported.
//
// All sessions of the provider on a slot share one session of the module. Work that needs no private key is done here:
// session objects, digests, ciphers and public keys. So between two calls the module holds only that session and its
// login.
class Adapter {
 public:
  Adapter(std::unique_ptr<Module> module, Settings settings, Clock clock);
  ~Adapter();
  Adapter(const Adapter&) = delete;
  Adapter& operator=(const Adapter&) = delete;
  static std::unique_ptr<Adapter> Make();  // with the settings of this process, and a watch over idle logins

  // WatchIdle sets a function that is called whenever a login is kept after the provider has logged out. EndIdleLogins
  // ends the kept logins that have been idle for too long. It returns when the next one is due; no value if none is
  // kept.
  void WatchIdle(std::function<void()> watch) { m_watchIdle = std::move(watch); }
  std::optional<std::chrono::steady_clock::time_point> EndIdleLogins();

  // Stop ends the logins and the module. Only the destructor may follow. The destructor itself does not call the
  // module: at the end of the process the module may no longer be there.
  void Stop();

  CK_RV C_GetInfo(CK_INFO_PTR info);
  CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count);
  CK_RV C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info);
  CK_RV C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info);
  CK_RV C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count);
  CK_RV C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info);
  CK_RV C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen, CK_UTF8CHAR_PTR label);
  CK_RV C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved);

  CK_RV C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify,
                      CK_SESSION_HANDLE_PTR session);
  CK_RV C_CloseSession(CK_SESSION_HANDLE session);
  CK_RV C_CloseAllSessions(CK_SLOT_ID slot);
  CK_RV C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info);
  CK_RV C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
  CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
  CK_RV C_Logout(CK_SESSION_HANDLE session);
  CK_RV C_InitPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);
  CK_RV C_SetPIN(CK_SESSION_HANDLE session, CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                 CK_ULONG newLen);

  CK_RV C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                       CK_OBJECT_HANDLE_PTR object);
  CK_RV C_CopyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                     CK_OBJECT_HANDLE_PTR newObject);
  CK_RV C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object);
  CK_RV C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count);
  CK_RV C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count);
  CK_RV C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count);
  CK_RV C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount, CK_ULONG_PTR count);
  CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE session);

  CK_RV C_EncryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                  CK_ULONG_PTR encryptedLen);
  CK_RV C_EncryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen, CK_BYTE_PTR encrypted,
                        CK_ULONG_PTR encryptedLen);
  CK_RV C_EncryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen);
  CK_RV C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                  CK_ULONG_PTR dataLen);
  CK_RV C_DecryptUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR part,
                        CK_ULONG_PTR partLen);
  CK_RV C_DecryptFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR lastPart, CK_ULONG_PTR lastPartLen);
  CK_RV C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism);
  CK_RV C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                 CK_ULONG_PTR digestLen);
  CK_RV C_DigestUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen);
  CK_RV C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
  CK_RV C_DigestFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR digest, CK_ULONG_PTR digestLen);
  CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
               CK_ULONG_PTR signatureLen);
  CK_RV C_SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen);
  CK_RV C_SignFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG_PTR signatureLen);
  CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                 CK_ULONG signatureLen);
  CK_RV C_VerifyUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen);
  CK_RV C_VerifyFinal(CK_SESSION_HANDLE session, CK_BYTE_PTR signature, CK_ULONG signatureLen);

  CK_RV C_GenerateKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR attributes,
                      CK_ULONG count, CK_OBJECT_HANDLE_PTR key);
  CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR publicAttributes,
                          CK_ULONG publicCount, CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                          CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey);
  CK_RV C_SeedRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR seed, CK_ULONG seedLen);
  CK_RV C_GenerateRandom(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen);

  template <auto Entry, typename... Arguments>
  CK_RV Forward(CK_SESSION_HANDLE session, Arguments... /*arguments*/) {
    Enter(session);
    return CKR_FUNCTION_NOT_SUPPORTED;
  }

 private:
  struct Session {
    CK_SLOT_ID slot;
    bool readWrite;
    unsigned presence;  // of its token; the session is over when the token's presence has changed
    std::optional<pkcs11::Search> search;
    std::unique_ptr<Operation> operation;
  };

  // What goes into a step of an operation, and what comes out of it.
  struct Input {
    const CK_BYTE* data;
    CK_ULONG length;
  };
  struct Output {
    CK_BYTE* buffer;
    CK_ULONG* length;
  };

  Session& Enter(CK_SESSION_HANDLE session);
  bool IsOver(const Session& session);
  Token& TokenAt(CK_SLOT_ID slot);
  Token& TokenOf(const Session& session) { return *m_tokens.at(session.slot); }
  void LookAtSlots();
  const Slot& SlotWithToken(CK_SLOT_ID slot);
  CK_ULONG CountSessions(CK_SLOT_ID slot, bool readWriteOnly);
  void EndSession(CK_SESSION_HANDLE session);
  bool OffersInSoftware(Token& token, CK_MECHANISM_TYPE mechanism) const;
  std::vector<CK_MECHANISM_TYPE> OfferedBy(Token& token) const;

  CK_RV LogIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length);

  bool IsVisible(const Session& session, const Object& object);
  Object& ObjectOf(const Session& session, CK_OBJECT_HANDLE handle, CK_RV otherwise = CKR_OBJECT_HANDLE_INVALID);
  Object& KeyOf(const Session& session, CK_OBJECT_HANDLE handle);
  void RequireMayChange(const Session& session);
  CK_OBJECT_HANDLE CreateInSession(CK_SESSION_HANDLE session, Values values);
  CK_OBJECT_HANDLE CreateOnToken(const Session& session, const CK_ATTRIBUTE* attributes, CK_ULONG count);
  CK_RV ReadAttribute(const Session& session, Object& object, CK_ATTRIBUTE& attribute);
  // Calls an entry on a token's object; a handle that is no longer valid is looked up again once.
  template <auto Entry, typename... A>
  CK_RV CallOnObject(Token& token, Object& object, A... arguments);

  void Begin(Session& session, std::unique_ptr<Operation> operation);
  void RequireFree(Session& session);
  Operation& OperationOf(Session& session, Work work);
  PrivateUse UseOf(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
  CK_RV Advance(CK_SESSION_HANDLE session, Work work, Course course, Input input, Output output);
  CK_RV Produce(Operation& operation, Course course, Input input, Output output);
  CK_RV Absorb(CK_SESSION_HANDLE session, Work work, Input input);
  CK_RV Judge(CK_SESSION_HANDLE session, Course course, Input data, Input signature);
  std::vector<CK_OBJECT_HANDLE> FindPublicKeys(Token& token, const Values& made);
  void DestroyOrphans(Token& token, const std::vector<CK_OBJECT_HANDLE>& before, const Values& made);

  Settings m_settings;
  Clock m_clock;
  std::function<void()> m_watchIdle = [] {};
  std::unique_ptr<Module> m_module;
  bool m_stopped = false;
  Slots m_slots;
  ObjectTable m_objects;
  std::map<CK_SLOT_ID, std::unique_ptr<Token>> m_tokens;
  pkcs11::HandleTable<Session> m_sessions;
  CK_SESSION_HANDLE m_entered = 0;  // the session of the last call; 0 if it had none
  // The slots with a token, as C_WaitForSlotEvent last reported them; until then, as they were first seen.
  std::optional<std::vector<CK_SLOT_ID>> m_reported;
};

}  // namespace adapter
