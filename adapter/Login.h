// The login of one slot: what the provider sees of it, and what the module really has.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "adapter/LowerSession.h"
#include "adapter/Settings.h"
#include "adapter/software/SaltedDigest.h"

namespace adapter {

enum class Role { None, User, SecurityOfficer };

using Clock = std::function<std::chrono::steady_clock::time_point()>;

// Login keeps the real login of the user when the provider logs out, and compares the next PIN with a salted digest of
// the one that the token accepted. Only a different PIN causes a real logout and login. The kept login ends
//   - with the last session, and when the token goes away (Forget),
//   - when it was not used for Settings::loginLife (EndIfIdle),
//   - when the module is not logged in any more, or the PIN was locked, by another process for example.
// With Settings::keepLogin off, each logout reaches the module.
class Login {
 public:
  Login(Module& module, LowerSession& session, const Settings& settings, Clock clock)
      : m_module(module), m_session(session), m_settings(settings), m_clock(std::move(clock)) {}

  // All of these return CKR_OK, CKR_PIN_INCORRECT (see TriesLeft), CKR_PIN_LOCKED or another result of the module, or
  // throw it as Failure.
  CK_RV LogIn(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length);
  CK_RV LogOut();
  CK_RV InitPin(const CK_BYTE* pin, CK_ULONG length);
  CK_RV SetPin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength);

  // What the provider sees.
  Role Seen() const { return m_role; }
  bool IsUser() const { return m_role == Role::User; }
  // The tries left after the user's last wrong PIN; 0 when the last PIN was right, and when the PIN is locked.
  unsigned TriesLeft() const { return m_triesLeft; }

  // What the module has: whether the user is logged in there, and a number that changes with each real login and
  // logout, because handles of private objects may become invalid then.
  bool IsReal() const { return m_real; }
  // IsConfirmed asks the module whether the user is still logged in: then it shows private objects, too.
  bool IsConfirmed();
  unsigned Life() const { return m_life; }

  // The PIN of the login that the provider has open, for keys that require it before each use. Empty without such a
  // login.
  const pkcs11::Secret& Pin() const { return m_pin; }

  // Used: a private key was used just now. Lost: the module reported that nobody is logged in. Forget: no session is
  // left.
  void Used() { m_lastUse = m_clock(); }
  void Lost();
  void Forget();
  // Renew logs in again when the module has lost a login that the provider has open. Returns whether that worked.
  bool Renew();

  // EndIfIdle ends a kept login that has been unused for Settings::loginLife. IdleAt returns when that will be; no
  // value without a kept login.
  void EndIfIdle();
  std::optional<std::chrono::steady_clock::time_point> IdleAt() const;

 private:
  bool IsStillGood();
  CK_RV LogInUser(const CK_BYTE* pin, CK_ULONG length);
  CK_RV LogInReally(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length);
  bool IsSoftware();
  CK_RV CallLogin(CK_USER_TYPE user, const CK_BYTE* pin, CK_ULONG length);
  void LogOutReally();
  void Accept(const CK_BYTE* pin, CK_ULONG length);
  void Enter(const CK_BYTE* pin, CK_ULONG length);
  CK_RV WrongPin(CK_RV result);
  CK_FLAGS TokenFlags();
  CK_RV ChangeAcceptedPin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength);
  CK_RV ChangePin(const CK_BYTE* oldPin, CK_ULONG oldLength, const CK_BYTE* newPin, CK_ULONG newLength);

  Module& m_module;
  LowerSession& m_session;
  const Settings& m_settings;
  const Clock m_clock;
  Role m_role = Role::None;
  bool m_real = false;  // the user is logged in to the module
  unsigned m_life = 0;
  unsigned m_triesLeft = 0;
  std::optional<software::SaltedDigest> m_accepted;  // of the PIN of the real login
  pkcs11::Secret m_pin;
  std::chrono::steady_clock::time_point m_lastUse;
  std::chrono::steady_clock::time_point m_flagsRead;  // when the token last reported that its PIN is not locked
};

}  // namespace adapter
