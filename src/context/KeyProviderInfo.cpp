#include "context/KeyProviderInfo.h"

#include "log/Logs.h"

namespace {

std::wstring Widened(const std::string& text) {
  std::wstring wide;
  for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
  return wide;
}

}  // namespace

bool KeyProviderInfo::SetOn(PCCERT_CONTEXT certificate, const std::string& containerName,
                            const std::string& providerName) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_containerName = Widened(containerName);
  m_providerName = Widened(providerName);
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = m_containerName.data();
  info.pwszProvName = m_providerName.data();
  info.dwProvType = PROV_RSA_FULL;
  info.dwKeySpec = AT_KEYEXCHANGE;
  g_contextLog.WriteLine("\nSet Certificate Context Property");
  return CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != FALSE;
}
