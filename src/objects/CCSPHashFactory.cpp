#include "objects/CCSPHashFactory.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstdlib>

#include "common/CCSPContextError.h"
#include "common/RandomUnused.h"
#include "objects/SHA1MD5Hash.h"
#include "objects/TELVOCSPHash.h"

namespace {

const HashAlgorithm& FindHash(ALG_ID id) {
  const HashAlgorithm* const found = FindHashAlgorithm(id);
  if (found == nullptr) throw CCSPContextError("Invalid Hash Algorithm ID", NTE_BAD_ALGID);
  return *found;
}

// Seeds the generator with its next number, modulo the session's address.
void Reseed(const Session* session) {
  const auto number = static_cast<std::uint64_t>(std::int64_t{std::rand()});  // NOLINT(cert-msc30-c,cert-msc50-cpp)
  std::srand(static_cast<unsigned>(number % reinterpret_cast<std::uintptr_t>(session)));
}

boost::shared_ptr<CCSPHash> MakeHash(const HashSetup& setup) {
  if (setup.algorithm->id == CALG_SSL3_SHAMD5) return boost::make_shared<SHA1MD5Hash>(setup);
  return boost::make_shared<TELVOCSPHash>(setup);
}

}  // namespace

CCSPHashFactory::~CCSPHashFactory() = default;

DWORD CCSPHashFactory::AllocateID() {
  constexpr DWORD kIDModulus = 0xFFFFFF;
  return RandomUnused(
      kIDModulus, m_ids.size(), [this](DWORD id) { return m_ids.count(id) != 0; }, m_smallestFree);
}

boost::shared_ptr<CCSPHash> CCSPHashFactory::CreateHash(ALG_ID algorithm, Session* session) {
  if (session == nullptr) throw CCSPContextError("Session should be defined in creating a hash", NTE_FAIL);
  const std::lock_guard<std::mutex> lock(m_mutex);
  Reseed(session);
  const Algorithm* const found = FindAlgorithm(algorithm);
  if (found == nullptr) throw CCSPContextError("Algorithm not found", NTE_BAD_ALGID);
  const HashAlgorithm& hashAlgorithm = FindHash(algorithm);
  const DWORD id = AllocateID();
  auto hash = MakeHash({found, &hashAlgorithm, session, id});
  m_hashes.emplace(hash.get(), Entry{hash, id});
  m_ids.insert(id);
  if (id == m_smallestFree) ++m_smallestFree;
  return hash;
}

boost::shared_ptr<CCSPHash> CCSPHashFactory::DuplicateHash(boost::shared_ptr<CCSPHash> source) {
  CreateHash(source->GetAlgID(), source->GetSession().get());
  return source;
}

void CCSPHashFactory::DestroyHash(const boost::shared_ptr<CCSPHash>& hash) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_hashes.find(hash.get());
  if (found == m_hashes.end()) return;
  m_ids.erase(found->second.id);
  m_smallestFree = std::min(m_smallestFree, found->second.id);
  m_hashes.erase(found);
}

std::size_t CCSPHashFactory::Count() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_hashes.size();
}
