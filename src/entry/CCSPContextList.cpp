#include "entry/CCSPContextList.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "common/CCSPContextError.h"
#include "common/DrawUnused.h"

CCSPContextList::~CCSPContextList() = default;

CCSPContextList::Entries::iterator CCSPContextList::Find(HCRYPTPROV handle) {
  return std::find_if(m_contexts.begin(), m_contexts.end(),
                      [handle](const auto& context) { return HCRYPTPROV{context->GetHandle()} == handle; });
}

DWORD CCSPContextList::AddContext(CCSPContext& context) {
  constexpr DWORD kHandleModulus = 0xFFFFFFFF;
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::srand(static_cast<DWORD>(std::time(nullptr)));  // NOLINT(cert-msc32-c,cert-msc51-cpp): a label, not a secret
  context.SetHandle(
      DrawUnused(kHandleModulus, m_contexts.size(), [this](DWORD handle) { return Find(handle) != m_contexts.end(); }));
  context.AssignKeyHandles();
  m_contexts.push_back(context.Copy());
  return context.GetHandle();
}

void CCSPContextList::RemoveContext(CCSPContext& context) {
  boost::shared_ptr<CCSPContext> removed;  // released behind the lock
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = Find(context.GetHandle());
  if (found == m_contexts.end()) return;
  if ((*found)->IsOnlyOwnerOfSession()) (*found)->CloseSession();
  removed.swap(*found);
  m_contexts.erase(found);
}

boost::shared_ptr<CCSPContext> CCSPContextList::FindContext(HCRYPTPROV handle) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = Find(handle);
  if (found == m_contexts.end()) {
    throw CCSPContextError("The context does not exist", NTE_BAD_UID);
  }
  return *found;
}
