// ICryptokiSettable: the base of everything that calls the module. It holds the module and two handles; a derived class
// uses those that it needs. Copies share the module. A session's handle is only a number: Session.h says who owns the
// session.
#pragma once

#include <boost/shared_ptr.hpp>

#include "cryptoki/CryptokiInterface.h"

class ICryptokiSettable {
 public:
  // In interface order: append, never reorder. There is no virtual destructor; a derived class that needs one adds it
  // after these four.
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

  // The module. Without one it raises CryptokiError with `codeWhenUnset`.
  CryptokiInterface& Module(CK_RV codeWhenUnset = CKR_ARGUMENTS_BAD) const;

  boost::shared_ptr<CryptokiInterface> m_cryptoki;
  CK_OBJECT_HANDLE m_objectHandle = 0;    // 0 = none
  CK_SESSION_HANDLE m_sessionHandle = 0;  // 0 = none
};
