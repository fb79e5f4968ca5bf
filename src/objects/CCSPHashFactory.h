// CCSPHashFactory: makes hashes, gives them their ids, and keeps each until DestroyHash or the factory's end. Several
// threads may use it at once.
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

  // A new hash, with an id that no other hash of this factory has. The session must have an owner: the hash keeps a
  // SessionLink. Seeds the process's generator. Raises CCSPContextError NTE_FAIL without a session, before it seeds,
  // and NTE_BAD_ALGID for an algorithm that is not a hash.
  boost::shared_ptr<CCSPHash> CreateHash(ALG_ID algorithm, Session* session);
  // Required: the result is `source` itself. A new hash of its algorithm is also made; this factory keeps it, and it is
  // never used.
  boost::shared_ptr<CCSPHash> DuplicateHash(boost::shared_ptr<CCSPHash> source);
  // Forgets the hash. It exists as long as others hold it.
  void DestroyHash(const boost::shared_ptr<CCSPHash>& hash);

  // The number of hashes.
  std::size_t Count();

 private:
  struct Entry {
    boost::shared_ptr<CCSPHash> hash;
    DWORD id;
  };
  DWORD AllocateID();

  std::mutex m_mutex;
  std::unordered_map<const CCSPHash*, Entry> m_hashes;
  std::unordered_set<DWORD> m_ids;
  DWORD m_smallestFree = 0;  // no id below it is free
};

// Defined in entry/ProcessObjects.cpp.
extern CCSPHashFactory g_hashFactory;
