#include "ui/windows/DialogWindow.h"

#include <commctrl.h>
#include <optional>

#include "common/LibraryInstance.h"

namespace {

// Never null: for pictures a null instance stands for the system's own.
HINSTANCE ResourceModule() { return g_libraryInstance != nullptr ? g_libraryInstance : GetModuleHandleA(nullptr); }

// Loads the library with the window class of progress bars while a dialog that has one is open. Most processes with the
// provider show none.
class ProgressBars {
 public:
  ProgressBars() {
    // Wine registers its window classes once in a process, under the loader's lock. This call waits until that is done:
    // otherwise comctl32 waits for it while it holds the loader's lock, and two threads wait for each other.
    GetDesktopWindow();
    m_library = LoadLibraryExA("comctl32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (m_library == nullptr) return;
    const auto initialize = reinterpret_cast<decltype(&InitCommonControlsEx)>(
        reinterpret_cast<void (*)()>(GetProcAddress(m_library, "InitCommonControlsEx")));
    const INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_PROGRESS_CLASS};
    if (initialize != nullptr) initialize(&controls);
  }
  ~ProgressBars() {
    if (m_library != nullptr) FreeLibrary(m_library);
  }
  ProgressBars(const ProgressBars&) = delete;
  ProgressBars& operator=(const ProgressBars&) = delete;

 private:
  HMODULE m_library = nullptr;
};

LONG HeightOf(HFONT font, HWND window) {
  const HDC context = GetDC(window);
  const HGDIOBJ before = SelectObject(context, font);
  TEXTMETRICA metrics = {};
  GetTextMetricsA(context, &metrics);
  SelectObject(context, before);
  ReleaseDC(window, context);
  return metrics.tmHeight;
}

// Gives a control the font, and at least the height of one line of it, so that the text is not cut off.
void SetFont(HWND window, HFONT font) {
  SendMessageA(window, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  RECT size = {};
  GetClientRect(window, &size);
  const LONG height = HeightOf(font, window);
  if (height <= size.bottom) return;
  SetWindowPos(window, nullptr, 0, 0, size.right, height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace

INT_PTR DialogWindow::RunWindow(const DialogWindow* owner) {
  std::optional<ProgressBars> progressBars;
  if (m_controller.HasProgressBar()) progressBars.emplace();
  // The result is kept here: in some places the system passes on only 32 bits of it.
  DialogBoxParamA(ResourceModule(), MAKEINTRESOURCEA(m_controller.GetResource()),
                  owner != nullptr ? owner->m_window : nullptr, &Procedure, reinterpret_cast<LPARAM>(this));
  if (m_failure) std::rethrow_exception(m_failure);
  return m_result;
}

INT_PTR CALLBACK DialogWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    reinterpret_cast<DialogWindow*>(lParam)->m_window = window;
    SetWindowLongPtrA(window, DWLP_USER, lParam);
  }
  auto* const self = reinterpret_cast<DialogWindow*>(GetWindowLongPtrA(window, DWLP_USER));
  return self == nullptr ? FALSE : self->OnMessage(message, wParam, lParam);
}

INT_PTR DialogWindow::OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      OnOpen();
      return FALSE;  // OnOpen has set the focus
    case WM_COMMAND:
      Deliver([&] { m_controller.OnCommand(*this, LOWORD(wParam), HIWORD(wParam)); });
      return TRUE;
    case WM_CTLCOLORSTATIC:
      return OnDrawText(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam));
    default:
      return FALSE;
  }
}

void DialogWindow::OnOpen() {
  Deliver([&] {
    WatchControls();
    m_controller.OnOpen(*this);
    SetFonts();
  });
  // The system chose a control before the controller disabled some.
  if (!m_focused) SetFocus(GetNextDlgTabItem(m_window, nullptr, FALSE));
}

// Returns the brush of the background, or null for the system's own colours.
INT_PTR DialogWindow::OnDrawText(HDC context, HWND control) {
  INT_PTR background = 0;
  Deliver([&] {
    COLORREF color = 0;
    if (m_controller.GetTextColor(GetDlgCtrlID(control), color)) {
      SetTextColor(context, color);
      SetBkColor(context, GetSysColor(COLOR_BTNFACE));
      background = reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_BTNFACE));  // the system's, not to be freed
    }
  });
  return background;
}

