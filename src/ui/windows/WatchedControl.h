// WatchedControl: shows the key and mouse messages of a control to a listener, before and after their default handling.
#pragma once

#include "common/Platform.h"

class InputListener {
 public:
  InputListener() = default;
  virtual ~InputListener() = default;
  InputListener(const InputListener&) = delete;
  InputListener& operator=(const InputListener&) = delete;

  // Called from the control's window procedure. Neither may throw.
  virtual void OnInputBefore(int control, UINT message, WPARAM key) = 0;
  virtual void OnInputAfter(int control, UINT message, WPARAM key) = 0;
};

class WatchedControl {
 public:
  // Watches until the window is destroyed. Both `listener` and this object must outlive the window.
  WatchedControl(HWND window, InputListener& listener);
  WatchedControl(const WatchedControl&) = delete;
  WatchedControl& operator=(const WatchedControl&) = delete;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT Default(HWND window, UINT message, WPARAM wParam, LPARAM lParam) const;

  InputListener& m_listener;
  WNDPROC m_default;
};
