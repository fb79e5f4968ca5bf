#include "context/SlotWalk.h"

#include <array>
#include <boost/algorithm/string/trim.hpp>
#include <boost/make_shared.hpp>
#include <locale>

#include "common/CCSPContextError.h"
#include "context/AcquireFlags.h"
#include "context/ContainerName.h"
#include "context/SlotVisit.h"
#include "context/UnplugThreadManager.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "dialogs/CSelectCard.h"
#include "log/Logs.h"

namespace {

std::string TrimmedRight(const std::string& name) {
  return boost::algorithm::trim_right_copy(name, std::locale::classic());
}

// The description ends at the first zero byte of a longer field.
std::string DescriptionOf(const Slot& slot) {
  const std::string field = slot.GetSlotDescription();
  return field.substr(0, field.find('\0'));
}

void LogFailure(const std::string& failure, DWORD code) {
  g_contextLog.WriteLine(failure.c_str());
  SetLastError(code);
}

}  // namespace

void SlotWalk::Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki) {
  if (!cryptoki) throw CCSPContextError("Module Name should be present", NTE_FAIL);
  g_contextLog.WriteLine("\nInitialize Base Class");
  m_context.TakeName(containerName, flags);
  m_context.m_cryptoki = cryptoki;

  const bool active = ReadSlots();
  std::list<Slot>& slots = m_context.m_slots;
  if (slots.size() > 1 || !active) ChooseSlots(active);
  const SlotPosition position = IsVerify(flags) ? slots.begin() : Walk();
  g_contextLog.WriteLine("\nSlot List Loop done");

  const bool atEnd = position == slots.end();
  CheckOutcome(atEnd);
  if (IsNewKeySet(flags) && atEnd && m_context.m_containerName.empty()) MakeContainerName();
  if (LowFlags(flags) != 0 || flags == 0) RememberTokenInfo();
  if (IsNewKeySet(flags) && m_context.m_readerName.empty()) {
    m_context.OpenedSession();
    m_context.m_readerName = TrimmedRight(DescriptionOf(slots.front()));
  }
  WatchReader(atEnd);
  g_contextLog.WriteLine("\nInitialization Finished");
}

// True when a slot has a token; otherwise the list has all slots.
bool SlotWalk::ReadSlots() {
  std::list<Slot>& slots = m_context.m_slots;
  g_contextLog.WriteLine("\nGet Active Slot List");
  slots = m_context.m_cryptoki->GetActiveSlots();
  const bool active = !slots.empty();
  if (!active) {
    g_contextLog.WriteLine("\nNo Active Slot found");
    g_contextLog.WriteLine("\nGet All Slots");
    slots = m_context.m_cryptoki->GetAllSlots();
  }
  g_contextLog.WriteDecimal("\nSlots Found: ", static_cast<DWORD>(slots.size()), true);
  return active;
}

void SlotWalk::ChooseSlots(bool active) {
  const DWORD flags = m_context.m_flags;
  const bool noContainer = m_context.m_containerName.empty();
  const bool readerMatters = m_context.m_readerName.empty() && (noContainer || IsNewKeySet(flags)) && !IsVerify(flags);
  if (readerMatters && !IsSilent(flags)) {
    g_contextLog.WriteLine("\nShow Select Reader UI");
    SelectReader();
    g_contextLog.Write("UI Dlg reader name: ", m_context.m_readerName.c_str(), true);
  } else if (readerMatters && !active) {
    throw CCSPContextError("CSP needs UI to operate but CRYPT_SILENT flag is set", NTE_SILENT_CONTEXT);
  }
  if (active) return;

  // The user may have inserted a card while the dialog was open.
  g_contextLog.WriteLine("\nRetrieve Active Slot List");
  m_context.m_slots = m_context.m_cryptoki->GetActiveSlots();
  const bool needsNone = IsVerify(flags) && m_context.m_readerName.empty() && noContainer;
  if (m_context.m_slots.empty() && !needsNone) throw CCSPContextError("No Active Slot found", NTE_FAIL);
}

void SlotWalk::SelectReader() {
  CSelectCard dialog;
  if (dialog.DoModal() != IDOK) {
    throw CCSPContextError("The operation was cancelled by the user", SCARD_W_CANCELLED_BY_USER);
  }
  dialog.GetReaderName(&m_context.m_readerName);
}

// The slot at which the walk stopped; the end when it passed the last one, or gave up.
SlotWalk::SlotPosition SlotWalk::Walk() {
  std::list<Slot>& slots = m_context.m_slots;
  for (SlotPosition position = slots.begin(); position != slots.end(); ++position) {
    const Step step = VisitSlot(*position);
    if (step == Step::kStay) return position;
    if (step == Step::kEnd) break;
  }
  return slots.end();
}

