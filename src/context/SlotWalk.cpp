// From the name and flags of CPAcquireContext to a token, and to a container on it.
#include <array>
#include <boost/algorithm/string/trim.hpp>
#include <boost/make_shared.hpp>
#include <locale>
#include <utility>

#include "common/CCSPContextError.h"
#include "context/AcquireFlags.h"
#include "context/ContainerName.h"
#include "context/TELVOCSPContext.h"
#include "context/UnplugThreadManager.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/LoginLock.h"
#include "dialogs/CSelectCard.h"
#include "log/Logs.h"

namespace {

std::string TrimmedRight(const std::string& text) {
  return boost::algorithm::trim_right_copy(text, std::locale::classic());
}

// A slot's description is a text within a longer record.
std::string DescriptionOf(const Slot& slot) {
  const std::string record = slot.GetSlotDescription();
  return record.substr(0, record.find('\0'));
}

}  // namespace

void TELVOCSPContext::Initialize(const char* containerName, DWORD flags, const boost::shared_ptr<Cryptoki>& cryptoki,
                                 DWORD /*useCount*/) {
  if (!cryptoki) throw CCSPContextError("Module Name should be present", NTE_FAIL);
  g_contextLog.WriteLine("\nInitialize Base Class");
  TakeName(containerName, flags);
  m_cryptoki = cryptoki;

  const bool active = ReadSlots();
  if (m_slots.size() > 1 || !active) ChooseSlots(active);
  const SlotPosition position = IsVerify(m_flags) ? m_slots.begin() : WalkSlots();
  g_contextLog.WriteLine("\nSlot List Loop done");

  const bool atEnd = position == m_slots.end();
  CheckOutcome(atEnd);
  if (IsNewKeySet(m_flags) && atEnd && m_containerName.empty()) MakeContainerName();
  if (LowFlags(m_flags) != 0 || m_flags == 0) RememberTokenInfo();
  if (IsNewKeySet(m_flags) && m_readerName.empty()) {
    OpenedSession();
    m_readerName = TrimmedRight(DescriptionOf(m_slots.front()));
  }
  WatchReader(atEnd);
  g_contextLog.WriteLine("\nInitialization Finished");
}

// True when a slot has a token; otherwise the list is of all slots.
bool TELVOCSPContext::ReadSlots() {
  g_contextLog.WriteLine("\nGet Active Slot List");
  m_slots = m_cryptoki->GetActiveSlots();
  const bool active = !m_slots.empty();
  if (!active) {
    g_contextLog.WriteLine("\nNo Active Slot found");
    g_contextLog.WriteLine("\nGet All Slots");
    m_slots = m_cryptoki->GetAllSlots();
  }
  g_contextLog.WriteDecimal("\nSlots Found: ", static_cast<DWORD>(m_slots.size()), true);
  return active;
}

void TELVOCSPContext::ChooseSlots(bool active) {
  const bool readerMatters =
      m_readerName.empty() && (m_containerName.empty() || IsNewKeySet(m_flags)) && !IsVerify(m_flags);
  if (readerMatters && !IsSilent(m_flags)) {
    g_contextLog.WriteLine("\nShow Select Reader UI");
    SelectReader(m_readerName);
    g_contextLog.Write("UI Dlg reader name: ", m_readerName.c_str(), true);
  } else if (readerMatters && !active) {
    throw CCSPContextError("CSP needs UI to operate but CRYPT_SILENT flag is set", NTE_SILENT_CONTEXT);
  }
  if (active) return;

  // The user may have inserted a card while the dialog stood open.
  g_contextLog.WriteLine("\nRetrieve Active Slot List");
  m_slots = m_cryptoki->GetActiveSlots();
  const bool needsNone = IsVerify(m_flags) && m_readerName.empty() && m_containerName.empty();
  if (m_slots.empty() && !needsNone) throw CCSPContextError("No Active Slot found", NTE_FAIL);
}

void TELVOCSPContext::SelectReader(std::string& reader) {
  if (IsSilent(m_flags)) return;
  CSelectCard dialog;
  if (dialog.DoModal() != IDOK) {
    throw CCSPContextError("The operation was cancelled by the user", SCARD_W_CANCELLED_BY_USER);
  }
  dialog.GetReaderName(&reader);
}

// The slot at which the walk stopped; the end when it left the last one, or gave up.
TELVOCSPContext::SlotPosition TELVOCSPContext::WalkSlots() {
  for (SlotPosition position = m_slots.begin(); position != m_slots.end(); ++position) {
    const Step step = VisitSlot(*position);
    if (step == Step::kStay) return position;
    if (step == Step::kEnd) break;
  }
  return m_slots.end();
}

