// PINCacheManager: the list of the process's PIN caches, one for each reader and card. One instance serves the process.
//
// A reader has at most one entry: a card with another serial number replaces the entry of the previous card. An entry
// stays when its PIN is cleared, until the end of the process. Operations may be called from several threads.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <list>
#include <mutex>
#include <string>

#include "pin/CTELVOPINCache.h"

struct PINCacheEntry {
  std::string readerName;
  std::string serialNumber;
  boost::shared_ptr<CTELVOPINCache> cache;
};

class PINCacheManager {
 public:
  PINCacheManager() = default;
  virtual ~PINCacheManager() = default;
  PINCacheManager(const PINCacheManager&) = delete;
  PINCacheManager& operator=(const PINCacheManager&) = delete;

  // The cache of a reader, whatever its card; empty when there is none. Names are compared exactly.
  boost::shared_ptr<CTELVOPINCache> GetPINCache(const std::string& readerName);
  // The cache of a card in a reader, created when there is none; never empty.
  boost::shared_ptr<CTELVOPINCache> GetPINCache(const std::string& readerName, const std::string& serialNumber);

 private:
  std::list<PINCacheEntry>::iterator FindReader(const std::string& readerName);

  std::list<PINCacheEntry> m_entries;  // in order of creation
  std::mutex m_mutex;                  // guards m_entries
};

// Defined in entry/ProcessObjects.cpp.
extern PINCacheManager g_pinCacheManager;