SlotWalk::Step SlotWalk::VisitSlot(Slot& slot) {
  std::string& reader = m_context.m_readerName;
  g_contextLog.WriteLine("\nIterating thru Readers");
  reader = TrimmedRight(reader);
  const std::string description = DescriptionOf(slot);
  m_context.m_slot = boost::make_shared<Slot>(slot);
  g_contextLog.WriteLine(description.c_str());
  // Two empty names are equal, too.
  if (description == reader) return VisitNamedReader(slot);
  if (!reader.empty()) return Step::kNextSlot;
  return VisitAnyReader(slot, description);
}

SlotWalk::Step SlotWalk::VisitNamedReader(Slot& slot) {
  SlotVisit visit(m_context, kTextsOfNamedReader);
  // The search reads the objects once more: until it is done, no other thread may destroy one of them.
  const LoginLock lock;
  try {
    visit.Open(slot);
  } catch (const CryptokiError& error) {
    LogFailure(error.GetText(), error.GetCode());
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
  if (visit.FindContainer() != SlotVisit::Found::kNothing) return Step::kStay;
  // No other reader is tried, even without the container. For a new container, kStay would mean that its name is
  // already in use.
  return IsNewKeySet(m_context.m_flags) ? Step::kEnd : Step::kStay;
}

SlotWalk::Step SlotWalk::VisitAnyReader(Slot& slot, const std::string& description) {
  g_contextLog.WriteLine("\nNo Reader name Provided");
  m_context.m_readerName = description;
  SlotVisit visit(m_context, kTextsOfAnyReader);
  const LoginLock lock;  // as with a named reader
  try {
    visit.Open(slot);
  } catch (const CryptokiError& error) {
    return PassOver(error.GetText(), error.GetCode());
  } catch (const CCSPContextError& error) {
    return PassOver(error.GetMessage(), error.GetCode());
  }
  switch (visit.FindContainer()) {
    case SlotVisit::Found::kCertificateOrPair:
      return Step::kStay;
    case SlotVisit::Found::kPublicKey:
      // Required: unlike with a named reader, a public key alone is not enough to stay; yet it is kept, and the
      // reader's name with it.
      return Step::kNextSlot;
    case SlotVisit::Found::kNothing:
      break;
  }
  // Required: a private key that was found without its public key stays in the context.
  if (IsNewKeySet(m_context.m_flags)) {
    g_contextLog.WriteLine("\nSet iterator to SlotList end");
    return Step::kEnd;
  }
  m_context.m_readerName.clear();
  return Step::kNextSlot;
}

SlotWalk::Step SlotWalk::PassOver(const std::string& failure, DWORD code) {
  m_context.m_readerName.clear();
  LogFailure(failure, code);
  return Step::kNextSlot;
}

void SlotWalk::CheckOutcome(bool atEnd) const {
  const DWORD flags = m_context.m_flags;
  if (atEnd && (flags & ~DWORD{CRYPT_NEWKEYSET}) != 0 && LowFlags(flags) != 0) {
    throw CCSPContextError("The requested certificate/private key was not found", NTE_BAD_KEYSET);
  }
  if (IsNewKeySet(flags) && !atEnd) {
    throw CCSPContextError("CRYPT_NEWKEYSET is set but the container already exists", NTE_EXISTS);
  }
}

void SlotWalk::MakeContainerName() {
  std::array<BYTE, 16> bytes = {};
  m_context.OpenedSession().GenerateRandom(bytes.data(), bytes.size());
  m_context.m_containerName = BytesToHex(bytes.data(), static_cast<DWORD>(bytes.size()));
}

void SlotWalk::RememberTokenInfo() {
  try {
    m_context.m_tokenInfo = m_context.m_token.GetTokenInfo();
    g_contextLog.Write("Token Label: ", m_context.m_tokenInfo.GetLabel().c_str(), true);
  } catch (...) {
    g_contextLog.WriteLine("Failed to get token info");
  }
}

// The last step: a context that fails before leaves no watcher.
void SlotWalk::WatchReader(bool atEnd) {
  const std::string reader = TrimmedRight(m_context.m_readerName);
  // Required: a context of CRYPT_NEWKEYSET alone is usually at the end, and does not log it.
  if (m_context.m_flags != CRYPT_NEWKEYSET && atEnd) g_contextLog.WriteLine("\nSlot List at end node");
  // A context for verification may name a reader, when it is silent; it does not use it.
  if (reader.empty() || IsVerify(m_context.m_flags)) return;
  const Session& session = m_context.OpenedSession();
  g_unplugThreadManager.AddUnplugThread(reader, static_cast<DWORD>(m_context.m_slot->GetSlotId()),
                                        session.GetCryptoki());
}
