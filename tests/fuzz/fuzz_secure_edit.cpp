// The edit control for a PIN: keys, mouse, pasted text and text set by a program, in any order. A model, an ordinary
// string with a caret, knows what the user has entered. The window may show only asterisks, and nothing stays selected.
#include <algorithm>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

#include "Must.h"
#include "dialogs/CSecureEditEx.h"
#include "dialogs/ScriptedDialogs.h"
#include "resources/DialogIds.h"

namespace {

// A dialog with only the field in it.
class FieldDialog : public DialogController {
 public:
  int GetResource() const override { return IDD_LOGIN; }
  void OnOpen(DialogView& /*view*/) override { field.OnOpen(); }
  void OnCommand(DialogView& view, int control, UINT notification) override {
    if (control == IDC_PIN_EDIT && notification == EN_UPDATE) field.OnUpdate(view);
  }
  bool WatchesInput(int control) const override { return control == IDC_PIN_EDIT; }
  void BeforeInput(DialogView& view, int /*control*/, UINT message, WPARAM key) override {
    field.BeforeInput(view, message, key);
  }
  void AfterInput(DialogView& view, int /*control*/, UINT message, WPARAM /*key*/) override {
    field.AfterInput(view, message);
  }

  CSecureEditEx field{IDC_PIN_EDIT};
};

class Typist {
 public:
  Typist(FuzzedDataProvider& data, FieldDialog& controller, ScriptedDialog& dialog)
      : m_data(data), m_field(controller.field), m_dialog(dialog) {
    m_limit = data.ConsumeIntegralInRange<DWORD>(0, 20);
    m_dialog.LimitText(IDC_PIN_EDIT, m_limit);
  }

  void Work() {
    while (m_data.remaining_bytes() > 0) {
      Step();
      Compare();
    }
  }

 private:
  std::string Characters(std::size_t most) {
    std::string text(m_data.ConsumeIntegralInRange<std::size_t>(0, most), ' ');
    for (char& c : text) c = static_cast<char>(m_data.ConsumeIntegralInRange<int>(' ', 0xFF));
    return text;
  }

  void Step() {
    switch (m_data.ConsumeIntegralInRange(0, 9)) {
      case 0:
        return Key(VK_BACK);
      case 1:
        return Key(VK_DELETE);
      case 2:
        return Move();
      case 3:
        return Drag();
      case 4:
        m_dialog.DoubleClick(IDC_PIN_EDIT);
        m_caret = 0;
        return;
      case 5:
        return Empty();
      case 6:
        return SetPlainText();
      case 7: {
        const std::string text = Characters(6);
        m_dialog.Paste(IDC_PIN_EDIT, text);
        return Insert(text);
      }
      default: {
        const std::string text = Characters(3);
        m_dialog.Type(IDC_PIN_EDIT, text);
        for (const char c : text) {
          // Keys without a character do nothing.
          if (static_cast<unsigned char>(c) >= ' ') Insert(std::string(1, c));
        }
        return;
      }
    }
  }

  void Insert(std::string text) {
    if (m_limit != 0)
      text.resize(std::min<std::size_t>(text.size(), m_limit - std::min<std::size_t>(m_limit, m_text.size())));
    m_text.insert(m_caret, text);
    m_caret += text.size();
  }

  void Key(int key) {
    m_dialog.Press(IDC_PIN_EDIT, key);
    if (key == VK_BACK && m_caret > 0) m_text.erase(--m_caret, 1);
    if (key == VK_DELETE && m_caret < m_text.size()) m_text.erase(m_caret, 1);
  }

  void Move() {
    constexpr int kKeys[] = {VK_LEFT, VK_RIGHT, VK_HOME, VK_END};
    const int key = m_data.PickValueInArray(kKeys);
    m_dialog.Press(IDC_PIN_EDIT, key);
    if (key == VK_LEFT && m_caret > 0) --m_caret;
    if (key == VK_RIGHT && m_caret < m_text.size()) ++m_caret;
    if (key == VK_HOME) m_caret = 0;
    if (key == VK_END) m_caret = m_text.size();
  }

  // The selection is removed when the mouse has moved; the caret is then at its left end.
  void Drag() {
    const std::size_t from = m_data.ConsumeIntegralInRange<std::size_t>(0, m_text.size());
    const std::size_t to = m_data.ConsumeIntegralInRange<std::size_t>(0, m_text.size());
    m_dialog.Drag(IDC_PIN_EDIT, from, to);
    m_caret = std::min(from, to);
  }

  // Shift with Home or End empties the field.
  void Empty() {
    constexpr int kShifts[] = {VK_SHIFT, VK_LSHIFT, VK_RSHIFT};
    const int shift = m_data.PickValueInArray(kShifts);
    m_dialog.Hold(shift);
    m_dialog.Press(IDC_PIN_EDIT, m_data.ConsumeBool() ? VK_HOME : VK_END);
    m_dialog.Hold(shift, false);
    m_text.clear();
    m_caret = 0;
  }

  void SetPlainText() {
    const bool isNull = m_data.ConsumeBool();
    const std::string text = isNull ? "" : Characters(6);
    m_field.SetPlainText(m_dialog, isNull ? nullptr : text.c_str());
    m_text = text;
    m_caret = 0;
  }

  void Compare() const {
    Must(m_field.GetPlainText(m_dialog).get() == m_text);
    Must(m_dialog.GetText(IDC_PIN_EDIT) == std::string(m_text.size(), '*') &&
         m_dialog.ShowedOnlyAsterisks(IDC_PIN_EDIT));
    const TextSelection selection = m_dialog.GetSelection(IDC_PIN_EDIT);
    Must(selection.start == m_caret && selection.end == m_caret);
  }

  FuzzedDataProvider& m_data;
  CSecureEditEx& m_field;
  ScriptedDialog& m_dialog;
  DWORD m_limit = 0;
  std::string m_text;
  std::size_t m_caret = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  FieldDialog controller;
  ScriptedDialogs dialogs;
  dialogs.OnNextThenCancel([&](ScriptedDialog& dialog) { Typist(data, controller, dialog).Work(); });
  dialogs.Run(controller);
  return 0;
}
