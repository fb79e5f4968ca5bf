// TokenInfo: the module's information about a token. Numbers are kept as they are, including CK_UNAVAILABLE_INFORMATION
// and CK_EFFECTIVELY_INFINITE.
#pragma once

#include <string>

#include "cryptoki/Version.h"

class TokenInfo {
 public:
  TokenInfo() = default;
  explicit TokenInfo(const CK_TOKEN_INFO& info);

  // Converted by DecodeText; the trailing spaces of the record's fields stay.
  const std::string& GetLabel() const { return m_label; }
  const std::string& GetManufacturer() const { return m_manufacturer; }
  const std::string& GetModel() const { return m_model; }
  // The 16 characters of the record in pairs with a space between them: "01 23 45 67 89 AB CD EF".
  const std::string& GetSerial() const { return m_serial; }
  CK_FLAGS GetFlags() const { return m_flags; }
  CK_ULONG GetMaxSessionCount() const { return m_maxSessionCount; }
  CK_ULONG GetSessionCount() const { return m_sessionCount; }
  CK_ULONG GetMaxRwSessionCount() const { return m_maxRwSessionCount; }
  CK_ULONG GetRwSessionCount() const { return m_rwSessionCount; }
  CK_ULONG GetMaxPinLen() const { return m_maxPinLen; }
  CK_ULONG GetMinPinLen() const { return m_minPinLen; }
  CK_ULONG GetTotalPublicMemory() const { return m_totalPublicMemory; }
  CK_ULONG GetFreePublicMemory() const { return m_freePublicMemory; }
  CK_ULONG GetTotalPrivateMemory() const { return m_totalPrivateMemory; }
  CK_ULONG GetFreePrivateMemory() const { return m_freePrivateMemory; }
  const Version& GetHardwareVersion() const { return m_hardwareVersion; }
  const Version& GetFirmwareVersion() const { return m_firmwareVersion; }
  // The 16 characters of the record.
  const std::string& GetUtcTime() const { return m_utcTime; }

 private:
  std::string m_label;
  std::string m_manufacturer;
  std::string m_model;
  std::string m_serial;
  CK_FLAGS m_flags = 0;
  CK_ULONG m_maxSessionCount = 0;
  CK_ULONG m_sessionCount = 0;
  CK_ULONG m_maxRwSessionCount = 0;
  CK_ULONG m_rwSessionCount = 0;
  CK_ULONG m_maxPinLen = 0;
  CK_ULONG m_minPinLen = 0;
  CK_ULONG m_totalPublicMemory = 0;
  CK_ULONG m_freePublicMemory = 0;
  CK_ULONG m_totalPrivateMemory = 0;
  CK_ULONG m_freePrivateMemory = 0;
  Version m_hardwareVersion;
  Version m_firmwareVersion;
  std::string m_utcTime;
};
