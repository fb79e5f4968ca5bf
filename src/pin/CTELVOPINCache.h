// CTELVOPINCache: one PIN, kept in memory after a successful login, so that a later context on the same token logs in
// silently. The PIN is masked against a casual look at memory; that is not encryption. Its memory is kept out of the
// page file and wiped before it is freed.
//
// No time ends a PIN. It ends when its card is pulled (UnplugThread), when the card refuses it (ContextLogin), when
// another card logs in at its reader (PINCacheManager), when another PIN replaces it, and with the process or the
// library.
//
// No operation reports a failure other than by a log line and an unchanged state. Each takes the object's lock; Lock
// makes several of them one step.
#pragma once

#include "common/Platform.h"

#include <array>
#include <boost/shared_array.hpp>
#include <mutex>

class CTELVOPINCache {
 public:
  // Makes the key of random bytes, which reseeds the random generator of the whole process (rand).
  CTELVOPINCache();
  CTELVOPINCache(const CTELVOPINCache&) = delete;
  CTELVOPINCache& operator=(const CTELVOPINCache&) = delete;

  // In interface order: append, never reorder.
  virtual ~CTELVOPINCache();
  // 1 while a PIN is held, else 0.
  virtual BYTE IsPINSet() const;
  // Replaces the PIN with the `length` bytes at `pin`. A null or empty PIN changes nothing. The same is true of any PIN
  // when the administrator has switched caching off: the registry value PINCACHE is 0.
  virtual void SetPINCache(const BYTE* pin, DWORD length);
  // Copies the PIN to `out`, which has room for `*length` bytes; `*length` stays as it is. With a null `out`, or one
  // that is too small, sets `*length` to the PIN's length and copies nothing. Without a PIN changes neither.
  virtual void GetPINCache(BYTE* out, DWORD* length);
  // Forgets the PIN.
  virtual void ClearPINCache();

  // Keeps other threads out until the lock is released: a PIN that is asked for, measured and fetched under one lock is
  // the same PIN, and complete.
  std::unique_lock<std::recursive_mutex> Lock() const { return std::unique_lock<std::recursive_mutex>(m_mutex); }

 protected:
  // Masks or unmasks `sourceLength` bytes; it is its own inverse. A null `destination` or a `*destinationLength` below
  // the source's (NTE_BUFFER_TOO_SMALL) gets the length needed. NTE_INVALID_PARAMETER without source, source length or
  // destination length.
  DWORD TransformPIN(const BYTE* source, DWORD sourceLength, BYTE* destination, DWORD* destinationLength) const;

  boost::shared_array<BYTE> m_buffer;  // the masked PIN, without a terminator
  DWORD m_length = 0;                  // bytes in m_buffer
  BYTE m_set = 0;
  std::array<BYTE, 32> m_key{};

 private:
  bool HasBuffer() const { return m_length != 0 && m_buffer; }
  // Unlocks the pages and overwrites the masked PIN.
  void WipeBuffer();

  mutable std::recursive_mutex m_mutex;
};
