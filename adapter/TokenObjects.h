// The objects of one token: those that the module lists, and stand-ins for private keys that it does not show yet.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "adapter/Login.h"
#include "adapter/LowerSession.h"
#include "adapter/Object.h"

namespace adapter {

// TokenObjects keeps the objects of one slot in the table of all objects. A handle of the provider stays with its
// object while the module's handles change: it is bound again by class, identifier and label.
//
// Before a login, each public key and each certificate of an RSA key that has an identifier gets a stand-in for its
// private key. A login shows which identifiers really have one; that is remembered for as long as the process knows the
// token. A stand-in without a key is dropped by the first Refresh after that login.
class TokenObjects {
 public:
  TokenObjects(CK_SLOT_ID slot, ObjectTable& table, LowerSession& session, Login& login, std::string defaultCertificate)
      : m_slot(slot),
        m_table(table),
        m_session(session),
        m_login(login),
        m_defaultCertificate(std::move(defaultCertificate)) {}

  // Refresh lists the module's objects again. Throws Failure.
  void Refresh();

  // Lower returns the module's handle of an object of the token. Throws Failure: CKR_USER_NOT_LOGGED_IN when the module
  // has lost the login that the object needs, else CKR_KEY_HANDLE_INVALID for a private key that the token does not
  // have, and CKR_OBJECT_HANDLE_INVALID for another object.
  CK_OBJECT_HANDLE Lower(Object& object);

  // Adopt adds the object that the module has just made, and returns the provider's handle. Values that the module does
  // not show are taken from `made`. Reread reads the values of an object again.
  CK_OBJECT_HANDLE Adopt(CK_OBJECT_HANDLE lower, const Values& made);
  void Reread(Object& object);
  // Removed takes an object that the module has destroyed out of the table.
  void Removed(CK_OBJECT_HANDLE handle);

  // Forget drops all objects. ForgetPrivateKeys is for a different token: it drops what is remembered of private keys.
  void Forget();
  void ForgetPrivateKeys() { m_privateIds.reset(); }

 private:
  std::vector<Listed> List();
  void AddStandIns(std::vector<Listed>& listed) const;
  void Merge(std::vector<Listed> listed);
  CK_OBJECT_HANDLE FindSame(const Listed& item, const std::set<CK_OBJECT_HANDLE>& taken);
  bool IsSame(const Object& object, const Listed& item, int closeness) const;
  void DropMissing(const std::set<CK_OBJECT_HANDLE>& listed);
  std::optional<CK_OBJECT_HANDLE> Search(const Object& object);

  const CK_SLOT_ID m_slot;
  ObjectTable& m_table;
  LowerSession& m_session;
  Login& m_login;
  const std::string m_defaultCertificate;
  bool m_seesAll = false;                                // the last list has all private objects
  std::optional<std::set<pkcs11::Secret>> m_privateIds;  // known since a login
};

}  // namespace adapter
