#include "objects/CCSPHash.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/ModuleLimits.h"
#include "log/Logs.h"

namespace {

constexpr DWORD kMaxMessageLength = std::numeric_limits<DWORD>::max();

void RequireSpace(bool hasSpace, const std::string& message) {
  if (!hasSpace) throw CCSPContextError(message, ERROR_MORE_DATA);
}

}  // namespace

CCSPHash::CCSPHash(const HashSetup& setup)
    : m_prefixLength(setup.algorithm->prefixLength),
      m_algorithm(setup.algorithm->id),
      m_id(setup.id),
      m_session(setup.session),
      m_mechanism(setup.hash->mechanism),
      m_digestLength(setup.algorithm->defaultBits / 8),
      m_name(setup.hash->name) {
  std::copy_n(setup.algorithm->prefix, m_prefixLength, m_prefix);
}

CCSPHash::CCSPHash(const CCSPHash& other) { CopyFrom(other); }

// NOLINTNEXTLINE(misc-unconventional-assign-operator): virtual, as the interface requires
CCSPHash& CCSPHash::operator=(const CCSPHash& other) {
  if (this != &other) CopyFrom(other);
  return *this;
}

void CCSPHash::CopyFrom(const CCSPHash& other) {
  m_value.reset();
  m_valueLength = 0;
  m_mechanism = other.m_mechanism;
  m_algorithm = other.m_algorithm;
  m_id = other.m_id;
  std::copy(std::begin(other.m_prefix), std::end(other.m_prefix), m_prefix);
  m_prefixLength = other.m_prefixLength;
  m_pending = other.m_pending;
  m_session = other.m_session;
  if (other.m_valueLength != 0) CCSPHash::SetHash(other.m_value->Data(), other.m_valueLength);
  m_finished = other.m_finished;
}

CCSPHash::~CCSPHash() = default;

void CCSPHash::AddData(const BYTE* data, DWORD length) { m_pending.Append(data, length); }

void CCSPHash::SetData(const BYTE* data, DWORD length) {
  m_pending.Clear();
  CCSPHash::AddData(data, length);
}

void CCSPHash::GetData(BYTE* out, DWORD* length) {
  const std::size_t present = m_pending.Length();
  if (present == 0) *length = 0;
  if (out == nullptr) {
    *length = static_cast<DWORD>(std::min<std::size_t>(present, kMaxMessageLength));
    return;
  }
  RequireSpace(*length >= present, "Buffer to retrieve Data to hash is too small");
  *length = static_cast<DWORD>(present);
  m_pending.CopyTo(out);
}

void CCSPHash::SetOID(const BYTE* prefix, const DWORD* length) {
  if (prefix == nullptr || length == nullptr || *length == 0) return;
  m_prefixLength = std::min<DWORD>(*length, sizeof(m_prefix));
  std::copy_n(prefix, m_prefixLength, m_prefix);
}

BYTE* CCSPHash::WholeMessage(DWORD& length) {
  if (m_pending.Length() > kMaxMessageLength) return nullptr;
  length = static_cast<DWORD>(m_pending.Length());
  return m_pending.Whole();
}

void CCSPHash::GetHash(BYTE* out, DWORD* length) {
  if (m_finished == 0) ComputeValue();
  CopyValue("", out, length);
}

void CCSPHash::ComputeValue() {
  if (!HasMessage()) throw CCSPContextError("No Data was added to be hash", NTE_BAD_HASH_STATE);
  DWORD length = 0;
  BYTE* const message = WholeMessage(length);
  if (message == nullptr) throw CCSPContextError("No Data to Hash", NTE_BAD_HASH);
  const boost::shared_ptr<Session> session = GetSession();
  if (!session) throw CCSPContextError("No Session assigned to Hash", NTE_BAD_HASH_STATE);
  try {
    Digest(*session, message, length);
  } catch (const CryptokiError& error) {
    SetLastError(error.GetCode());
    throw CCSPContextError("Failed to Initialize Hash Operation", NTE_FAIL);
  }
}

void CCSPHash::Digest(Session& session, BYTE* message, DWORD length) {
  g_hashLog.WriteBytes("Data to be hashed: ", message, length, true);
  session.DigestInit(m_mechanism);
  CK_ULONG allocated = 0;
  session.Digest(message, length, nullptr, &allocated);
  if (allocated > kMaxValueLength) throw CryptokiError(CKR_GENERAL_ERROR);
  WipedBuffer value(allocated);
  // Required: no second DigestInit. The module keeps the operation active after the call that asked for the length.
  CK_ULONG claimed = allocated;
  session.Digest(message, length, value.Data(), &claimed);
  const auto valueLength = static_cast<DWORD>(std::min(claimed, allocated));
  g_hashLog.WriteBytes("Hash result: ", value.Data(), valueLength, true);
  Keep(std::move(value), valueLength);
}

void CCSPHash::Keep(WipedBuffer value, DWORD length) {
  m_value = std::make_unique<WipedBuffer>(std::move(value));
  m_valueLength = length;
  m_finished = 1;
}

void CCSPHash::CopyValue(const char* who, BYTE* out, DWORD* length) const {
  if (m_valueLength == 0) {
    throw CCSPContextError(std::string(who) + "Hash was completed but no Hash Data Found", NTE_BAD_HASH_STATE);
  }
  if (out != nullptr) {
    RequireSpace(*length >= m_valueLength, std::string(who) + "Buffer to retrieve Hash is too small");
    std::copy_n(m_value->Data(), m_valueLength, out);
  }
  *length = m_valueLength;
}

void CCSPHash::SetHash(const BYTE* value, DWORD length) {
  m_value.reset();
  m_valueLength = 0;
  if (value == nullptr || length == 0) throw CCSPContextError("No Data Found to Set Hash Digest", NTE_BAD_DATA);
  WipedBuffer copy(length);
  std::copy_n(value, length, copy.Data());
  Keep(std::move(copy), length);
}

const std::string* CCSPHash::GetName() const { return &m_name; }

void CCSPHash::GetPreSignData(BYTE* out, DWORD* length) {
  DWORD valueLength = 0;
  if (m_finished == 0) Compute(nullptr, &valueLength);
  // A finished hash without a value: GetHash raises the error.
  if (m_valueLength == 0) GetHash(nullptr, &valueLength);
  if (m_valueLength == 0) throw CCSPContextError("No hash Computed", NTE_BAD_HASH_STATE);
  if (m_prefixLength == 0) throw CCSPContextError("No OID Present", NTE_BAD_HASH_STATE);
  const DWORD total = m_prefixLength + m_valueLength;
  if (out != nullptr) {
    RequireSpace(*length >= total, "Buffer is too small to retrieve pre-sign data");
    std::copy_n(m_value->Data(), m_valueLength, std::copy_n(m_prefix, m_prefixLength, out));
  }
  *length = total;
}

DWORD CCSPHash::IsFinished() const { return m_finished; }
void CCSPHash::SetFinished(DWORD finished) { m_finished = finished; }

void CCSPHash::Finish() {
  DWORD length = 0;
  Compute(nullptr, &length);
}

void CCSPHash::Compute(BYTE* out, DWORD* length) { GetHash(out, length); }

DWORD CCSPHash::GetHashID() const { return m_id; }
ALG_ID CCSPHash::GetAlgID() const { return m_algorithm; }
DWORD CCSPHash::GetHashLength() const { return m_digestLength; }
