// The entries of Adapter about the module, slots, tokens and mechanisms.
#include <algorithm>

#include "adapter/Adapter.h"
#include "adapter/software/Cipher.h"
#include "adapter/software/Digest.h"
#include "pkcs11/Mechanisms.h"

namespace adapter {

using pkcs11::Check;
using pkcs11::Require;

namespace {

constexpr CK_VERSION kVersion = {4, 5};

// Session numbers continue across C_Finalize: the provider may still hold the handle of an earlier session, and must
// not reach another card with it. Guarded by the library's lock, like the adapter itself.
CK_ULONG g_lastSession = 0;

// HandOut returns a list to the caller, by the rules of C_GetSlotList.
template <typename T>
CK_RV HandOut(const std::vector<T>& items, T* list, CK_ULONG* count) {
  const CK_ULONG room = *count;
  *count = static_cast<CK_ULONG>(items.size());
  if (list == nullptr) return CKR_OK;
  if (room < items.size()) return CKR_BUFFER_TOO_SMALL;
  std::copy(items.begin(), items.end(), list);
  return CKR_OK;
}

constexpr CK_MECHANISM_TYPE kKeyGenerations[] = {CKM_DES_KEY_GEN, CKM_DES2_KEY_GEN, CKM_DES3_KEY_GEN, CKM_AES_KEY_GEN,
                                                 CKM_GENERIC_SECRET_KEY_GEN};

bool IsKeyGeneration(CK_MECHANISM_TYPE type) {
  return std::find(std::begin(kKeyGenerations), std::end(kKeyGenerations), type) != std::end(kKeyGenerations);
}

// Signatures with a digest and PKCS #1 padding.
bool IsDigestSignature(CK_MECHANISM_TYPE type) {
  return type == CKM_MD5_RSA_PKCS || type == CKM_SHA1_RSA_PKCS || type == CKM_SHA224_RSA_PKCS ||
         type == CKM_SHA256_RSA_PKCS || type == CKM_SHA384_RSA_PKCS || type == CKM_SHA512_RSA_PKCS;
}

// What the token itself does, if it lists it.
constexpr CK_MECHANISM_TYPE kOfToken[] = {
    CKM_RSA_PKCS_KEY_PAIR_GEN, CKM_RSA_X_509,           CKM_RSA_PKCS_OAEP,
    CKM_RSA_PKCS_PSS,          CKM_SHA1_RSA_PKCS_PSS,   CKM_SHA224_RSA_PKCS_PSS,
    CKM_SHA256_RSA_PKCS_PSS,   CKM_SHA384_RSA_PKCS_PSS, CKM_SHA512_RSA_PKCS_PSS,
};

CK_FLAGS FlagsOf(CK_MECHANISM_TYPE type) {
  if (software::Digest::Length(type) != 0) return CKF_DIGEST;
  if (software::Cipher::Knows(type)) return CKF_ENCRYPT | CKF_DECRYPT;
  if (IsKeyGeneration(type)) return CKF_GENERATE;
  if (IsDigestSignature(type)) return CKF_SIGN | CKF_VERIFY;
  if (type == CKM_RSA_PKCS || type == CKM_RSA_X_509) return CKF_VERIFY | CKF_ENCRYPT;
  if (type == CKM_RSA_PKCS_OAEP) return CKF_ENCRYPT;
  return 0;
}

}  // namespace

Adapter::Adapter(std::unique_ptr<Module> module, Settings settings, Clock clock)
    : m_settings(std::move(settings)),
      m_clock(std::move(clock)),
      m_module(std::move(module)),
      m_slots(*m_module, m_settings),
      m_sessions(g_lastSession) {}

void Adapter::Stop() {
  g_lastSession = m_sessions.Last();
  for (auto& [slot, token] : m_tokens) token->Close();
  m_module->Stop();
  m_stopped = true;
}

Adapter::~Adapter() {
  // The process is ending. The module is left as it is, and is not unloaded.
  if (!m_stopped) static_cast<void>(m_module.release());
}

void Adapter::LookAtSlots() {
  m_entered = 0;
  m_slots.Refresh();
  if (!m_reported) m_reported = m_slots.List(true);
  // A session is over when its token was removed or exchanged for another.
  for (auto& [slot, token] : m_tokens) {
    const Slot& now = m_slots.Known(slot);
    const bool same = now.listed && now.isIn && now.serial == token->Serial();
    if (token->Session().IsOpen() && !same) token->Gone();
  }
}

const Slot& Adapter::SlotWithToken(CK_SLOT_ID slot) {
  LookAtSlots();
  const Slot& known = m_slots.At(slot);
  Require(known.isIn, CKR_TOKEN_NOT_PRESENT);
  return known;
}

Token& Adapter::TokenAt(CK_SLOT_ID slot) {
  const Slot& known = SlotWithToken(slot);
  auto& token = m_tokens[slot];
  if (token == nullptr) token = std::make_unique<Token>(*m_module, m_settings, m_clock, m_objects, slot, known.lower);
  token->Settle();
  return *token;
}

CK_RV Adapter::C_GetInfo(CK_INFO_PTR info) {
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  CK_INFO lower = {};
  Check(m_module->Call<&CK_FUNCTION_LIST::C_GetInfo>(&lower));
  *info = {};
  info->cryptokiVersion = {2, 40};
  Fill(info->manufacturerID, PlainText(lower.manufacturerID, sizeof lower.manufacturerID));
  Fill(info->libraryDescription, "telvopkcs11 adapter");
  info->libraryVersion = kVersion;
  return CKR_OK;
}

CK_RV Adapter::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  Require(count != nullptr, CKR_ARGUMENTS_BAD);
  LookAtSlots();
  return HandOut(m_slots.List(tokenPresent != CK_FALSE), slotList, count);
}

