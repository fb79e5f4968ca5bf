// CCSPSecretKeyFactory: makes session keys, gives them their ids, and keeps a record of each until it is destroyed.
// Safe to be used by several threads at once.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <ctime>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "log/Logs.h"
#include "objects/CCSPSecretKey.h"

class CCSPSecretKeyFactory {
 public:
  // The time in seconds, and a pause.
  struct Clock {
    std::function<std::time_t()> now;
    std::function<void(DWORD milliseconds)> sleep;
  };
  static Clock SystemClock();

  // Announces itself with two lines in the log, and keeps no hold on it.
  CCSPSecretKeyFactory() : CCSPSecretKeyFactory(g_secretKeyLog) {}
  explicit CCSPSecretKeyFactory(CCSPLog& log, Clock clock = SystemClock());
  CCSPSecretKeyFactory(const CCSPSecretKeyFactory&) = delete;
  CCSPSecretKeyFactory& operator=(const CCSPSecretKeyFactory&) = delete;
  virtual ~CCSPSecretKeyFactory();

  // A new key for an object of the token. The session is not owned: see SessionLink. Reseeds the process's generator.
  // CCSPContextError NTE_FAIL without a session, NTE_BAD_ALGID for an algorithm that is no session key's.
  //
  // Required: ids come from the clock's second, so that a second key within it waits for the next one. After three
  // seconds of waiting the key gets the next free id.
  boost::shared_ptr<CCSPSecretKey> CreateSecretKey(ALG_ID algorithm, Session* session, CK_OBJECT_HANDLE object);
  // Destroys the token object and forgets the key. An unknown id is nothing to do.
  void DestroySecretKey(DWORD keyID);

  // How many keys there are.
  std::size_t Count();

 private:
  bool IsTaken(DWORD id) const { return m_records.count(id) != 0; }
  DWORD Draw();
  // Both under the lock, which is given back for the pauses.
  DWORD AllocateID(std::unique_lock<std::mutex>& lock);
  DWORD NextFree(DWORD id) const;

  const Clock m_clock;
  std::mutex m_mutex;
  // By id. A record is a plain CCSPSecretKey, which knows the key as it was made.
  std::unordered_map<DWORD, boost::shared_ptr<CCSPSecretKey>> m_records;
};

// The PKCS#11 key type of an algorithm; NTE_BAD_ALGID, "Invalid Secret Key Algorithm ID", when it has none.
CK_KEY_TYPE KeyTypeFromAlgID(ALG_ID algorithm);

// Defined in entry/ProcessObjects.cpp.
extern CCSPSecretKeyFactory g_secretKeyFactory;
