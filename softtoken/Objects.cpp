// The entries of SoftToken about objects.
#include <algorithm>
#include <array>
#include <iterator>
#include <tuple>

#include "SharedNames.h"
#include "SoftToken.h"

namespace softtoken {
namespace {

// The order of objects in a search. SoftHSM's own order is that of addresses in memory, so that the first certificate
// would differ from process to process.
struct Rank {
  CK_BBOOL inSession = CK_TRUE;
  CK_OBJECT_CLASS objectClass = 0;
  std::array<char, 128> label = {}, id = {};
  CK_OBJECT_HANDLE handle = 0;

  bool operator<(const Rank& other) const {
    return std::tie(inSession, objectClass, label, id, handle) <
           std::tie(other.inSession, other.objectClass, other.label, other.id, other.handle);
  }
};

Rank RankOf(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  Rank rank;
  rank.handle = object;
  CK_BBOOL onToken = CK_FALSE;
  // Stays empty when the object does not have the attribute or its value is too long.
  CK_ATTRIBUTE attributes[] = {
      {CKA_TOKEN, &onToken, sizeof onToken},
      {CKA_CLASS, &rank.objectClass, sizeof rank.objectClass},
      {CKA_LABEL, rank.label.data(), rank.label.size()},
      {CKA_ID, rank.id.data(), rank.id.size()},
  };
  functions.C_GetAttributeValue(session, object, attributes, std::size(attributes));
  rank.inSession = onToken == CK_FALSE ? CK_TRUE : CK_FALSE;
  return rank;
}

void Sort(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, std::vector<CK_OBJECT_HANDLE>& objects) {
  if (objects.size() < 2) return;
  std::vector<Rank> ranks;
  ranks.reserve(objects.size());
  for (const CK_OBJECT_HANDLE object : objects) ranks.push_back(RankOf(functions, session, object));
  std::sort(ranks.begin(), ranks.end());
  std::transform(ranks.begin(), ranks.end(), objects.begin(), [](const Rank& rank) { return rank.handle; });
}

}  // namespace

VirtualAttributes SoftToken::Virtual(const Session& session) const {
  return {Functions(), session.lower, session.card.Settings().defaultCertificate};
}

// Session objects exist only in the memory of this process.
std::unique_ptr<FileLock> SoftToken::LockToChange(const Session& session, bool onToken) {
  if (!onToken) return nullptr;
  return session.card.LockStores();
}

void SoftToken::RequireLoginToMake(const Session& session, const CK_ATTRIBUTE* attributes, CK_ULONG count) const {
  CheckTemplate(attributes, count);
  Require(IsUser(session) || !AsksFor(attributes, count, CKA_TOKEN), CKR_USER_NOT_LOGGED_IN);
}

// When an attribute cannot be read, SoftHSM is left to refuse the call, here and below.
void SoftToken::RequireLoginToChange(const Session& session, CK_OBJECT_HANDLE object) const {
  if (IsUser(session)) return;
  const bool onToken = ReadFlag(Functions(), session.lower, object, CKA_TOKEN).value_or(false);
  Require(!onToken, CKR_USER_NOT_LOGGED_IN);
}

std::optional<KeyTraits> SoftToken::RequireLoginToUse(const Session& session, CK_OBJECT_HANDLE key) {
  const std::optional<KeyTraits> traits = m_keys.Get(Functions(), session.lower, key);
  Require(IsUser(session) || !traits || !traits->needsLogin, CKR_USER_NOT_LOGGED_IN);
  return traits;
}

CK_RV SoftToken::C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                                CK_OBJECT_HANDLE_PTR object) {
  const Session& entered = Enter(session);
  RequireLoginToMake(entered, attributes, count);
  const CK_OBJECT_CLASS objectClass = NumberIn(attributes, count, CKA_CLASS, CKO_VENDOR_DEFINED);
  auto taken = TemplateFor(Making::Created, objectClass, attributes, count);
  const auto lock = LockToChange(entered, AsksFor(attributes, count, CKA_TOKEN));
  return Functions().C_CreateObject(entered.lower, taken.data(), taken.size(), object);
}

