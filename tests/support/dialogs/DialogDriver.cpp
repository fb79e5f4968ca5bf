#include "dialogs/DialogDriver.h"

#include <atomic>
#include <chrono>
#include <commctrl.h>
#include <gtest/gtest.h>
#include <thread>

namespace {

std::string TextOf(HWND window) {
  std::string text(static_cast<std::size_t>(GetWindowTextLengthA(window)) + 1, '\0');
  text.resize(static_cast<std::size_t>(GetWindowTextA(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

bool IsShownDialog(HWND window) {
  char name[32] = {};
  GetClassNameA(window, name, sizeof(name));
  return std::string(name) == "#32770" && IsWindowVisible(window);
}

// The first window that passes a filter.
struct Search {
  std::function<bool(HWND)> filter;
  HWND found = nullptr;
};

BOOL CALLBACK Visit(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  if (!search.filter(window)) return TRUE;
  search.found = window;
  return FALSE;
}

// The dialog that a thread shows, other than `known`.
HWND FindDialog(DWORD thread, HWND known = nullptr) {
  Search search{[known](HWND window) { return window != known && IsShownDialog(window); }};
  EnumThreadWindows(thread, Visit, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

HWND FindDialogTitled(const std::string& title) {
  Search search{[&title](HWND window) {
    if (!IsShownDialog(window)) return false;
    const std::string text = TextOf(window);
    return text.substr(0, text.find_last_not_of(' ') + 1) == title;
  }};
  EnumWindows(Visit, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

}  // namespace

INT_PTR DialogDriver::Run(const std::function<INT_PTR()>& dialog, const std::function<void(DialogDriver&)>& user) {
  const DWORD thread = GetCurrentThreadId();
  std::atomic<bool> ended{false};
  std::thread second([&] {
    HWND window = nullptr;
    if (!WaitFor("the dialog", [&] { return ended || (window = FindDialog(thread)) != nullptr; }) || ended) return;
    WaitFor("the dialog in the foreground", [&] { return GetForegroundWindow() == window; });
    DialogDriver driver(window);
    user(driver);
    if (IsWindow(window)) PostMessageA(window, WM_COMMAND, IDCANCEL, 0);
  });
  struct Join {
    std::thread& thread;
    std::atomic<bool>& ended;
    ~Join() {
      ended = true;
      thread.join();
    }
  } join{second, ended};
  return dialog();
}

std::optional<DialogDriver> DialogDriver::Titled(const std::string& title) {
  HWND window = nullptr;
  if (!WaitFor(title.c_str(), [&] { return (window = FindDialogTitled(title)) != nullptr; })) return std::nullopt;
  return DialogDriver(window);
}

std::string DialogDriver::Title() const { return TextOf(m_window); }

std::string DialogDriver::Text(int id) const {
  // The message goes to the control itself, so that an edit control answers as well.
  char text[512] = {};
  SendMessageA(Control(id), WM_GETTEXT, sizeof(text), reinterpret_cast<LPARAM>(text));
  return text;
}

bool DialogDriver::IsEnabled(int id) const { return IsWindowEnabled(Control(id)) != FALSE; }

bool DialogDriver::IsVisible(int id) const { return IsWindowVisible(Control(id)) != FALSE; }

bool DialogDriver::HasFocus(int id) const {
  GUITHREADINFO info = {};
  info.cbSize = sizeof(info);
  GetGUIThreadInfo(GetWindowThreadProcessId(m_window, nullptr), &info);
  return info.hwndFocus == Control(id);
}

std::pair<DWORD, DWORD> DialogDriver::Selection(int id) const {
  const auto both = static_cast<DWORD>(SendMessageA(Control(id), EM_GETSEL, 0, 0));
  return {LOWORD(both), HIWORD(both)};
}

LOGFONTA DialogDriver::Font(int id) const {
  LOGFONTA font = {};
  const LRESULT handle = SendMessageA(Control(id), WM_GETFONT, 0, 0);
  EXPECT_NE(0, GetObjectA(reinterpret_cast<HFONT>(handle), sizeof(font), &font));
  return font;
}

int DialogDriver::Position(int id) const { return static_cast<int>(SendMessageA(Control(id), PBM_GETPOS, 0, 0)); }

std::pair<int, int> DialogDriver::Range(int id) const {
  const auto end = [&](BOOL low) {
    return static_cast<int>(SendMessageA(Control(id), PBM_GETRANGE, static_cast<WPARAM>(low), 0));
  };
  return {end(TRUE), end(FALSE)};
}

std::vector<COLORREF> DialogDriver::Pixels(int id) const {
  const HWND control = Control(id);
  UpdateWindow(control);
  SendMessageA(control, WM_NULL, 0, 0);
  RECT size = {};
  GetClientRect(control, &size);
  std::vector<COLORREF> pixels;
  const HDC context = GetDC(control);
  for (int y = 0; y < size.bottom; ++y) {
    for (int x = 0; x < size.right; ++x) pixels.push_back(GetPixel(context, x, y));
  }
  ReleaseDC(control, context);
  return pixels;
}

void DialogDriver::Type(int id, const std::string& characters) const {
  for (const char character : characters) SendMessageA(Control(id), WM_CHAR, static_cast<BYTE>(character), 1);
}

void DialogDriver::Key(int id, WORD virtualKey) const {
  SendMessageA(Control(id), WM_KEYDOWN, virtualKey, 1);
  SendMessageA(Control(id), WM_KEYUP, virtualKey, static_cast<LPARAM>(0xC0000001));
}

void DialogDriver::DoubleClick(int id) const {
  const LPARAM place = MAKELPARAM(6, 6);
  SendMessageA(Control(id), WM_LBUTTONDOWN, MK_LBUTTON, place);
  SendMessageA(Control(id), WM_LBUTTONUP, 0, place);
  SendMessageA(Control(id), WM_LBUTTONDBLCLK, MK_LBUTTON, place);
  SendMessageA(Control(id), WM_LBUTTONUP, 0, place);
}

void DialogDriver::Click(int id) const { SendMessageA(Control(id), BM_CLICK, 0, 0); }

DialogDriver DialogDriver::Open(int id) const {
  PostMessageA(Control(id), BM_CLICK, 0, 0);
  HWND opened = nullptr;
  const DWORD thread = GetWindowThreadProcessId(m_window, nullptr);
  WaitFor("a second dialog", [&] { return (opened = FindDialog(thread, m_window)) != nullptr; });
  WaitFor("the second dialog in the foreground", [&] { return GetForegroundWindow() == opened; });
  return DialogDriver(opened);
}

void DialogDriver::HoldKey(BYTE virtualKey) const { keybd_event(virtualKey, 0, 0, 0); }

void DialogDriver::ReleaseKey(BYTE virtualKey) const { keybd_event(virtualKey, 0, KEYEVENTF_KEYUP, 0); }

void DialogDriver::PressKey(BYTE virtualKey) const {
  HoldKey(virtualKey);
  ReleaseKey(virtualKey);
}

void DialogDriver::CloseBox() const { SendMessageA(m_window, WM_SYSCOMMAND, SC_CLOSE, 0); }

bool DialogDriver::WaitFor(const char* what, const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      ADD_FAILURE() << "timed out waiting for: " << what;
      return false;
    }
    Sleep(2);
  }
  return true;
}
