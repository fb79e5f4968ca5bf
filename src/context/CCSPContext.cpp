#include "context/CCSPContext.h"

#include <algorithm>
#include <iterator>

#include "common/CCSPContextError.h"
#include "common/LoadText.h"
#include "context/CheckAcquireFlags.h"
#include "context/ContainerName.h"
#include "objects/CCSPHash.h"
#include "objects/CCSPSecretKey.h"
#include "resources/DialogIds.h"

namespace {

[[noreturn]] void ThrowNoHash() { throw CCSPContextError("Hash not found in this context", NTE_BAD_HASH); }

[[noreturn]] void ThrowNoKey() { throw CCSPContextError("Symmetric Key not found in this context", NTE_NO_KEY); }

template <typename Item>
typename std::list<Item>::const_iterator SamePlace(const std::list<Item>& from,
                                                   typename std::list<Item>::const_iterator place,
                                                   const std::list<Item>& to) {
  return std::next(to.begin(), std::distance(from.begin(), place));
}

auto HasKeyID(DWORD id) {
  return [id](const boost::shared_ptr<CCSPSecretKey>& key) { return key->GetKeyID() == id; };
}

// Removes only the first match.
template <typename List, typename Predicate>
void EraseFirst(List& list, Predicate predicate) {
  const auto found = std::find_if(list.begin(), list.end(), predicate);
  if (found != list.end()) list.erase(found);
}

}  // namespace

CCSPContext::CCSPContext(HINSTANCE resourceHandle)
    : m_algorithms(AllAlgorithms()), m_resourceHandle(resourceHandle), m_providerName(LoadText(IDS_PROVIDER_NAME)) {
  m_algEnumIterator = m_algorithms.end();
  m_algExEnumIterator = m_algorithms.end();
  m_certEnumIterator = m_certificates.end();
}

CCSPContext::CCSPContext(const char* name, DWORD flags) : CCSPContext(nullptr) { TakeName(name, flags); }

CCSPContext::CCSPContext(const CCSPContext& other)
    : m_algorithms(other.m_algorithms),
      m_certificates(other.m_certificates),
      m_flags(other.m_flags),
      m_containerName(other.m_containerName),
      m_readerName(other.m_readerName),
      m_tokenName(other.m_tokenName),
      m_handle(other.m_handle),
      m_resourceHandle(other.m_resourceHandle),
      m_providerName(other.m_providerName),
      m_hashes(other.m_hashes),
      m_secretKeys(other.m_secretKeys),
      m_pinCache(other.m_pinCache),
      m_importedKeys(other.m_importedKeys) {
  m_algEnumIterator = SamePlace(other.m_algorithms, other.m_algEnumIterator, m_algorithms);
  m_algExEnumIterator = SamePlace(other.m_algorithms, other.m_algExEnumIterator, m_algorithms);
  m_certEnumIterator = m_certificates.end();
  for (auto place = m_hashes.begin(); place != m_hashes.end(); ++place) {
    m_hashPlaces.emplace((*place)->GetHashID(), place);
  }
}

CCSPContext::~CCSPContext() = default;

void CCSPContext::TakeName(const char* name, DWORD flags) {
  CheckAcquireFlags(name, flags);
  ParseContainerName(name, m_readerName, m_containerName);
  m_flags = flags;
}

DWORD CCSPContext::GetHandle() const { return m_handle; }
void CCSPContext::SetHandle(DWORD handle) { m_handle = handle; }
std::string CCSPContext::GetReaderName() const { return m_readerName; }
std::string CCSPContext::GetContainerName() const { return m_containerName; }
std::string CCSPContext::GetTokenName() const { return m_tokenName; }
DWORD CCSPContext::GetFlags() const { return m_flags; }
std::string CCSPContext::GetProviderName() const { return m_providerName; }

void CCSPContext::AddHash(const boost::shared_ptr<CCSPHash>& hash) {
  std::list<boost::shared_ptr<CCSPHash>> added(1, hash);
  m_hashPlaces.emplace(hash->GetHashID(), added.begin());
  m_hashes.splice(m_hashes.end(), added);
}

CCSPContext::HashPlaces::iterator CCSPContext::FirstPlace(DWORD handle) {
  const auto first = m_hashPlaces.lower_bound(handle);
  return first != m_hashPlaces.end() && first->first == handle ? first : m_hashPlaces.end();
}

void CCSPContext::RemoveHash(DWORD handle) {
  if (m_hashes.empty()) ThrowNoHash();
  const auto first = FirstPlace(handle);
  if (first == m_hashPlaces.end()) return;
  m_hashes.erase(first->second);
  m_hashPlaces.erase(first);
}

void CCSPContext::RemoveHash(const boost::shared_ptr<CCSPHash>& hash) { CCSPContext::RemoveHash(hash->GetHashID()); }

boost::shared_ptr<CCSPHash> CCSPContext::GetHash(DWORD handle) {
  const auto first = FirstPlace(handle);
  if (first == m_hashPlaces.end()) ThrowNoHash();
  return *first->second;
}

void CCSPContext::AddSecretKey(const boost::shared_ptr<CCSPSecretKey>& key) { m_secretKeys.push_back(key); }

void CCSPContext::RemoveSecretKey(DWORD handle) {
  EraseFirst(m_secretKeys, HasKeyID(handle));
  m_importedKeys.RemoveKey(handle);
}

void CCSPContext::RemoveSecretKey(const CCSPSecretKey* key) {
  if (key == nullptr) return;
  if (m_secretKeys.empty()) ThrowNoKey();
  EraseFirst(m_secretKeys, HasKeyID(key->GetKeyID()));
}

boost::shared_ptr<CCSPSecretKey> CCSPContext::GetSecretKey(DWORD handle) {
  const auto found = std::find_if(m_secretKeys.begin(), m_secretKeys.end(), HasKeyID(handle));
  if (found == m_secretKeys.end()) ThrowNoKey();
  return *found;
}
