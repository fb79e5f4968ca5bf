// One slot and its card.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "CardFile.h"
#include "Files.h"
#include "Presence.h"
#include "Settings.h"
#include "SoftHsm.h"

namespace softtoken {

enum class Role { None, User, SecurityOfficer };

// Card knows whether the card is in, who is logged in to it, and where SoftHSM keeps its objects.
//
// The card's objects are visible before a login and keep their handles across a logout. SoftHSM shows private objects
// only to a logged-in session, so there is a hidden one while the card is in use. The card's own PIN decides here who
// may do what.
class Card {
 public:
  Card(const SlotSettings& settings, const std::string& stateFolder, std::unique_ptr<Presence> presence,
       const SoftHsm& hsm);

  // Prepare makes the card if it is new, and returns whether SoftHSM must be restarted to see it. Attach finds its
  // store. The caller of either must hold the lock of the state folder. Both throw std::exception or Failure.
  bool Prepare() const;
  void Attach();

  // Look finds out whether the card is in. It returns true when the card was pulled since the last look: then its
  // sessions in SoftHSM are closed, the hidden one included, and nobody is logged in.
  bool Look(Freshness freshness);
  bool IsIn() const { return m_insertion.has_value(); }

  // TakeEvent returns true once for each time that the card was inserted or pulled.
  bool TakeEvent();

  // OpenSession opens a session in SoftHSM, and the hidden one before it. Throws Failure.
  CK_SESSION_HANDLE OpenSession(CK_FLAGS flags);

  // LockStores keeps other processes out of all stores while it lives. SoftHSM itself does not: it shows objects that
  // are half written, and no store at all while a login rewrites the store's file.
  std::unique_ptr<FileLock> LockStores() const { return std::make_unique<FileLock>(m_stateLock); }

  const SlotSettings& Settings() const { return m_settings; }
  const CardFile& File() const { return m_file; }
  CK_SLOT_ID Store() const { return m_store; }

  Role LoggedIn() const { return m_role; }
  void SetLoggedIn(Role role) { m_role = role; }

 private:
  const SlotSettings& m_settings;
  const std::string m_stateLock;
  const CardFile m_file;
  const std::unique_ptr<Presence> m_presence;
  const SoftHsm& m_hsm;

  CK_SLOT_ID m_store = 0;
  std::optional<CK_SESSION_HANDLE> m_hidden;
  Insertion m_insertion;
  bool m_event = false;
  Role m_role = Role::None;
};

}  // namespace softtoken
