#include "pin/PINCacheManager.h"

#include <algorithm>
#include <boost/make_shared.hpp>

#include "log/Logs.h"

std::list<PINCacheEntry>::iterator PINCacheManager::FindReader(const std::string& readerName) {
  return std::find_if(m_entries.begin(), m_entries.end(),
                      [&](const PINCacheEntry& entry) { return entry.readerName == readerName; });
}

boost::shared_ptr<CTELVOPINCache> PINCacheManager::GetPINCache(const std::string& readerName) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  g_pinCacheLog.WriteLine("PINCacheManager::GetPINCache - ENTER");
  g_pinCacheLog.Write("Reader Name: ", readerName.c_str(), true);
  g_pinCacheLog.WriteLine("PINCache search loop - entry");
  const auto entry = FindReader(readerName);
  if (entry == m_entries.end()) {
    g_pinCacheLog.WriteLine("PINCache search loop - exit");
    g_pinCacheLog.WriteLine("PINCacheManager::GetPINCache - EXIT");
    return {};
  }
  g_pinCacheLog.Write("Reader Name (cache): ", entry->readerName.c_str(), true);
  g_pinCacheLog.WriteLine("PINCacheManager::GetPINCache - EXIT");
  return entry->cache;
}

boost::shared_ptr<CTELVOPINCache> PINCacheManager::GetPINCache(const std::string& readerName,
                                                               const std::string& serialNumber) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  g_pinCacheLog.WriteLine("PINCacheManager::GetPINCache - ENTER");
  g_pinCacheLog.Write("Reader Name: ", readerName.c_str(), true);
  g_pinCacheLog.Write("Serial Number: ", serialNumber.c_str(), true);
  g_pinCacheLog.WriteLine("PINCache search loop - entry");
  const auto found = FindReader(readerName);
  if (found != m_entries.end()) {
    g_pinCacheLog.Write("Reader Name (cache): ", found->readerName.c_str(), true);
    if (found->serialNumber == serialNumber) {
      g_pinCacheLog.Write("Serial number (cache): ", found->serialNumber.c_str(), true);
      // Required: no exit line is logged when a cache was found.
      return found->cache;
    }
    g_pinCacheLog.WriteLine("Reader found, but serial associated is different. Clearing cache.");
    m_entries.erase(found);
  }
  g_pinCacheLog.WriteLine("PINCache search loop - exit");
  const PINCacheEntry fresh{readerName, serialNumber, boost::make_shared<CTELVOPINCache>()};
  g_pinCacheLog.Write("cache reader name: ", fresh.readerName.c_str(), true);
  g_pinCacheLog.Write("cache serial number: ", fresh.serialNumber.c_str(), true);
  m_entries.push_back(fresh);
  g_pinCacheLog.WriteLine("PINCacheManager::GetPINCache - EXIT");
  return fresh.cache;
}