TELVOCSPContext::Step TELVOCSPContext::VisitSlot(Slot& slot) {
  g_contextLog.WriteLine("\nIterating thru Readers");
  m_readerName = TrimmedRight(m_readerName);
  const std::string description = DescriptionOf(slot);
  m_slot = boost::make_shared<Slot>(slot);
  g_contextLog.WriteLine(description.c_str());
  // Two empty names are equal, too.
  if (description == m_readerName) return VisitNamedReader(slot);
  if (!m_readerName.empty()) return Step::kNextSlot;
  return VisitAnyReader(slot, description);
}

TELVOCSPContext::Step TELVOCSPContext::VisitNamedReader(Slot& slot) {
  // Until the look-ups are done, which read the objects once more, no other thread takes one away.
  const LoginLock lock;
  OpenNamedReader(slot);
  if (TakeCertificateOfNamedReader() || TakeKeys("Retrieving Private Key 2", "Retrieving Public Key 2") ||
      TakePublicKey("Retrieving Public Key 3")) {
    return Step::kStay;
  }
  // A named reader is not left for another one; but a container that is to be made must not look as if it were found.
  return IsNewKeySet(m_flags) ? Step::kEnd : Step::kStay;
}

TELVOCSPContext::Step TELVOCSPContext::VisitAnyReader(Slot& slot, const std::string& description) {
  g_contextLog.WriteLine("\nNo Reader name Provided");
  m_readerName = description;
  const LoginLock lock;  // as with a named reader
  if (!OpenAnyReader(slot)) return Step::kNextSlot;
  if (TakeCertificateOfAnyReader() ||
      TakeKeys("\nCert not found, searching for Private Key", "\nCert not found, searching for Public Key")) {
    return Step::kStay;
  }
  // Required: unlike with a named reader, a public key alone is not enough to stay; yet it is kept, and the reader's
  // name with it.
  if (TakePublicKey("\nCert and Private Key not found, searching for Public Key")) return Step::kNextSlot;
  // Required: a private key that was found without its public key stays, too.
  if (IsNewKeySet(m_flags)) {
    g_contextLog.WriteLine("\nSet iterator to SlotList end");
    return Step::kEnd;
  }
  m_readerName.clear();
  return Step::kNextSlot;
}

void TELVOCSPContext::OpenSession(const char* logLine) {
  g_contextLog.WriteLine(logLine);
  m_session = boost::make_shared<Session>(m_token.OpenSession(CKF_RW_SESSION | CKF_SERIAL_SESSION, nullptr, nullptr));
}

void TELVOCSPContext::OpenNamedReader(Slot& slot) {
  g_contextLog.WriteLine("Reader Name found");
  g_contextLog.WriteLine("Retrieving Session");
  g_contextLog.WriteLine("\nRetrieving Token");
  try {
    m_token = slot.GetToken();
    OpenSession("\nOpening Session");
    ForgetObjects();
    g_contextLog.WriteLine("\nRetrieving Objects");
    m_objects = m_session->FindAllObjects();
    g_contextLog.WriteLine("\nObjects Retrieved");
    g_contextLog.WriteLine("\nRetrieving Certificates");
    m_certificates = m_objects.GetCertificates(false);
  } catch (const CryptokiError& error) {
    g_contextLog.WriteLine(error.GetText().c_str());
    SetLastError(error.GetCode());
    throw CCSPContextError(error.GetText(), NTE_FAIL);
  }
}

// False when the token fails: it is passed over.
bool TELVOCSPContext::OpenAnyReader(Slot& slot) {
  const auto passOver = [this](const std::string& text, DWORD code) {
    m_readerName.clear();
    SetLastError(code);
    g_contextLog.WriteLine(text.c_str());
    return false;
  };
  try {
    g_contextLog.WriteLine("\nRetrieving Token");
    m_token = slot.GetToken();
    OpenSession("\nStarting Session");
    ForgetObjects();
    g_contextLog.WriteLine("\nRetrieving objects");
    m_objects = m_session->FindAllObjects();
    g_contextLog.WriteLine("\nGetting Certs");
    m_certificates = m_objects.GetCertificates(false);
    return true;
  } catch (const CryptokiError& error) {
    return passOver(error.GetText(), error.GetCode());
  } catch (const CCSPContextError& error) {
    return passOver(error.GetMessage(), error.GetCode());
  }
}

