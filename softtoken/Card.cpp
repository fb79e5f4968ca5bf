#include "Card.h"

#include <stdexcept>
#include <utility>

#include "SharedNames.h"

namespace softtoken {

Card::Card(const SlotSettings& settings, const std::string& stateFolder, std::unique_ptr<Presence> presence,
           const SoftHsm& hsm)
    : m_settings(settings),
      m_stateLock(stateFolder + "/lock"),
      m_file(stateFolder, settings.serial, settings.tries),
      m_presence(std::move(presence)),
      m_hsm(hsm),
      m_insertion(m_presence->Look(Freshness::Now)) {}

bool Card::Prepare() const {
  if (!m_file.Exists()) m_file.Make(m_settings.pin, m_settings.soPin);
  const std::string name = m_file.StoreName();
  if (m_hsm.FindStore(name)) return false;
  m_hsm.MakeStore(name, m_file.StoreKey());
  return true;
}

void Card::Attach() {
  const std::optional<CK_SLOT_ID> store = m_hsm.FindStore(m_file.StoreName());
  if (!store) throw std::runtime_error("SoftHSM does not show the store of card " + m_settings.serial);
  m_store = *store;
}

bool Card::Look(Freshness freshness) {
  const Insertion now = m_presence->Look(freshness);
  if (now == m_insertion) return false;
  const bool pulled = m_insertion.has_value();
  m_insertion = now;
  m_event = true;
  if (!pulled) return false;
  m_hsm.Functions().C_CloseAllSessions(m_store);
  m_hidden.reset();
  m_role = Role::None;
  return true;
}

bool Card::TakeEvent() { return std::exchange(m_event, false); }

CK_SESSION_HANDLE Card::OpenSession(CK_FLAGS flags) {
  if (!m_hidden) {
    const auto lock = LockStores();
    m_hidden = m_hsm.OpenStore(m_store, m_file.StoreKey());
  }
  CK_SESSION_HANDLE session = 0;
  const CK_RV result = m_hsm.Functions().C_OpenSession(m_store, flags, nullptr, nullptr, &session);
  Check(result);
  return session;
}

}  // namespace softtoken
