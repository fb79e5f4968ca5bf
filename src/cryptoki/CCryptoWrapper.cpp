#include "cryptoki/CCryptoWrapper.h"

#include <boost/make_shared.hpp>
#include <mutex>

#include "common/CCSPContextError.h"

namespace {

// Not in the record, so that a record can be copied, and so that nobody waits for it at the end of the process.
std::mutex g_mutex;

}  // namespace

boost::shared_ptr<TELVOCryptoki> CCryptoWrapper::GetCryptoki() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  CCryptoWrapper& record = g_cryptoWrapper;
  if (record.m_moduleName.empty()) throw CCSPContextError("PKCS#11 Module is not set", NTE_FAIL);
  if (!record.m_functions) record.m_functions = boost::make_shared<CryptokiFunctions>(record.m_moduleName);
  record.m_functions->Load();
  if (!record.m_cryptoki) record.m_cryptoki = boost::make_shared<TELVOCryptoki>(record.m_functions);
  record.m_cryptoki->Initialize();
  ++record.m_useCount;
  return record.m_cryptoki;
}

void CCryptoWrapper::Release() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  if (g_cryptoWrapper.m_useCount > 0) --g_cryptoWrapper.m_useCount;
}

DWORD CCryptoWrapper::GetUseCount() {
  const std::lock_guard<std::mutex> lock(g_mutex);
  return g_cryptoWrapper.m_useCount;
}