bool TELVOCSPContext::TakeCertificateOfNamedReader() {
  try {
    g_contextLog.WriteLine("Retrieving Certificate");
    m_certificate = GetCert(m_certificates, m_containerName);
    m_hasCertificate = 1;
    m_hasPublicKey = m_certificate.HasPublicKey() ? 1 : 0;
    if (m_hasPublicKey != 0) {
      g_contextLog.WriteLine("Retrieving Public Key");
      m_publicKey = m_certificate.GetPublicKey();
    } else {
      g_contextLog.WriteLine("\nPublic Key Does not exist");
    }
    m_hasPrivateKey = m_certificate.HasPrivateKey() ? 1 : 0;
    if (m_hasPrivateKey != 0) {
      g_contextLog.WriteLine("Retrieving Private Key");
      m_privateKey = m_certificate.GetPrivateKey();
    } else {
      g_contextLog.WriteLine("Propagate Certificate");
      PropagateCertificate();
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool TELVOCSPContext::TakeCertificateOfAnyReader() {
  try {
    g_contextLog.WriteLine("\nGetting Default Certificate");
    m_certificate = GetCert(m_certificates, m_containerName);
    m_hasCertificate = 1;
    m_hasPublicKey = m_certificate.HasPublicKey() ? 1 : 0;
    g_contextLog.WriteLine("\nGetting Default Public Key");
    if (m_hasPublicKey != 0) m_publicKey = m_certificate.GetPublicKey();
    g_contextLog.WriteLine("\nGetting Default Private Key");
    m_hasPrivateKey = m_certificate.HasPrivateKey() ? 1 : 0;
    if (m_hasPrivateKey != 0) {
      m_privateKey = m_certificate.GetPrivateKey();
    } else {
      PropagateCertificate();
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool TELVOCSPContext::TakeKeys(const char* beforePrivateKey, const char* beforePublicKey) {
  try {
    g_contextLog.WriteLine(beforePrivateKey);
    m_privateKey = GetPrivateKey(m_objects, m_containerName);
    m_hasPrivateKey = 1;
  } catch (...) {
    return false;
  }
  return TakePublicKey(beforePublicKey);
}

bool TELVOCSPContext::TakePublicKey(const char* before) {
  try {
    g_contextLog.WriteLine(before);
    m_publicKey = GetPublicKey(m_objects, m_containerName);
    m_hasPublicKey = 1;
    return true;
  } catch (...) {
    return false;
  }
}

// What an earlier slot left behind belongs to the session that was replaced: with this one its handles would name other
// objects.
void TELVOCSPContext::ForgetObjects() {
  m_hasCertificate = 0;
  m_hasPrivateKey = 0;
  m_hasPublicKey = 0;
  m_certificate = Certificate();
  m_privateKey = PrivateKey();
  m_publicKey = PublicKey();
  m_objects = CryptokiObjects();
  m_certificates.clear();
}

void TELVOCSPContext::CheckOutcome(bool atEnd) const {
  if (atEnd && (m_flags & ~DWORD{CRYPT_NEWKEYSET}) != 0 && LowFlags(m_flags) != 0) {
    throw CCSPContextError("The requested certificate/private key was not found", NTE_BAD_KEYSET);
  }
  if (IsNewKeySet(m_flags) && !atEnd) {
    throw CCSPContextError("CRYPT_NEWKEYSET is set but the container already exists", NTE_EXISTS);
  }
}

void TELVOCSPContext::MakeContainerName() {
  std::array<BYTE, 16> bytes = {};
  OpenedSession().GenerateRandom(bytes.data(), bytes.size());
  m_containerName = BytesToHex(bytes.data(), static_cast<DWORD>(bytes.size()));
}

void TELVOCSPContext::RememberTokenInfo() {
  try {
    m_tokenInfo = m_token.GetTokenInfo();
    g_contextLog.Write("Token Label: ", m_tokenInfo.GetLabel().c_str(), true);
  } catch (...) {
    g_contextLog.WriteLine("Failed to get token info");
  }
}

// A failure can leave no watcher behind: this is the last act.
void TELVOCSPContext::WatchReader(bool atEnd) {
  const std::string reader = TrimmedRight(m_readerName);
  // Required: a context of CRYPT_NEWKEYSET alone is at the end as a rule, and says nothing of it.
  if (m_flags != CRYPT_NEWKEYSET && atEnd) g_contextLog.WriteLine("\nSlot List at end node");
  // A context for verification may name a reader, when it is silent; it does not use it.
  if (reader.empty() || IsVerify(m_flags)) return;
  const Session& session = OpenedSession();
  g_unplugThreadManager.AddUnplugThread(reader, static_cast<DWORD>(m_slot->GetSlotId()), session.GetCryptoki());
}
