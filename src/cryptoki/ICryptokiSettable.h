// ICryptokiSettable: the base of everything that talks to the module. It holds the module and two handles, of
// which each derived class uses what it needs. Copies share the module.
#pragma once

#include <boost/shared_ptr.hpp>

#include "cryptoki/CryptokiInterface.h"

class ICryptokiSettable {
 public:
  // In interface order: append, never reorder. The destructor is not among them; a derived class that needs a
  // virtual one adds it behind these four.
  virtual boost::shared_ptr<CryptokiInterface> GetCryptoki() const;
  virtual CK_SESSION_HANDLE GetSessionHandle() const;
  virtual void SetSessionHandle(CK_SESSION_HANDLE handle);
  // A null pointer raises CryptokiError CKR_ARGUMENTS_BAD.
  virtual void SetCryptoki(boost::shared_ptr<CryptokiInterface> cryptoki);

 protected:
  ICryptokiSettable() = default;
  ICryptokiSettable(const ICryptokiSettable&) = default;
  ICryptokiSettable& operator=(const ICryptokiSettable&) = default;
  ~ICryptokiSettable() = default;

  // The module; CryptokiError with `codeWhenUnset` when there is none.
  CryptokiInterface& Module(CK_RV codeWhenUnset = CKR_ARGUMENTS_BAD) const;

  boost::shared_ptr<CryptokiInterface> m_cryptoki;
  CK_OBJECT_HANDLE m_objectHandle = 0;    // 0 = none
  CK_SESSION_HANDLE m_sessionHandle = 0;  // 0 = none
};
