// The software token: the entries of the module, in native layout, over SoftHSM.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Card.h"
#include "Failure.h"
#include "KeyTraits.h"
#include "Mechanisms.h"
#include "Oaep.h"
#include "PcscReaders.h"
#include "Settings.h"
#include "SoftHsm.h"
#include "VirtualAttributes.h"

namespace softtoken {

// SoftToken is the state between C_Initialize and C_Finalize. It has no lock of its own: the caller lets one thread in
// at a time.
//
// The operations named like entries take the entries' parameters and either return their result or throw it as Failure.
// An entry without an operation here is served by SoftHSM as it is, through Forward.
class SoftToken {
 public:
  // Makes the state folder and the cards that are missing, and starts SoftHSM. Throws std::exception.
  explicit SoftToken(Settings settings);

  // Stop ends SoftHSM; nothing but the destructor may follow. Without it the destructor leaves SoftHSM running.
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
  CK_RV C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                  CK_ULONG_PTR dataLen);
  CK_RV C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism);
  CK_RV C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
  CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
               CK_ULONG_PTR signatureLen);
  CK_RV C_SignUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen);
  CK_RV C_SignRecoverInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  CK_RV C_Verify(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                 CK_ULONG signatureLen);
  CK_RV C_VerifyUpdate(CK_SESSION_HANDLE session, CK_BYTE_PTR part, CK_ULONG partLen);
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

  // Forward passes an entry that begins with a session on to SoftHSM.
  template <auto Entry, typename... Arguments>
  CK_RV Forward(CK_SESSION_HANDLE session, Arguments... arguments) {
    const CK_SESSION_HANDLE lower = Enter(session).lower;
    return (Functions().*Entry)(lower, arguments...);
  }

 private:
  // A search is done whole when it begins, because virtual attributes take part in it.
  struct Search {
    std::vector<CK_OBJECT_HANDLE> found;
    std::size_t next = 0;
  };

  enum class Question { None, Sign, Encrypt, Decrypt };

  struct Session {
    CK_SLOT_ID slot;
    Card& card;
    CK_SESSION_HANDLE lower;  // SoftHSM's
    bool readWrite;
    bool removed;  // its card was pulled, and no call has been told yet
    std::unique_ptr<Search> search;
    std::unique_ptr<OaepOperation> oaep;
    std::size_t bareBlock = 0;  // size of the modulus while CKM_RSA_X_509 is at work
    bool takesNoParts = false;  // the signature under way is by a mechanism for whole data only
    // The operation under way was asked for a length, or given too small a buffer, and nothing since.
    Question asked = Question::None;
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
  template <auto Entry>
  CK_RV Begin(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key);
  template <auto Entry>
  CK_RV BeginCipher(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key, bool encrypts);
  // Remembers whether an answer to a call was no more than a length.
  static CK_RV Answer(Session& session, Question question, const CK_BYTE* out, CK_RV result);
  // Ends an operation that was only asked for a length: the next one takes its place.
  void EndQuestion(Session& session) const;
  static CK_RV AnswerToPart(Session& session, CK_RV result);
  static bool IsTooLong(const Session& session, CK_ULONG dataLen);
  CK_RV EncryptOaep(Session& session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                    CK_ULONG_PTR encryptedLen) const;
  CK_RV DecryptOaep(Session& session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                    CK_ULONG_PTR dataLen) const;

  Settings m_settings;
  SoftHsm m_hsm;
  PcscReaders m_readers;
  std::vector<std::unique_ptr<Card>> m_cards;  // the index is the slot id
  std::unordered_map<CK_SESSION_HANDLE, Session> m_sessions;
  KeyTraitsCache m_keys;
};

// The order of the checks is part of the contract: a private key says first that it wants a login.
template <auto Entry>
CK_RV SoftToken::Begin(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  Session& entered = Enter(session);
  const std::optional<KeyTraits> traits = RequireLoginToUse(entered, key);
  CheckMechanism(mechanism);
  // SoftHSM crashes over the wrong kind of key. One that it does not know is left for it to refuse.
  if (traits && NeedsRsaKey(mechanism->mechanism)) Require(traits->modulusSize != 0, CKR_KEY_TYPE_INCONSISTENT);
  EndQuestion(entered);
  const CK_RV result = (Functions().*Entry)(entered.lower, mechanism, key);
  if (result != CKR_OK) return result;
  entered.oaep.reset();
  entered.takesNoParts = IsForWholeData(mechanism->mechanism);
  entered.bareBlock = traits && mechanism->mechanism == CKM_RSA_X_509 ? traits->modulusSize : 0;
  return CKR_OK;
}

}  // namespace softtoken