CK_RV SoftToken::C_CopyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                              CK_ULONG count, CK_OBJECT_HANDLE_PTR newObject) {
  const Session& entered = Enter(session);
  RequireLoginToMake(entered, attributes, count);
  // A session copy of a card's key could be used without a login.
  RequireLoginToChange(entered, object);
  const auto lock = LockToChange(entered, IsUser(entered));
  return Functions().C_CopyObject(entered.lower, object, attributes, count, newObject);
}

CK_RV SoftToken::C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  const Session& entered = Enter(session);
  RequireLoginToChange(entered, object);
  m_keys.Forget(object);
  const auto lock = LockToChange(entered, IsUser(entered));
  return Functions().C_DestroyObject(entered.lower, object);
}

CK_RV SoftToken::C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                     CK_ULONG count) {
  const Session& entered = Enter(session);
  Require(attributes != nullptr, CKR_ARGUMENTS_BAD);
  if (MayBeVirtual(attributes, count)) return Virtual(entered).Get(object, attributes, count);
  return Functions().C_GetAttributeValue(entered.lower, object, attributes, count);
}

CK_RV SoftToken::C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                     CK_ULONG count) {
  const Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  RequireLoginToChange(entered, object);
  if (MayBeVirtual(attributes, count)) {
    const auto objectClass = ReadNumber(Functions(), entered.lower, object, CKA_CLASS);
    Require(objectClass.has_value(), CKR_OBJECT_HANDLE_INVALID);
    const bool touched = std::any_of(attributes, attributes + count, [&](const CK_ATTRIBUTE& attribute) {
      return VirtualAttributes::IsOn(*objectClass, attribute.type);
    });
    Require(!touched, CKR_ATTRIBUTE_READ_ONLY);
  }
  const auto lock = LockToChange(entered, IsUser(entered));
  return Functions().C_SetAttributeValue(entered.lower, object, attributes, count);
}

std::vector<CK_OBJECT_HANDLE> SoftToken::FindInSoftHsm(const Session& session,
                                                       std::vector<CK_ATTRIBUTE>& wanted) const {
  const auto lock = session.card.LockStores();
  std::vector<CK_OBJECT_HANDLE> found;
  Check(Functions().C_FindObjectsInit(session.lower, wanted.data(), wanted.size()));
  std::array<CK_OBJECT_HANDLE, 64> piece = {};
  CK_ULONG got = 0;
  CK_RV result = CKR_OK;
  do {
    result = Functions().C_FindObjects(session.lower, piece.data(), piece.size(), &got);
    if (result == CKR_OK) found.insert(found.end(), piece.begin(), piece.begin() + got);
  } while (result == CKR_OK && got == piece.size());
  Functions().C_FindObjectsFinal(session.lower);
  Check(result);
  return found;
}

std::vector<CK_OBJECT_HANDLE> SoftToken::FindAll(const Session& session, std::vector<CK_ATTRIBUTE> wanted) const {
  // SoftHSM does not have all attributes; the missing ones are compared afterwards.
  const auto ours = std::stable_partition(wanted.begin(), wanted.end(),
                                          [](const CK_ATTRIBUTE& attribute) { return !MayBeVirtual(attribute.type); });
  const std::vector<CK_ATTRIBUTE> virtuals(ours, wanted.end());
  wanted.erase(ours, wanted.end());

  std::vector<CK_OBJECT_HANDLE> found = FindInSoftHsm(session, wanted);
  if (!virtuals.empty()) {
    const VirtualAttributes answers = Virtual(session);
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](CK_OBJECT_HANDLE object) { return !answers.Matches(object, virtuals); }),
                found.end());
  }
  Sort(Functions(), session.lower, found);
  return found;
}

CK_RV SoftToken::C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count) {
  Session& entered = Enter(session);
  CheckTemplate(attributes, count);
  Require(!entered.search, CKR_OPERATION_ACTIVE);
  entered.search = pkcs11::Search{FindAll(entered, {attributes, attributes + count})};
  return CKR_OK;
}

CK_RV SoftToken::C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                               CK_ULONG_PTR count) {
  pkcs11::HandOut(Enter(session).search, objects, maxCount, count);
  return CKR_OK;
}

CK_RV SoftToken::C_FindObjectsFinal(CK_SESSION_HANDLE session) {
  Session& entered = Enter(session);
  Require(entered.search.has_value(), CKR_OPERATION_NOT_INITIALIZED);
  entered.search.reset();
  return CKR_OK;
}

}  // namespace softtoken