CK_RV Adapter::C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR info) {
  LookAtSlots();
  const Slot& known = m_slots.At(slot);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  *info = known.info;
  Fill(info->slotDescription, known.name);
  Fill(info->manufacturerID, PlainText(known.info.manufacturerID, sizeof known.info.manufacturerID));
  info->flags &= ~CK_FLAGS{CKF_TOKEN_PRESENT};
  if (known.isIn) info->flags |= CKF_TOKEN_PRESENT;
  return CKR_OK;
}

CK_RV Adapter::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  const Slot& known = SlotWithToken(slot);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  *info = known.token;
  Fill(info->label, known.label);
  Fill(info->manufacturerID, PlainText(known.token.manufacturerID, sizeof known.token.manufacturerID));
  Fill(info->model, PlainText(known.token.model, sizeof known.token.model));
  Fill(info->serialNumber, known.serial);
  info->flags |= CKF_TOKEN_INITIALIZED;
  info->ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
  info->ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
  info->ulSessionCount = CountSessions(slot, false);
  info->ulRwSessionCount = CountSessions(slot, true);
  return CKR_OK;
}

// A token that can sign at all can sign any digest, because the adapter computes the digest.
bool Adapter::OffersInSoftware(Token& token, CK_MECHANISM_TYPE mechanism) const {
  const bool hasRsa = token.Has(CKM_RSA_PKCS) || token.Has(CKM_RSA_X_509);
  if (mechanism == CKM_RSA_PKCS || IsDigestSignature(mechanism)) return hasRsa;
  const bool isOfToken = std::find(std::begin(kOfToken), std::end(kOfToken), mechanism) != std::end(kOfToken);
  return !isOfToken && FlagsOf(mechanism) != 0;
}

std::vector<CK_MECHANISM_TYPE> Adapter::OfferedBy(Token& token) const {
  std::vector<CK_MECHANISM_TYPE> all = token.Mechanisms();
  const auto isAnothers = [&](CK_MECHANISM_TYPE type) {
    return std::find(std::begin(kOfToken), std::end(kOfToken), type) == std::end(kOfToken);
  };
  all.erase(std::remove_if(all.begin(), all.end(), isAnothers), all.end());
  for (const CK_MECHANISM_TYPE type : pkcs11::AllMechanisms()) {
    if (OffersInSoftware(token, type)) all.push_back(type);
  }
  return pkcs11::Offered(all);
}

CK_RV Adapter::C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list, CK_ULONG_PTR count) {
  Token& token = TokenAt(slot);
  Require(count != nullptr, CKR_ARGUMENTS_BAD);
  return HandOut(OfferedBy(token), list, count);
}

CK_RV Adapter::C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO_PTR info) {
  Token& token = TokenAt(slot);
  Require(info != nullptr, CKR_ARGUMENTS_BAD);
  const std::vector<CK_MECHANISM_TYPE> offered = OfferedBy(token);
  Require(std::find(offered.begin(), offered.end(), type) != offered.end(), CKR_MECHANISM_INVALID);
  // The sizes for a signature with a digest are those of the bare signature.
  const CK_MECHANISM_TYPE asked = token.Has(type) ? type : token.Has(CKM_RSA_PKCS) ? CKM_RSA_PKCS : CKM_RSA_X_509;
  *info = {};
  const bool isOfToken = token.Has(type) || IsDigestSignature(type) || type == CKM_RSA_PKCS;
  if (isOfToken) Check(m_module->Call<&CK_FUNCTION_LIST::C_GetMechanismInfo>(token.Session().Slot(), asked, info));
  // What the token does with a private key, and what the adapter does with any other key. A card sets CKF_HW on
  // everything that it does, and programs that test signatures skip mechanisms without it.
  info->flags = (info->flags & (CKF_SIGN | CKF_DECRYPT | CKF_GENERATE_KEY_PAIR)) | CKF_HW | FlagsOf(type);
  return CKR_OK;
}

CK_RV Adapter::C_InitToken(CK_SLOT_ID slot, CK_UTF8CHAR_PTR /*pin*/, CK_ULONG /*pinLen*/, CK_UTF8CHAR_PTR /*label*/) {
  LookAtSlots();
  m_slots.At(slot);
  return CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV Adapter::C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID_PTR slot, CK_VOID_PTR reserved) {
  Require(slot != nullptr && reserved == nullptr, CKR_ARGUMENTS_BAD);
  // A wait would hold the lock and block every other thread.
  Require((flags & CKF_DONT_BLOCK) != 0, CKR_FUNCTION_NOT_SUPPORTED);
  LookAtSlots();
  const std::vector<CK_SLOT_ID> now = m_slots.List(true);
  std::vector<CK_SLOT_ID> changed;
  std::vector<CK_SLOT_ID>& told = *m_reported;
  std::set_symmetric_difference(now.begin(), now.end(), told.begin(), told.end(), std::back_inserter(changed));
  if (changed.empty()) return CKR_NO_EVENT;
  *slot = changed.front();
  const auto known = std::lower_bound(told.begin(), told.end(), *slot);
  if (known != told.end() && *known == *slot) {
    told.erase(known);
  } else {
    told.insert(known, *slot);
  }
  return CKR_OK;
}

}  // namespace adapter
