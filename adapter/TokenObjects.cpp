#include "adapter/TokenObjects.h"

#include <algorithm>

#include "adapter/Completion.h"
#include "adapter/ReadObject.h"

namespace adapter {

using pkcs11::Failure;
using pkcs11::Require;
using pkcs11::Secret;

namespace {

// The signs that two records are of one object, from the surest to the weakest.
enum : int { kSameHandle, kSameNames, kSamePrivateKey, kNothing };

bool HasSame(const Values& a, const Values& b, CK_ATTRIBUTE_TYPE type) { return a.Bytes(type) == b.Bytes(type); }

}  // namespace

void TokenObjects::Refresh() {
  std::vector<Listed> listed = List();
  m_seesAll = m_login.IsConfirmed();
  if (m_seesAll) {
    m_privateIds.emplace();
    for (const Listed& object : listed) {
      if (object.Class() == CKO_PRIVATE_KEY) m_privateIds->insert(object.Id());
    }
  } else {
    AddStandIns(listed);
  }
  Merge(std::move(listed));
}

std::vector<Listed> TokenObjects::List() {
  std::vector<Listed> listed;
  for (const CK_OBJECT_HANDLE handle : m_session.Find({})) {
    Values values = ReadObject(m_session, handle);
    const bool ofSession = values.Find(CKA_TOKEN) != nullptr && !values.Flag(CKA_TOKEN);
    if (values.Number(CKA_CLASS) && !ofSession) listed.push_back({handle, std::move(values)});
  }
  Complete(listed, m_defaultCertificate);
  listed.erase(std::remove_if(listed.begin(), listed.end(), [](const Listed& object) { return !IsUsable(object); }),
               listed.end());
  return listed;
}

// A private key that was seen in an earlier login is better than a stand-in for it.
void TokenObjects::AddStandIns(std::vector<Listed>& listed) const {
  std::set<Secret> served;
  for (const Listed& object : listed) {
    if (object.Class() == CKO_PRIVATE_KEY) served.insert(object.Id());
  }
  for (const auto& [handle, object] : m_table) {
    const bool known = object.slot == m_slot && object.IsOnToken() && object.IsPrivateKey() && object.lower;
    if (known) served.insert(object.values.Bytes(CKA_ID));
  }
  std::vector<Listed> standIns;
  for (const CK_OBJECT_CLASS objectClass : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
    for (const Listed& object : listed) {
      const bool candidate = object.Class() == objectClass && !object.Id().empty() &&
                             (!m_privateIds || m_privateIds->count(object.Id()) != 0);
      if (!candidate || served.count(object.Id()) != 0) continue;
      Listed standIn = {std::nullopt, StandIn(object)};
      if (!IsUsable(standIn)) continue;
      served.insert(object.Id());
      standIns.push_back(std::move(standIn));
    }
  }
  std::move(standIns.begin(), standIns.end(), std::back_inserter(listed));
}

void TokenObjects::Merge(std::vector<Listed> listed) {
  std::set<CK_OBJECT_HANDLE> taken;
  for (Listed& item : listed) {
    CK_OBJECT_HANDLE handle = FindSame(item, taken);
    if (handle == 0) handle = m_table.Insert({m_slot});
    taken.insert(handle);
    Object& object = *m_table.Find(handle);
    object.lower = item.lower;
    object.life = m_login.Life();
    object.values = std::move(item.values);
  }
  DropMissing(taken);
}

bool TokenObjects::IsSame(const Object& object, const Listed& item, int closeness) const {
  if (object.Class() != item.Class() || !HasSame(object.values, item.values, CKA_ID)) return false;
  const bool sameHandle = object.lower && object.lower == item.lower;
  const bool sameNames = HasSame(object.values, item.values, CKA_LABEL) &&
                         HasSame(object.values, item.values, CKA_VALUE) &&
                         HasSame(object.values, item.values, CKA_MODULUS);
  if (closeness == kSameHandle) return sameHandle && (sameNames || object.life == m_login.Life());
  if (closeness == kSameNames) return sameNames;
  return object.IsPrivateKey() && !item.Id().empty();
}

// Returns 0 if no object of the table is the listed one.
CK_OBJECT_HANDLE TokenObjects::FindSame(const Listed& item, const std::set<CK_OBJECT_HANDLE>& taken) {
  for (int closeness = kSameHandle; closeness != kNothing; ++closeness) {
    for (const auto& [handle, object] : m_table) {
      const bool free = object.slot == m_slot && object.IsOnToken() && taken.count(handle) == 0;
      if (free && IsSame(object, item, closeness)) return handle;
    }
  }
  return 0;
}

// Without a login the module does not show private objects. Those that it showed before stay.
void TokenObjects::DropMissing(const std::set<CK_OBJECT_HANDLE>& listed) {
  std::vector<CK_OBJECT_HANDLE> missing;
  for (const auto& [handle, object] : m_table) {
    const bool asleep = !m_seesAll && object.NeedsLogin() && object.lower;
    const bool mine = object.slot == m_slot && object.IsOnToken();
    if (mine && !asleep && listed.count(handle) == 0) missing.push_back(handle);
  }
  for (const CK_OBJECT_HANDLE handle : missing) m_table.Erase(handle);
}

CK_OBJECT_HANDLE TokenObjects::Lower(Object& object) {
  const bool bound = object.lower && (!object.NeedsLogin() || object.life == m_login.Life());
  if (!bound) {
    object.lower = Search(object);
    object.life = m_login.Life();
  }
  if (object.lower) return *object.lower;
  // The module may have lost the login. Then it hides objects that are there.
  Require(!object.NeedsLogin() || m_login.IsConfirmed(), CKR_USER_NOT_LOGGED_IN);
  throw Failure{object.IsPrivateKey() ? CKR_KEY_HANDLE_INVALID : CKR_OBJECT_HANDLE_INVALID};
}

// Finds the module's object with the class and identifier of ours; if there are several, the one with our label.
// Without an identifier, the label decides.
std::optional<CK_OBJECT_HANDLE> TokenObjects::Search(const Object& object) {
  CK_OBJECT_CLASS objectClass = object.Class();
  const CK_ATTRIBUTE_TYPE named = object.values.Bytes(CKA_ID).empty() ? CKA_LABEL : CKA_ID;
  Secret name = object.values.Bytes(named);
  const std::vector<CK_OBJECT_HANDLE> found = m_session.Find({
      {CKA_CLASS, &objectClass, sizeof objectClass},
      {named, name.data(), static_cast<CK_ULONG>(name.size())},
  });
  for (const CK_OBJECT_HANDLE handle : found) {
    const Values values = m_session.Read(handle, {CKA_LABEL});
    if (HasSame(values, object.values, CKA_LABEL)) return handle;
  }
  if (found.empty()) return std::nullopt;
  return found.front();
}

CK_OBJECT_HANDLE TokenObjects::Adopt(CK_OBJECT_HANDLE lower, const Values& made) {
  std::vector<Listed> one = {{lower, ReadObject(m_session, lower)}};
  for (const auto& [type, value] : made) one.front().values.AddBytes(type, value);
  Complete(one, m_defaultCertificate);
  Listed& item = one.front();
  if (item.Class() == CKO_PRIVATE_KEY && m_privateIds) m_privateIds->insert(item.Id());
  return m_table.Insert({m_slot, 0, lower, m_login.Life(), std::move(item.values)});
}

void TokenObjects::Reread(Object& object) {
  std::vector<Listed> one = {{object.lower, ReadObject(m_session, Lower(object))}};
  if (!one.front().values.Number(CKA_CLASS)) return;
  for (const auto& [type, value] : object.values) one.front().values.AddBytes(type, value);
  Complete(one, m_defaultCertificate);
  object.values = std::move(one.front().values);
}

void TokenObjects::Removed(CK_OBJECT_HANDLE handle) {
  const Object* const object = m_table.Find(handle);
  if (object != nullptr && object->IsPrivateKey() && m_privateIds) m_privateIds->erase(object->values.Bytes(CKA_ID));
  m_table.Erase(handle);
}

void TokenObjects::Forget() {
  m_table.EraseIf([this](const Object& object) { return object.slot == m_slot && object.IsOnToken(); });
}

}  // namespace adapter
