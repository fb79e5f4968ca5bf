// Version: the value form of a CK_VERSION.
#pragma once

#include "common/Platform.h"

#include <string>

#include "cryptoki/Pkcs11.h"

class Version {
 public:
  Version() = default;
  Version(BYTE major, BYTE minor);
  explicit Version(const CK_VERSION& version);

  BYTE GetMajor() const { return m_major; }
  BYTE GetMinor() const { return m_minor; }
  // "major.minor", both in decimal.
  std::string ToString() const;

 private:
  BYTE m_major = 0;
  BYTE m_minor = 0;
};

// Major first, then minor.
bool operator==(const Version& left, const Version& right);
bool operator!=(const Version& left, const Version& right);
bool operator<(const Version& left, const Version& right);
bool operator<=(const Version& left, const Version& right);
bool operator>(const Version& left, const Version& right);
bool operator>=(const Version& left, const Version& right);
