#include "cryptoki/CCryptoWrapper.h"

#include <boost/make_shared.hpp>

#include "entry/CCSPContextError.h"

boost::shared_ptr<TELVOCryptoki> CCryptoWrapper::GetCryptoki() {
  CCryptoWrapper& record = g_cryptoWrapper;
  if (record.m_moduleName.empty()) throw CCSPContextError("PKCS#11 Module is not set", static_cast<DWORD>(NTE_FAIL));
  if (!record.m_functions) record.m_functions = boost::make_shared<CryptokiFunctions>(record.m_moduleName);
  record.m_functions->Load();
  if (!record.m_cryptoki) record.m_cryptoki = boost::make_shared<TELVOCryptoki>(record.m_functions);
  record.m_cryptoki->Initialize();
  ++record.m_useCount;
  return record.m_cryptoki;
}

void CCryptoWrapper::Release() {
  if (g_cryptoWrapper.m_useCount > 0) --g_cryptoWrapper.m_useCount;
}

DWORD CCryptoWrapper::GetUseCount() { return g_cryptoWrapper.m_useCount; }
