// CCSPContextList: the process's table from HCRYPTPROV to context. Several threads may use it at once.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <mutex>
#include <unordered_map>

#include "context/CCSPContext.h"

class CCSPContextList {
 public:
  CCSPContextList() = default;
  CCSPContextList(const CCSPContextList&) = delete;
  CCSPContextList& operator=(const CCSPContextList&) = delete;

  // In interface order: append, never reorder.

  // Drops the contexts. Their sessions stay as they are.
  virtual ~CCSPContextList();
  // Gives the context a free handle, which may be 0, and its key handles. Stores a copy of the context and returns the
  // handle. Reseeds the random numbers of the run-time library.
  virtual DWORD AddContext(CCSPContext& context);
  // Drops the context with the same handle, and closes its session when no other context shares it. Unknown handles are
  // ignored.
  virtual void RemoveContext(CCSPContext& context);
  // CCSPContextError NTE_BAD_UID for an unknown handle. All 64 bits count.
  virtual boost::shared_ptr<CCSPContext> FindContext(HCRYPTPROV handle);

 private:
  // Removes the context from the list and returns it. Null for an unknown handle.
  boost::shared_ptr<CCSPContext> Take(HCRYPTPROV handle);

  std::mutex m_mutex;
  std::unordered_map<HCRYPTPROV, boost::shared_ptr<CCSPContext>> m_contexts;  // by handle
  DWORD m_smallestFree = 0;                                                   // no smaller handle is free
};

// Defined in entry/ProcessObjects.cpp.
extern CCSPContextList g_contextList;
