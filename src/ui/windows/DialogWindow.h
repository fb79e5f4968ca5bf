// DialogWindow: a modal dialog of the library's resources, as a controller sees and drives it.
#pragma once

#include "common/Platform.h"

#include <exception>
#include <list>
#include <string>

#include "ui/DialogController.h"
#include "ui/DialogView.h"
#include "ui/windows/ControlFonts.h"
#include "ui/windows/WatchedControl.h"

class DialogWindow : public DialogView, private InputListener {
 public:
  explicit DialogWindow(DialogController& controller) : m_controller(controller) {}

  // Opens the window and returns when the dialog has ended, as DialogHost::Run does; with an owner as RunOver does.
  // Call it once.
  INT_PTR RunWindow(const DialogWindow* owner);

  void SetTitle(const std::string& title) override;
  void SetSmallIcon(int icon) override;
  void GrowBy(int pixels) override;
  void End(INT_PTR result) override;
  std::string GetText(int control) const override;
  void SetText(int control, const std::string& text) override;
  std::size_t GetTextLength(int control) const override;
  // A control that is disabled while it has the focus passes it on, so that the keyboard still reaches the dialog.
  void Enable(int control, bool enabled) override;
  void Show(int control, bool shown) override;
  void Focus(int control) override;
  bool IsChecked(int control) const override;
  void LimitText(int control, DWORD characters) override;
  TextSelection GetSelection(int control) const override;
  void Select(int control, TextSelection selection) override;
  void ScrollToCaret(int control) override;
  void SendKey(int control, UINT message, WPARAM key) override;
  bool IsKeyDown(int virtualKey) const override;
  void SetRange(int control, int lowest, int highest) override;
  void SetPosition(int control, int position) override;
  void AddItem(int control, const std::string& text) override;
  void SelectItem(int control, int index) override;

 private:
  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
  void OnOpen();
  INT_PTR OnDrawText(HDC context, HWND control);
  template <typename Visit>
  void ForEachControl(Visit visit);
  void WatchControls();
  void SetFonts();
  void OnInputBefore(int control, UINT message, WPARAM key) override;
  void OnInputAfter(int control, UINT message, WPARAM key) override;
  // Runs one event of the controller. An exception ends the dialog and is kept for RunWindow; no event follows it.
  template <typename Event>
  void Deliver(Event event);

  HWND Control(int control) const;
  LRESULT Send(int control, UINT message, WPARAM wParam, LPARAM lParam) const;

  DialogController& m_controller;
  HWND m_window = nullptr;
  ControlFonts m_fonts;
  std::list<WatchedControl> m_watched;  // their windows point to them
  bool m_focused = false;
  INT_PTR m_result = -1;
  std::exception_ptr m_failure;
};
