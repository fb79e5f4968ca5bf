// Token: what is in a slot. Its own checks raise CryptokiError CKR_CRYPTOKI_NOT_INITIALIZED without a module;
// a call that the module refuses raises CryptokiError with its code. Copies carry everything along;
// destroying one closes nothing.
#pragma once

#include <list>
#include <string>

#include "cryptoki/ICryptokiSettable.h"
#include "cryptoki/Mechanism.h"
#include "cryptoki/Session.h"
#include "cryptoki/TokenInfo.h"

class Token final : public ICryptokiSettable {
 public:
  explicit Token(CK_SLOT_ID slotId);

  // Reads the token's record; the field behind the reference is as old as the last call.
  TokenInfo& GetTokenInfo();
  // Reads the token's mechanisms; a failure between them leaves those read so far.
  std::list<Mechanism>& GetMechanisms();
  // `label` has 32 characters, filled with blanks. A null pointer or an empty PIN raises CKR_ARGUMENTS_BAD.
  void InitToken(CK_UTF8CHAR_PTR pin, CK_ULONG pinLength, CK_UTF8CHAR_PTR label);
  // Opens a session. A failure is answered, ten times in the life of this object, by closing this object's
  // sessions, finalising and initialising the module, and trying again: every session of the process is gone
  // then. The failure after that is thrown. Without a module CKR_ARGUMENTS_BAD.
  Session OpenSession(CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify);
  // Closes those sessions opened here that the module still knows, and forgets all.
  void CloseAllSessions();

  CK_SLOT_ID GetSlotId() const { return m_slotId; }
  // std::out_of_range when no flag with a name is set.
  std::string FlagsText() const;
  // The numbers of the token's record in decimal.
  std::string MaxSessionCountText() const;
  std::string SessionCountText() const;
  std::string MaxRwSessionCountText() const;
  std::string RwSessionCountText() const;
  std::string MaxPinLenText() const;
  std::string MinPinLenText() const;
  std::string TotalPublicMemoryText() const;
  std::string FreePublicMemoryText() const;
  std::string TotalPrivateMemoryText() const;
  std::string FreePrivateMemoryText() const;

 private:
  BYTE m_openRetries = 0;
  std::list<Mechanism> m_mechanisms;
  TokenInfo m_info;
  CK_SLOT_ID m_slotId;
  std::list<Session> m_sessions;
};