template <typename Visit>
void DialogWindow::ForEachControl(Visit visit) {
  for (HWND child = GetWindow(m_window, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
    visit(child, GetDlgCtrlID(child));
  }
}

void DialogWindow::WatchControls() {
  ForEachControl([this](HWND window, int control) {
    if (m_controller.WatchesInput(control)) m_watched.emplace_back(window, static_cast<InputListener&>(*this));
  });
}

// A font that is selected only in WM_CTLCOLORSTATIC is not used on every system.
void DialogWindow::SetFonts() {
  ForEachControl([this](HWND window, int control) {
    DialogFont font;
    if (m_controller.GetTextFont(control, font)) SetFont(window, m_fonts.Get(control, font));
  });
}

void DialogWindow::OnInputBefore(int control, UINT message, WPARAM key) {
  Deliver([&] { m_controller.BeforeInput(*this, control, message, key); });
}

void DialogWindow::OnInputAfter(int control, UINT message, WPARAM key) {
  Deliver([&] { m_controller.AfterInput(*this, control, message, key); });
}

template <typename Event>
void DialogWindow::Deliver(Event event) {
  if (m_failure) return;
  try {
    event();
  } catch (...) {
    // No exception may pass through the system's window procedures.
    m_failure = std::current_exception();
    EndDialog(m_window, -1);
  }
}

void DialogWindow::SetTitle(const std::string& title) { SetWindowTextA(m_window, title.c_str()); }

void DialogWindow::SetSmallIcon(int icon) {
  const HANDLE handle = LoadImageA(ResourceModule(), MAKEINTRESOURCEA(icon), IMAGE_ICON, GetSystemMetrics(SM_CXSMICON),
                                   GetSystemMetrics(SM_CYSMICON), LR_SHARED);
  SendMessageA(m_window, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(handle));
}

void DialogWindow::GrowBy(int pixels) {
  RECT frame = {};
  GetWindowRect(m_window, &frame);
  SetWindowPos(m_window, nullptr, 0, 0, frame.right - frame.left, frame.bottom - frame.top + pixels,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void DialogWindow::End(INT_PTR result) {
  m_result = result;
  EndDialog(m_window, result);
}

std::string DialogWindow::GetText(int control) const {
  // Read into the string itself: a PIN that is shown in plain must not be in a second buffer.
  std::string text(GetTextLength(control) + 1, '\0');
  const int length = GetWindowTextA(Control(control), text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

void DialogWindow::SetText(int control, const std::string& text) { SetWindowTextA(Control(control), text.c_str()); }

std::size_t DialogWindow::GetTextLength(int control) const {
  return static_cast<std::size_t>(GetWindowTextLengthA(Control(control)));
}

void DialogWindow::Enable(int control, bool enabled) {
  const HWND window = Control(control);
  if (!enabled && window != nullptr && GetFocus() == window) SendMessageA(m_window, WM_NEXTDLGCTL, 0, FALSE);
  EnableWindow(window, enabled ? TRUE : FALSE);
}

void DialogWindow::Show(int control, bool shown) { ShowWindow(Control(control), shown ? SW_SHOW : SW_HIDE); }

void DialogWindow::Focus(int control) {
  const HWND window = Control(control);
  if (IsWindowEnabled(window) == FALSE) return;
  m_focused = true;
  SetFocus(window);
}

bool DialogWindow::IsChecked(int control) const { return IsDlgButtonChecked(m_window, control) == BST_CHECKED; }

void DialogWindow::LimitText(int control, DWORD characters) { Send(control, EM_LIMITTEXT, characters, 0); }

TextSelection DialogWindow::GetSelection(int control) const {
  DWORD start = 0;
  DWORD end = 0;
  Send(control, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
  return {start, end};
}

void DialogWindow::Select(int control, TextSelection selection) {
  Send(control, EM_SETSEL, selection.start, static_cast<LPARAM>(selection.end));
}

void DialogWindow::ScrollToCaret(int control) { Send(control, EM_SCROLLCARET, 0, 0); }

void DialogWindow::SendKey(int control, UINT message, WPARAM key) { Send(control, message, key, 1); }

bool DialogWindow::IsKeyDown(int virtualKey) const { return GetKeyState(virtualKey) < 0; }

void DialogWindow::SetRange(int control, int lowest, int highest) {
  Send(control, PBM_SETRANGE32, static_cast<WPARAM>(lowest), highest);
}

void DialogWindow::SetPosition(int control, int position) {
  Send(control, PBM_SETPOS, static_cast<WPARAM>(position), 0);
}

void DialogWindow::AddItem(int control, const std::string& text) {
  Send(control, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

void DialogWindow::SelectItem(int control, int index) { Send(control, CB_SETCURSEL, static_cast<WPARAM>(index), 0); }

HWND DialogWindow::Control(int control) const { return GetDlgItem(m_window, control); }

LRESULT DialogWindow::Send(int control, UINT message, WPARAM wParam, LPARAM lParam) const {
  return SendDlgItemMessageA(m_window, control, message, wParam, lParam);
}
