// The software token: the entries of the module, in native layout, over SoftHSM.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Card.h"
#include "KeyTraits.h"
#include "Operation.h"
#include "PcscReaders.h"
#include "Settings.h"
#include "SharedNames.h"
#include "SoftHsm.h"
#include "VirtualAttributes.h"
#include "pkcs11/Search.h"

namespace softtoken {

// SoftToken is the state between C_Initialize and C_Finalize. It has no lock: the caller lets in one thread at a time.
//
// An operation named like an entry takes the entry's parameters. It returns the entry's result, or throws it as
// Failure. All other entries go to SoftHSM, through Forward.
class SoftToken {
 public:
  // Makes the state folder and the cards that are missing, and starts SoftHSM. Throws std::exception.
  explicit SoftToken(Settings settings);
  static std::unique_ptr<SoftToken> Make();  // with the settings of this process

  // Stop ends SoftHSM. Only the destructor may follow. Without Stop, the destructor leaves SoftHSM running.
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
  CK_RV C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism);
  CK_RV C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
  CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_SignRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_VerifyRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_GenerateKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR attributes,
                      CK_ULONG count, CK_OBJECT_HANDLE_PTR key);
  CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR publicAttributes,
                          CK_ULONG publicCount, CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                          CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey);
  CK_RV C_WrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE wrappingKey,
                  CK_OBJECT_HANDLE key, CK_BYTE_PTR wrapped, CK_ULONG_PTR wrappedLen);
  CK_RV C_UnwrapKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE unwrappingKey,
                    CK_BYTE_PTR wrapped, CK_ULONG wrappedLen, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                    CK_OBJECT_HANDLE_PTR key);
  CK_RV C_DeriveKey(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE baseKey,
                    CK_ATTRIBUTE_PTR attributes, CK_ULONG count, CK_OBJECT_HANDLE_PTR key);

  // Forward passes an entry whose first parameter is a session on to SoftHSM. A step goes to the SoftHSM session of its
  // operation.
  template <auto Entry, typename... Arguments>
  CK_RV Forward(CK_SESSION_HANDLE session, Arguments... arguments) {
    if constexpr (kStep<Entry>.work != Work::None) {
      return Continue<Entry>(session, arguments...);
    } else {
      const CK_SESSION_HANDLE lower = Enter(session).lower;
      return (Functions().*Entry)(lower, arguments...);
    }
  }

 private:
  struct Session {
    CK_SLOT_ID slot;
    Card& card;
    CK_SESSION_HANDLE lower;  // SoftHSM's
    bool readWrite;
    bool removed;  // its card was pulled, and no call has reported that yet
    std::optional<pkcs11::Search> search;
    std::optional<Operation> operation;
  };

  CK_FUNCTION_LIST& Functions() const { return m_hsm.Functions(); }
  void MakeCards();
  Card& CardAt(CK_SLOT_ID slot);
  Card& CardIn(CK_SLOT_ID slot);
  void Look(CK_SLOT_ID slot, Freshness freshness);
  Session& Enter(CK_SESSION_HANDLE session);
  void DropLoginWithoutSessions(CK_SLOT_ID slot);
  CK_ULONG CountSessions(CK_SLOT_ID slot, bool readWriteOnly) const;

  PinCheck LogIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen);

  VirtualAttributes Virtual(const Session& session) const;
  static bool IsUser(const Session& session) { return session.card.LoggedIn() == Role::User; }
  static std::unique_ptr<FileLock> LockToChange(const Session& session, bool onToken);
  void RequireLoginToMake(const Session& session, const CK_ATTRIBUTE* attributes, CK_ULONG count) const;
  void RequireLoginToChange(const Session& session, CK_OBJECT_HANDLE object) const;
  std::optional<KeyTraits> RequireLoginToUse(const Session& session, CK_OBJECT_HANDLE key);
  std::vector<CK_OBJECT_HANDLE> FindInSoftHsm(const Session& session, std::vector<CK_ATTRIBUTE>& wanted) const;
  std::vector<CK_OBJECT_HANDLE> FindAll(const Session& session, std::vector<CK_ATTRIBUTE> wanted) const;
  // Begins an operation, for an entry C_...Init that takes a key.
  template <auto Entry>
  CK_RV Begin(CK_SESSION_HANDLE session, Work work, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  template <auto Entry>
  CK_RV BeginCipher(CK_SESSION_HANDLE session, Work work, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  // Gives the session an operation, which `begin` begins in SoftHSM. Throws Failure: CKR_OPERATION_ACTIVE if there is
  // already one whose last step did not just ask for a length. If `begin` fails, its result; the session then has no
  // operation.
  Operation& StartOperation(Session& session, Work work, const std::function<CK_RV(CK_SESSION_HANDLE)>& begin);
  void EndOperation(Session& session) const;
  // Does a step of the session's operation: `body` takes the operation and returns the result of the entry. Every step
  // goes through here, so that the operation ends when PKCS #11 requires it: with its result, and with any failure
  // other than a buffer that is too small.
  template <typename Body>
  CK_RV Advance(CK_SESSION_HANDLE session, Step step, bool asks, Body body);
  template <auto Entry, typename... Buffers>
  CK_RV Continue(CK_SESSION_HANDLE session, Buffers... buffers);
  CK_RV WorkOaep(Operation& operation, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen) const;
  CK_RV EncryptOaep(const Operation& operation, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                    CK_ULONG_PTR encryptedLen) const;
  CK_RV DecryptOaep(const Operation& operation, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                    CK_ULONG_PTR dataLen) const;

  Settings m_settings;
  SoftHsm m_hsm;
  PcscReaders m_readers;
  std::vector<std::unique_ptr<Card>> m_cards;  // the index is the slot id
  std::unordered_map<CK_SESSION_HANDLE, Session> m_sessions;
  KeyTraitsCache m_keys;
};

// The order of the checks is part of the contract: that a private key needs a login is reported first.
template <auto Entry>
CK_RV SoftToken::Begin(CK_SESSION_HANDLE session, Work work, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const std::optional<KeyTraits> traits = RequireLoginToUse(entered, key);
  CheckMechanism(mechanism);
  // SoftHSM crashes on a key of the wrong kind. It refuses unknown handles by itself.
  if (traits && NeedsRsaKey(mechanism->mechanism)) Require(traits->modulusSize != 0, CKR_KEY_TYPE_INCONSISTENT);
  Operation& operation = StartOperation(
      entered, work, [&](CK_SESSION_HANDLE lower) { return (Functions().*Entry)(lower, mechanism, key); });
  operation.takesNoParts = IsForWholeData(mechanism->mechanism);
  // For decryption SoftHSM checks the length itself.
  const bool hasLimit = traits && mechanism->mechanism == CKM_RSA_X_509 && work != Work::Decrypt;
  if (hasLimit) operation.bareBlock = traits->modulusSize;
  return CKR_OK;
}

template <typename Body>
CK_RV SoftToken::Advance(CK_SESSION_HANDLE session, Step step, bool asks, Body body) {
  Session& entered = Enter(session);
  Require(entered.operation && entered.operation->work == step.work, CKR_OPERATION_NOT_INITIALIZED);
  Operation& operation = *entered.operation;
  CK_RV result = CKR_OK;
  try {
    result = body(entered, operation);
  } catch (...) {
    EndOperation(entered);
    throw;
  }
  operation.asked = result == CKR_BUFFER_TOO_SMALL || (result == CKR_OK && asks);
  const bool goesOn = operation.asked || (result == CKR_OK && step.course == Course::Part);
  if (!goesOn) EndOperation(entered);
  return result;
}

template <auto Entry, typename... Buffers>
CK_RV SoftToken::Continue(CK_SESSION_HANDLE session, Buffers... buffers) {
  constexpr Step step = kStep<Entry>;
  const bool asks = AsksForLength(buffers...);
  return Advance(session, step, asks, [&](Session& /*session*/, Operation& operation) -> CK_RV {
    if (step.course == Course::Part) Require(!operation.takesNoParts, CKR_FUNCTION_NOT_SUPPORTED);
    CheckBuffers(asks, buffers...);
    if constexpr (step.course == Course::Whole) {
      CheckLength(operation, buffers...);
      if constexpr (step.work == Work::Encrypt || step.work == Work::Decrypt) {
        if (operation.oaep) return WorkOaep(operation, buffers...);
      }
    }
    return (Functions().*Entry)(operation.lower, buffers...);
  });
}

}  // namespace softtoken
