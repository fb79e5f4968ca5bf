#include "entry/CCSPContextList.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "common/CCSPContextError.h"
#include "common/RandomUnused.h"

CCSPContextList::~CCSPContextList() = default;

DWORD CCSPContextList::AddContext(CCSPContext& context) {
  constexpr DWORD kHandleModulus = 0xFFFFFFFF;
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::srand(static_cast<DWORD>(std::time(nullptr)));  // NOLINT(cert-msc32-c,cert-msc51-cpp): a label, not a secret
  context.SetHandle(RandomUnused(
      kHandleModulus, m_contexts.size(), [this](DWORD handle) { return m_contexts.count(handle) != 0; },
      m_smallestFree));
  context.AssignKeyHandles();
  const DWORD handle = context.GetHandle();
  m_contexts.emplace(handle, context.Copy());
  if (handle == m_smallestFree) ++m_smallestFree;
  return handle;
}

boost::shared_ptr<CCSPContext> CCSPContextList::Take(HCRYPTPROV handle) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_contexts.find(handle);
  if (found == m_contexts.end()) return nullptr;
  boost::shared_ptr<CCSPContext> taken = std::move(found->second);
  m_contexts.erase(found);
  m_smallestFree = std::min(m_smallestFree, static_cast<DWORD>(handle));
  return taken;
}

// The session is closed after the list's lock is released. Closing waits for the login lock, and the thread that holds
// that one may need the list.
void CCSPContextList::RemoveContext(CCSPContext& context) {
  const boost::shared_ptr<CCSPContext> removed = Take(context.GetHandle());
  if (removed && removed->IsOnlyOwnerOfSession()) removed->CloseSession();
}

boost::shared_ptr<CCSPContext> CCSPContextList::FindContext(HCRYPTPROV handle) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_contexts.find(handle);
  if (found == m_contexts.end()) {
    throw CCSPContextError("The context does not exist", NTE_BAD_UID);
  }
  return found->second;
}
