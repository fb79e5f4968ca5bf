// CCSPHashFactory: makes hashes, gives them their ids, and owns them until they are destroyed or it dies. Safe to be
// used by several threads at once.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

#include "objects/CCSPHash.h"

class CCSPHashFactory {
 public:
  CCSPHashFactory() = default;
  CCSPHashFactory(const CCSPHashFactory&) = delete;
  CCSPHashFactory& operator=(const CCSPHashFactory&) = delete;
  virtual ~CCSPHashFactory();

  // A new hash, with an id that no other hash of this factory has. The session is not owned: see SessionLink. Reseeds
  // the process's generator. CCSPContextError NTE_FAIL without a session, before the generator is reseeded;
  // NTE_BAD_ALGID for an algorithm that does not hash.
  boost::shared_ptr<CCSPHash> CreateHash(ALG_ID algorithm, Session* session);
  // Required: the result is `source` itself. A new hash of its algorithm is made beside it, which nobody gets and this
  // factory keeps.
  boost::shared_ptr<CCSPHash> DuplicateHash(boost::shared_ptr<CCSPHash> source);
  // Forgets the hash, which lives on while others hold it.
  void DestroyHash(const boost::shared_ptr<CCSPHash>& hash);

  // How many hashes there are.
  std::size_t Count();

 private:
  struct Entry {
    boost::shared_ptr<CCSPHash> hash;
    DWORD id;
  };
  DWORD DrawID();

  std::mutex m_mutex;
  std::unordered_map<const CCSPHash*, Entry> m_hashes;
  std::unordered_set<DWORD> m_ids;
  DWORD m_smallestFree = 0;  // no id below is free
};

// Defined in entry/ProcessObjects.cpp.
extern CCSPHashFactory g_hashFactory;
