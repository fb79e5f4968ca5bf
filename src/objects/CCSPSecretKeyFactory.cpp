#include "objects/CCSPSecretKeyFactory.h"

#include <boost/make_shared.hpp>
#include <cstdlib>
#include <utility>

#include "common/CCSPContextError.h"
#include "objects/C3DESKey.h"
#include "objects/C3DES_112Key.h"
#include "objects/CAES_128Key.h"
#include "objects/CDESKey.h"

namespace {

constexpr DWORD kIDModulus = 0xFFFFFF;
constexpr DWORD kPause = 50;  // ms
constexpr DWORD kLongestWait = 3000;

template <typename Key>
boost::shared_ptr<CCSPSecretKey> Make() {
  return boost::make_shared<Key>();
}

struct KeyRow {
  ALG_ID algorithm;
  CK_KEY_TYPE type;
  boost::shared_ptr<CCSPSecretKey> (*make)();
};

constexpr KeyRow kKeys[] = {
    {CALG_DES, CKK_DES, Make<CDESKey>},
    {CALG_3DES, CKK_DES3, Make<C3DESKey>},
    {CALG_3DES_112, CKK_DES2, Make<C3DES_112Key>},
    {CALG_AES_128, CKK_AES, Make<CAES_128Key>},
};

const KeyRow& FindKey(ALG_ID algorithm) {
  for (const KeyRow& row : kKeys) {
    if (row.algorithm == algorithm) return row;
  }
  throw CCSPContextError("Invalid Secret Key Algorithm ID", NTE_BAD_ALGID);
}

}  // namespace

CK_KEY_TYPE KeyTypeFromAlgID(ALG_ID algorithm) { return FindKey(algorithm).type; }

CCSPSecretKeyFactory::Clock CCSPSecretKeyFactory::SystemClock() {
  return {[] { return std::time(nullptr); }, [](DWORD milliseconds) { Sleep(milliseconds); }};
}

CCSPSecretKeyFactory::CCSPSecretKeyFactory(CCSPLog& log, Clock clock) : m_clock(std::move(clock)) {
  log.WriteLine("CCSPSecretKeyFactory Ctor - Enter");
  log.WriteLine("CCSPSecretKeyFactory Ctor - Exit");
}

CCSPSecretKeyFactory::~CCSPSecretKeyFactory() = default;

boost::shared_ptr<CCSPSecretKey> CCSPSecretKeyFactory::CreateSecretKey(ALG_ID algorithm, Session* session,
                                                                       CK_OBJECT_HANDLE object) {
  if (session == nullptr) throw CCSPContextError("Session should be defined in creating a secret key", NTE_FAIL);
  auto key = FindKey(algorithm).make();
  std::unique_lock<std::mutex> lock(m_mutex);
  key->Bind(session, object, AllocateID(lock));
  m_records.emplace(key->GetKeyID(), boost::make_shared<CCSPSecretKey>(*key));
  return key;
}

// NOLINTBEGIN(cert-msc30-c,cert-msc50-cpp,cert-msc51-cpp,cert-msc32-c): a label, not a secret
DWORD CCSPSecretKeyFactory::RandomID() {
  std::srand(static_cast<unsigned>(m_clock.now()));
  return static_cast<DWORD>(std::rand()) % kIDModulus;
}
// NOLINTEND(cert-msc30-c,cert-msc50-cpp,cert-msc51-cpp,cert-msc32-c)

DWORD CCSPSecretKeyFactory::AllocateID(std::unique_lock<std::mutex>& lock) {
  DWORD id = RandomID();
  for (DWORD waited = 0; IsTaken(id) && waited < kLongestWait; waited += kPause) {
    lock.unlock();
    m_clock.sleep(kPause);
    lock.lock();
    id = RandomID();
  }
  return NextFree(id);
}

DWORD CCSPSecretKeyFactory::NextFree(DWORD id) const {
  while (IsTaken(id)) id = (id + 1) % kIDModulus;
  return id;
}

void CCSPSecretKeyFactory::DestroySecretKey(DWORD keyID) {
  boost::shared_ptr<CCSPSecretKey> record;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_records.find(keyID);
    if (found == m_records.end()) return;
    record = found->second;
  }
  record->DestroyObject();
  const std::lock_guard<std::mutex> lock(m_mutex);
  const auto found = m_records.find(keyID);
  // In the meantime another thread may have removed the key, and a new one may have its id.
  if (found != m_records.end() && found->second == record) m_records.erase(found);
}

std::size_t CCSPSecretKeyFactory::Count() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return m_records.size();
}
