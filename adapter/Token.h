// What the adapter keeps for one slot of the module: its session, its login, its objects, and what its token can do.
#pragma once

#include <vector>

#include "adapter/Login.h"
#include "adapter/LowerSession.h"
#include "adapter/TokenObjects.h"

namespace adapter {

class Token {
 public:
  Token(Module& module, const Settings& settings, const Clock& clock, ObjectTable& table, CK_SLOT_ID slot,
        CK_SLOT_ID lower)
      : m_module(module),
        m_session(module, lower),
        m_login(module, m_session, settings, clock),
        m_objects(slot, table, m_session, m_login, settings.defaultCertificate) {}

  // Open makes sure that there is a session, and that the token is the one with this serial number. Throws Failure.
  void Open(const std::string& serial);
  // Close is for the end of the provider's last session. It ends the login, too.
  void Close();
  // Gone is for a token that was pulled. Settle drops the login and objects after a call has found that out.
  void Gone();
  void Settle();

  LowerSession& Session() { return m_session; }
  Login& User() { return m_login; }
  TokenObjects& Objects() { return m_objects; }
  const std::string& Serial() const { return m_serial; }
  unsigned Presence() const { return m_session.Presence(); }

  // The mechanisms of the token. Empty when the module does not list them.
  const std::vector<CK_MECHANISM_TYPE>& Mechanisms();
  bool Has(CK_MECHANISM_TYPE mechanism);
  // True when the module lists mechanisms, but not this one.
  bool Lacks(CK_MECHANISM_TYPE mechanism) { return !Mechanisms().empty() && !Has(mechanism); }

  // Sign and Decrypt use a private key, in one call of the module, and return the result. The module's length of a
  // signature is not trusted. All failures are thrown; CKR_USER_NOT_LOGGED_IN if the provider is logged out.
  pkcs11::Secret Sign(Object& key, CK_MECHANISM mechanism, const pkcs11::Secret& data);
  pkcs11::Secret Decrypt(Object& key, CK_MECHANISM mechanism, const pkcs11::Secret& data);

 private:
  template <auto Init, auto Finish>
  pkcs11::Secret Use(Object& key, CK_MECHANISM mechanism, const pkcs11::Secret& data);
  template <auto Init, auto Finish>
  pkcs11::Secret UseOnce(Object& key, CK_MECHANISM mechanism, const pkcs11::Secret& data);
  template <auto Init>
  CK_RV BeginUse(Object& key, CK_MECHANISM& mechanism);
  void Authenticate(const Object& key);

  Module& m_module;
  LowerSession m_session;
  Login m_login;
  TokenObjects m_objects;
  std::vector<CK_MECHANISM_TYPE> m_mechanisms;
  bool m_knowsMechanisms = false;
  std::string m_serial;
  unsigned m_settled = 0;  // the presence to which the login and the objects belong
};

// The length of an RSA key's modulus in bytes.
std::size_t ModulusSize(const Values& key);

}  // namespace adapter
