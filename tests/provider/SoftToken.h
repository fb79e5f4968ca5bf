// SoftToken: one card of the software token, which the tests of the whole provider insert, pull, empty and fill.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/Cryptoki.h"
#include "cryptoki/Session.h"

class SoftToken {
 public:
  // The card of a slot, which is in while the file `presence` exists.
  SoftToken(Cryptoki& cryptoki, std::string reader, std::string presence);

  void Insert();
  void Remove();
  // Destroys all objects.
  void Clear();

  void AddCertificate(const std::string& id, const std::string& label = "label");
  // An RSA pair that the card generates.
  void AddKeyPair(const std::string& id, CK_ULONG bits = 1024);
  void AddPublicKey(const std::string& id);
  void AddContainer(const std::string& id) {
    AddCertificate(id);
    AddKeyPair(id);
  }

  std::size_t CountObjects();
  // Opens a session and logs in; the caller closes it. This logs in all sessions of the process.
  Session LogIn();

 private:
  Session Open();
  void Create(const std::list<Attribute>& attributes);

  Cryptoki& m_cryptoki;
  std::string m_reader;
  std::string m_presence;
};
