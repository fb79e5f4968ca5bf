#include "adapter/Token.h"

#include <algorithm>

namespace adapter {

using pkcs11::Check;
using pkcs11::Failure;
using pkcs11::Require;
using pkcs11::Secret;

namespace {

constexpr CK_ULONG kMostMechanisms = 4096;
constexpr std::size_t kPadding = 11;  // the bytes that PKCS #1 adds at least

Secret WithZerosBefore(Secret number, std::size_t size) {
  number.insert(number.begin(), size - number.size(), 0);
  return number;
}

// The block of a PKCS #1 signature, for a token that has only bare RSA.
Secret PadForSignature(const Secret& data, std::size_t size) {
  Secret block(size, 0xFF);
  block[0] = 0;
  block[1] = 1;
  block[size - data.size() - 1] = 0;
  std::copy(data.rbegin(), data.rend(), block.rbegin());
  return block;
}

}  // namespace

std::size_t ModulusSize(const Values& key) { return WithoutLeadingZeros(key.Bytes(CKA_MODULUS)).size(); }

void Token::Open(const std::string& serial) {
  if (m_session.IsOpen()) {
    CK_SESSION_INFO info = {};
    try {
      m_session.Call<&CK_FUNCTION_LIST::C_GetSessionInfo>(&info);
    } catch (const Failure&) {
      Settle();  // the token was pulled, and may be in again
    }
  }
  m_session.Open();
  if (serial != m_serial) m_objects.ForgetPrivateKeys();
  m_serial = serial;
}

void Token::Close() {
  m_login.Forget();
  m_objects.Forget();
  m_session.Close();
  m_knowsMechanisms = false;
}

void Token::Gone() {
  m_session.Gone();
  Settle();
}

void Token::Settle() {
  if (m_settled == Presence()) return;
  m_settled = Presence();
  m_login.Forget();
  m_objects.Forget();
  m_knowsMechanisms = false;
}

const std::vector<CK_MECHANISM_TYPE>& Token::Mechanisms() {
  if (m_knowsMechanisms) return m_mechanisms;
  m_mechanisms.clear();
  CK_ULONG count = 0;
  const CK_SLOT_ID slot = m_session.Slot();
  CK_RV result = m_module.Call<&CK_FUNCTION_LIST::C_GetMechanismList>(slot, CK_MECHANISM_TYPE_PTR{nullptr}, &count);
  if (result == CKR_OK && count <= kMostMechanisms) {
    m_mechanisms.resize(count);
    result = m_module.Call<&CK_FUNCTION_LIST::C_GetMechanismList>(slot, m_mechanisms.data(), &count);
    if (result != CKR_OK) m_mechanisms.clear();
    m_mechanisms.resize(std::min<std::size_t>(count, m_mechanisms.size()));
  }
  m_knowsMechanisms = true;
  return m_mechanisms;
}

bool Token::Has(CK_MECHANISM_TYPE mechanism) {
  const auto& all = Mechanisms();
  return std::find(all.begin(), all.end(), mechanism) != all.end();
}

Secret Token::Sign(Object& key, CK_MECHANISM mechanism, const Secret& data) {
  const std::size_t size = ModulusSize(key.values);
  const std::size_t most = mechanism.mechanism == CKM_RSA_PKCS ? size - std::min(size, kPadding) : size;
  Require(!data.empty() && data.size() <= most, CKR_DATA_LEN_RANGE);
  const bool bare = mechanism.mechanism == CKM_RSA_X_509;
  const bool padded = mechanism.mechanism == CKM_RSA_PKCS && Lacks(CKM_RSA_PKCS) && Has(CKM_RSA_X_509);
  if (padded) mechanism.mechanism = CKM_RSA_X_509;
  Secret signature = Use<&CK_FUNCTION_LIST::C_SignInit, &CK_FUNCTION_LIST::C_Sign>(key, mechanism,
                                                                                   padded ? PadForSignature(data, size)
                                                                                   : bare ? WithZerosBefore(data, size)
                                                                                          : data);
  Require(!signature.empty(), CKR_GENERAL_ERROR);
  // A signature is as long as the modulus. Some modules leave out its leading zeros.
  return WithZerosBefore(std::move(signature), size);
}

Secret Token::Decrypt(Object& key, CK_MECHANISM mechanism, const Secret& data) {
  Require(data.size() == ModulusSize(key.values), CKR_ENCRYPTED_DATA_LEN_RANGE);
  Secret result = Use<&CK_FUNCTION_LIST::C_DecryptInit, &CK_FUNCTION_LIST::C_Decrypt>(key, mechanism, data);
  // A module that does not set the length leaves it at the size of the buffer.
  const bool fits = mechanism.mechanism == CKM_RSA_X_509 || result.size() + kPadding <= data.size();
  Require(fits, CKR_GENERAL_ERROR);
  return result;
}

// The module may have lost the login, for example because the card was pulled and put back. The provider has just
// presented the PIN.
template <auto Init, auto Finish>
Secret Token::Use(Object& key, CK_MECHANISM mechanism, const Secret& data) {
  Require(m_login.IsUser(), CKR_USER_NOT_LOGGED_IN);
  m_login.Used();
  try {
    return UseOnce<Init, Finish>(key, mechanism, data);
  } catch (const Failure& failure) {
    if (failure.code != CKR_USER_NOT_LOGGED_IN || !m_login.Renew()) throw;
  }
  return UseOnce<Init, Finish>(key, mechanism, data);
}

template <auto Init, auto Finish>
Secret Token::UseOnce(Object& key, CK_MECHANISM mechanism, const Secret& data) {
  Check(BeginUse<Init>(key, mechanism));
  Authenticate(key);
  return m_session.Finish<Finish>(data, ModulusSize(key.values));
}

// The handle may no longer be valid, for example because of another process. Then the key is looked up once more.
template <auto Init>
CK_RV Token::BeginUse(Object& key, CK_MECHANISM& mechanism) {
  const CK_RV result = m_session.Begin<Init>(&mechanism, m_objects.Lower(key));
  if (result != CKR_KEY_HANDLE_INVALID && result != CKR_OBJECT_HANDLE_INVALID) return result;
  key.lower.reset();
  return m_session.Begin<Init>(&mechanism, m_objects.Lower(key));
}

// Some keys, such as the signature key of a PIV card, require the PIN before each use.
void Token::Authenticate(const Object& key) {
  if (!key.values.Flag(CKA_ALWAYS_AUTHENTICATE)) return;
  Secret pin = m_login.Pin();
  const CK_RV result = m_session.Call<&CK_FUNCTION_LIST::C_Login>(CK_USER_TYPE{CKU_CONTEXT_SPECIFIC}, pin.data(),
                                                                  static_cast<CK_ULONG>(pin.size()));
  Check(result == CKR_USER_ALREADY_LOGGED_IN ? CKR_OK : result);
}

}  // namespace adapter
