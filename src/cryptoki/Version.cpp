#include "cryptoki/Version.h"

namespace {

int Ordinal(const Version& version) { return version.GetMajor() * 256 + version.GetMinor(); }

}  // namespace

Version::Version(BYTE major, BYTE minor) : m_major(major), m_minor(minor) {}

Version::Version(const CK_VERSION& version) : m_major(version.major), m_minor(version.minor) {}

std::string Version::ToString() const { return std::to_string(m_major) + "." + std::to_string(m_minor); }

bool operator==(const Version& left, const Version& right) { return Ordinal(left) == Ordinal(right); }
bool operator!=(const Version& left, const Version& right) { return Ordinal(left) != Ordinal(right); }
bool operator<(const Version& left, const Version& right) { return Ordinal(left) < Ordinal(right); }
bool operator<=(const Version& left, const Version& right) { return Ordinal(left) <= Ordinal(right); }
bool operator>(const Version& left, const Version& right) { return Ordinal(left) > Ordinal(right); }
bool operator>=(const Version& left, const Version& right) { return Ordinal(left) >= Ordinal(right); }
