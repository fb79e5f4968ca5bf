#include "dialogs/CSecureEditEx.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>

namespace {

constexpr std::size_t kKeyLength = 32;

bool CanSelect(UINT message) {
  switch (message) {
    case WM_KEYDOWN:
    case WM_KEYUP:
    case WM_CHAR:
    case WM_DEADCHAR:
    case WM_MOUSEMOVE:
    case WM_LBUTTONDBLCLK:
    case WM_LBUTTONUP:
    case WM_MBUTTONUP:
    case WM_MBUTTONDBLCLK:
    case WM_RBUTTONUP:
    case WM_RBUTTONDBLCLK:
      return true;
    default:
      return false;
  }
}

bool IsShiftDown(const DialogView& view) {
  return view.IsKeyDown(VK_SHIFT) || view.IsKeyDown(VK_LSHIFT) || view.IsKeyDown(VK_RSHIFT);
}

}  // namespace

void CSecureEditEx::ByteWiper::operator()(BYTE* masked) const {
  WipeMemory(masked, 1);
  delete[] masked;
}

CSecureEditEx::CSecureEditEx(int control) : m_key(kKeyLength), m_control(control) {
  BYTE* key = m_key.Data();
  std::generate_n(key, kKeyLength, [] { return static_cast<BYTE>(std::rand()); });  // NOLINT(cert-msc*): a mask only
}

void CSecureEditEx::WipePlainText(char* text) {
  if (text == nullptr) return;
  WipeMemory(text, std::strlen(text));
  delete[] text;
}

void CSecureEditEx::SetSecureMode(int mode) {
  m_store.clear();
  m_secureMode = mode;
}

CSecureEditEx::PlainText CSecureEditEx::GetPlainText(const DialogView& view) const {
  if (m_secureMode == 0) {
    std::string text = view.GetText(m_control);
    const StringWiper wiper(text);
    PlainText plain(new (std::nothrow) char[text.size() + 1]());
    if (plain) std::copy(text.begin(), text.end(), plain.get());
    return plain;
  }
  PlainText plain(new (std::nothrow) char[m_store.size() + 1]());
  if (!plain) return plain;
  const BYTE* key = m_key.Data();
  for (std::size_t i = 0; i < m_store.size(); ++i) {
    plain[i] = static_cast<char>(m_store[i][0] ^ key[i % kKeyLength]);
  }
  return plain;
}

void CSecureEditEx::SetPlainText(DialogView& view, const char* text) {
  const char* shown = text != nullptr ? text : "";
  const std::size_t length = std::strlen(shown);
  // Stored first, because the window reports the change while the text is set.
  m_length = length;
  if (m_secureMode == 0) {
    std::string plain = shown;
    const StringWiper wiper(plain);
    view.SetText(m_control, plain);
    return;
  }
  m_store.clear();
  InsertIntoStore(0, shown, length);
  ShowAsterisks(view);
}

void CSecureEditEx::OnOpen() {
  m_store.clear();
  m_length = 0;
}

void CSecureEditEx::OnUpdate(DialogView& view) {
  const std::size_t length = view.GetTextLength(m_control);
  if (m_secureMode == 0) {
    m_length = length;
    return;
  }
  // The lengths are also equal when the window reports the asterisks that were written back.
  if (length == m_length) return;
  std::string text = view.GetText(m_control);
  const StringWiper wiper(text);
  const std::size_t caret = std::min(view.GetSelection(m_control).end, text.size());
  if (length > m_length) {
    const std::size_t count = std::min(length - m_length, text.size());
    const std::size_t position = std::min(caret - std::min(caret, count), text.size() - count);
    InsertIntoStore(position, text.data() + position, count);
  } else {
    DeleteFromStore(caret, m_length - length);
  }
  m_length = m_store.size();
  ShowAsterisks(view);
  view.Select(m_control, {caret, caret});
  view.ScrollToCaret(m_control);
}

void CSecureEditEx::BeforeInput(DialogView& view, UINT message, WPARAM key) {
  if (message != WM_KEYDOWN || (key != VK_HOME && key != VK_END) || !IsShiftDown(view)) return;
  // Required: what would select everything empties the field, even while the PIN is revealed.
  SetPlainText(view, nullptr);
  view.Select(m_control, {0, 0});
}

void CSecureEditEx::AfterInput(DialogView& view, UINT message) {
  if (!CanSelect(message)) return;
  const TextSelection selection = view.GetSelection(m_control);
  if (selection.start == selection.end) return;
  view.Select(m_control, {selection.start, selection.start});
  view.ScrollToCaret(m_control);
}

void CSecureEditEx::ToggleMask() {
  const BYTE* key = m_key.Data();
  for (std::size_t i = 0; i < m_store.size(); ++i) m_store[i][0] ^= key[i % kKeyLength];
}

void CSecureEditEx::InsertIntoStore(std::size_t position, const char* text, std::size_t length) {
  // All allocations are made before the mask is removed.
  std::vector<MaskedByte> fresh;
  fresh.reserve(length);
  for (std::size_t i = 0; i < length; ++i) fresh.emplace_back(new BYTE[1]{static_cast<BYTE>(text[i])});
  m_store.reserve(m_store.size() + length);
  const auto place = static_cast<std::ptrdiff_t>(std::min(position, m_store.size()));
  ToggleMask();
  m_store.insert(m_store.begin() + place, std::make_move_iterator(fresh.begin()), std::make_move_iterator(fresh.end()));
  ToggleMask();
}

void CSecureEditEx::DeleteFromStore(std::size_t position, std::size_t length) {
  const std::size_t start = std::min(position, m_store.size());
  const std::size_t end = start + std::min(length, m_store.size() - start);
  ToggleMask();
  m_store.erase(m_store.begin() + static_cast<std::ptrdiff_t>(start),
                m_store.begin() + static_cast<std::ptrdiff_t>(end));
  ToggleMask();
}

void CSecureEditEx::ShowAsterisks(DialogView& view) { view.SetText(m_control, std::string(m_store.size(), '*')); }
