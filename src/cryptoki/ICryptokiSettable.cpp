#include "cryptoki/ICryptokiSettable.h"

#include <utility>

#include "cryptoki/CryptokiError.h"

boost::shared_ptr<CryptokiInterface> ICryptokiSettable::GetCryptoki() const { return m_cryptoki; }

CK_SESSION_HANDLE ICryptokiSettable::GetSessionHandle() const { return m_sessionHandle; }

void ICryptokiSettable::SetSessionHandle(CK_SESSION_HANDLE handle) { m_sessionHandle = handle; }

void ICryptokiSettable::SetCryptoki(boost::shared_ptr<CryptokiInterface> cryptoki) {
  if (!cryptoki) throw CryptokiError(CKR_ARGUMENTS_BAD);
  m_cryptoki = std::move(cryptoki);
}

CryptokiInterface& ICryptokiSettable::Module(CK_RV codeWhenUnset) const {
  if (!m_cryptoki) throw CryptokiError(codeWhenUnset);
  return *m_cryptoki;
}
