// KeyProviderInfo: the CRYPT_KEY_PROV_INFO of the provider's certificates. The one object of the process holds the two
// names of the last one, because a certificate's property may point to them until the next one is set.
#pragma once

#include "common/Platform.h"

#include <mutex>
#include <string>

class KeyProviderInfo {
 public:
  // Points `certificate` to a container of a provider: its AT_KEYEXCHANGE key, even when the pair was made for
  // signatures. The names are widened byte by byte. False, with the last error, when the platform refuses. May be
  // called from several threads.
  bool SetOn(PCCERT_CONTEXT certificate, const std::string& containerName, const std::string& providerName);

 private:
  std::mutex m_mutex;
  std::wstring m_containerName;
  std::wstring m_providerName;
};

extern KeyProviderInfo g_keyProviderInfo;
