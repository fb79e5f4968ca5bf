// CCSPSecretKeyFactory: makes session keys, gives them their ids, and keeps a record of each until DestroySecretKey.
// Several threads may use it at once.
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

  // Writes two lines to the log, which is not used afterwards.
  CCSPSecretKeyFactory() : CCSPSecretKeyFactory(g_secretKeyLog) {}
  explicit CCSPSecretKeyFactory(CCSPLog& log, Clock clock = SystemClock());
  CCSPSecretKeyFactory(const CCSPSecretKeyFactory&) = delete;
  CCSPSecretKeyFactory& operator=(const CCSPSecretKeyFactory&) = delete;
  virtual ~CCSPSecretKeyFactory();

  // A new key for an object of the token. The session must have an owner: the key keeps a SessionLink. Seeds the
  // process's generator. Raises CCSPContextError NTE_FAIL without a session and NTE_BAD_ALGID for an algorithm without
  // session keys.
  //
  // Required: the id is made from the clock's second. A second key in the same second waits for the next second; after
  // three seconds it gets the next free id.
  boost::shared_ptr<CCSPSecretKey> CreateSecretKey(ALG_ID algorithm, Session* session, CK_OBJECT_HANDLE object);
  // Destroys the token object and forgets the key. With an unknown id it does nothing.
  void DestroySecretKey(DWORD keyID);

  // The number of keys.
  std::size_t Count();

 private:
  bool IsTaken(DWORD id) const { return m_records.count(id) != 0; }
  DWORD RandomID();
  // Both run under the lock, which AllocateID releases while it waits.
  DWORD AllocateID(std::unique_lock<std::mutex>& lock);
  DWORD NextFree(DWORD id) const;

  const Clock m_clock;
  std::mutex m_mutex;
  // By id. A record is a copy of the key when it was made, as a plain CCSPSecretKey.
  std::unordered_map<DWORD, boost::shared_ptr<CCSPSecretKey>> m_records;
};

// The PKCS#11 key type of an algorithm; NTE_BAD_ALGID, "Invalid Secret Key Algorithm ID", when it has none.
CK_KEY_TYPE KeyTypeFromAlgID(ALG_ID algorithm);

// Defined in entry/ProcessObjects.cpp.
extern CCSPSecretKeyFactory g_secretKeyFactory;
