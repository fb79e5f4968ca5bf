#include "ui/windows/WatchedControl.h"

namespace {

bool IsInput(UINT message) {
  return (message >= WM_KEYFIRST && message <= WM_KEYLAST) || (message >= WM_MOUSEFIRST && message <= WM_MOUSELAST);
}

}  // namespace

WatchedControl::WatchedControl(HWND window, InputListener& listener)
    : m_listener(listener), m_default(reinterpret_cast<WNDPROC>(GetWindowLongPtrA(window, GWLP_WNDPROC))) {
  SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Procedure));
}

LRESULT WatchedControl::Default(HWND window, UINT message, WPARAM wParam, LPARAM lParam) const {
  return CallWindowProcA(m_default, window, message, wParam, lParam);
}

LRESULT CALLBACK WatchedControl::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  const auto& self = *reinterpret_cast<const WatchedControl*>(GetWindowLongPtrA(window, GWLP_USERDATA));
  if (!IsInput(message)) return self.Default(window, message, wParam, lParam);

  const int control = GetDlgCtrlID(window);
  self.m_listener.OnInputBefore(control, message, wParam);
  const LRESULT result = self.Default(window, message, wParam, lParam);
  self.m_listener.OnInputAfter(control, message, wParam);
  return result;
}
