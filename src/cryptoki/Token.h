// Token: what is in a slot. Without a module its operations raise CryptokiError CKR_CRYPTOKI_NOT_INITIALIZED, unless
// one says otherwise. A call that the module refuses raises CryptokiError with the module's code. A copy has everything
// that the original has. Session.h describes who closes sessions.
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

  // Reads the token's record. The reference is to this object's field, which the next call overwrites.
  TokenInfo& GetTokenInfo();
  // Reads the token's mechanisms. After a failure the list has those that were read.
  std::list<Mechanism>& GetMechanisms();
  // `label` has 32 characters, padded with spaces. A null pointer or an empty PIN raises CKR_ARGUMENTS_BAD.
  void InitToken(CK_UTF8CHAR_PTR pin, CK_ULONG pinLength, CK_UTF8CHAR_PTR label);
  // Opens a session, which the caller owns. When the module refuses, this object closes the sessions that it opened,
  // has the module finalised and initialised, and tries again. That ends every session of the process. It is done ten
  // times in the life of this object; the next refusal is raised. Without a module it raises CKR_ARGUMENTS_BAD.
  Session OpenSession(CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify);
  // Closes the sessions that were opened here and that the module still knows, and forgets all of them.
  void CloseAllSessions();

  CK_SLOT_ID GetSlotId() const { return m_slotId; }
  // The names of the token's flags; see FlagsText.h.
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
  std::list<Session> m_sessions;  // a copy of each session that was opened here
};
