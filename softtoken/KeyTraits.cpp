#include "KeyTraits.h"

#include <algorithm>

#include "SoftHsm.h"

namespace softtoken {
namespace {

// Keys of closed sessions stay in the cache. It is emptied when it has more entries than this.
constexpr std::size_t kMostKnown = 1024;

std::size_t SizeWithoutLeadingZeros(const Secret& number) {
  return static_cast<std::size_t>(
      number.end() - std::find_if(number.begin(), number.end(), [](unsigned char byte) { return byte != 0; }));
}

std::optional<KeyTraits> Read(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  KeyTraits traits;
  CK_OBJECT_CLASS objectClass = 0;
  CK_BBOOL onToken = CK_FALSE, isPrivate = CK_FALSE;
  CK_ATTRIBUTE attributes[] = {
      {CKA_KEY_TYPE, &traits.type, sizeof traits.type},
      {CKA_CLASS, &objectClass, sizeof objectClass},
      {CKA_TOKEN, &onToken, sizeof onToken},
      {CKA_PRIVATE, &isPrivate, sizeof isPrivate},
  };
  if (functions.C_GetAttributeValue(session, key, attributes, std::size(attributes)) != CKR_OK) return std::nullopt;
  traits.needsLogin = onToken != CK_FALSE && (isPrivate != CK_FALSE || objectClass == CKO_PRIVATE_KEY);
  if (traits.type == CKK_RSA) {
    const std::optional<Secret> modulus = ReadBytes(functions, session, key, CKA_MODULUS);
    const std::optional<Secret> exponent = ReadBytes(functions, session, key, CKA_PUBLIC_EXPONENT);
    const bool usable = modulus && exponent && SizeWithoutLeadingZeros(*exponent) != 0;
    if (usable) traits.modulusSize = SizeWithoutLeadingZeros(*modulus);
  }
  return traits;
}

}  // namespace

std::optional<KeyTraits> KeyTraitsCache::Get(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session,
                                             CK_OBJECT_HANDLE key) {
  const auto known = m_known.find(key);
  if (known != m_known.end()) return known->second;
  const std::optional<KeyTraits> traits = Read(functions, session, key);
  if (!traits) return std::nullopt;
  if (m_known.size() >= kMostKnown) m_known.clear();
  m_known.emplace(key, *traits);
  return traits;
}

}  // namespace softtoken
