// CCSPContextList: the process's table from HCRYPTPROV to context. Safe to be used by several threads at once.
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

  // Releases the contexts; their sessions stay as they are.
  virtual ~CCSPContextList();
  // Gives the context a handle that no other one has, 0 included, and its key handles; stores a copy of it; returns the
  // handle. Reseeds the process's generator.
  virtual DWORD AddContext(CCSPContext& context);
  // Drops the context with the same handle, and closes its session when nobody else shares it. Unknown handles are
  // silent. The thread must not hold a LoginTurn.
  virtual void RemoveContext(CCSPContext& context);
  // CCSPContextError NTE_BAD_UID for an unknown handle. All 64 bits count.
  virtual boost::shared_ptr<CCSPContext> FindContext(HCRYPTPROV handle);

 private:
  boost::shared_ptr<CCSPContext> Take(HCRYPTPROV handle);

  std::mutex m_mutex;
  std::unordered_map<HCRYPTPROV, boost::shared_ptr<CCSPContext>> m_contexts;  // by handle
  DWORD m_smallestFree = 0;                                                   // no handle below is free
};

// Defined in entry/ProcessObjects.cpp.
extern CCSPContextList g_contextList;
