#include "dialogs/CSelectCard.h"

#include <cstring>
#include <stdexcept>

#include "common/FormatNumber.h"
#include "common/SmartCard.h"
#include "resources/DialogIds.h"
#include "ui/DialogHost.h"

namespace {

void RequireSuccess(LONG result, const char* message) {
  if (result != SCARD_S_SUCCESS) throw std::runtime_error(FormatNumber(message, static_cast<DWORD>(result)));
}

}  // namespace

CSelectCard::~CSelectCard() { ReleaseContext(); }

INT_PTR CSelectCard::DoModal() { return GetDialogHost().Run(*this); }

void CSelectCard::GetReaderName(std::string* out) const {
  if (out == nullptr) throw std::runtime_error("Reader name is NULL");
  *out = m_readerName;
}

int CSelectCard::GetResource() const { return IDD_SELECT_CARD; }

void CSelectCard::OnOpen(DialogView& view) {
  view.SetSmallIcon(IDI_PROVIDER);
  ReleaseContext();
  RequireSuccess(SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &m_context),
                 "SCardEstablishContext Failed: 0x%08X");
  char* readers = nullptr;
  DWORD length = SCARD_AUTOALLOCATE;
  // The list is not freed here: it is released with the context.
  RequireSuccess(SCardListReadersA(m_context, nullptr, reinterpret_cast<LPSTR>(&readers), &length),
                 "SCardListReaders Failed: 0x%08X");
  if (readers == nullptr || std::strlen(readers) < 2) throw std::runtime_error("No cards/tokens were detected.");
  for (const char* name = readers; *name != '\0'; name += std::strlen(name) + 1) view.AddItem(IDC_READERS, name);
  view.SelectItem(IDC_READERS, 0);
}

void CSelectCard::OnCommand(DialogView& view, int control, UINT notification) {
  if (notification != BN_CLICKED) return;
  if (control == IDOK) {
    m_readerName = view.GetText(IDC_READERS);
    view.End(IDOK);
  } else if (control == IDCANCEL) {
    view.End(IDCANCEL);
  }
}

// A failure is ignored: a context that PC/SC does not know needs no release.
void CSelectCard::ReleaseContext() {
  if (m_context != 0) SCardReleaseContext(m_context);
  m_context = 0;
}
