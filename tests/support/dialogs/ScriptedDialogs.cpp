#include "dialogs/ScriptedDialogs.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <utility>

#include "resources/DialogIds.h"

namespace {

// The key of a character. Letters and digits have the number of their key. Other characters must not be taken for
// End or Home.
WPARAM KeyOf(char character) {
  constexpr WPARAM kOtherKey = 0xBA;
  const auto byte = static_cast<unsigned char>(character);
  return std::isalnum(byte) != 0 ? static_cast<WPARAM>(std::toupper(byte)) : kOtherKey;
}

bool ComesBefore(const std::string& left, const std::string& right) {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return std::toupper(static_cast<unsigned char>(a)) < std::toupper(static_cast<unsigned char>(b));
  });
}

}  // namespace

// --- The templates

ScriptedDialog::ScriptedDialog(DialogController& controller) : m_controller(controller) { BuildTemplate(); }

void ScriptedDialog::AddControls(Kind kind, int first, int last, const std::string& text) {
  for (int id = first; id <= last; ++id) {
    Control control;
    control.kind = kind;
    control.text = text;
    m_controls[id] = control;
  }
}

void ScriptedDialog::BuildTemplate() {
  switch (GetResource()) {
    case IDD_LOGIN:
      m_title = "Enter PIN for <Token Name>";
      AddControls(Kind::kButton, IDC_LOGIN, IDC_LOGIN, "Login");
      AddControls(Kind::kButton, IDC_CANCEL, IDC_CANCEL, "Cancel");
      AddControls(Kind::kEdit, IDC_PIN_EDIT, IDC_PIN_EDIT, "");
      AddControls(Kind::kStatic, IDC_PIN_LABEL, IDC_PIN_LABEL, "PIN:");
      AddControls(Kind::kStatic, IDC_LOGIN_STATUS, IDC_LOGIN_STATUS, "Incorrect PIN. XX retries left");
      break;
    case IDD_SELECT_CARD:
      m_title = "Brenholt Devices CSP";
      AddControls(Kind::kButton, IDOK, IDOK, "OK");
      AddControls(Kind::kButton, IDCANCEL, IDCANCEL, "Cancel");
      AddControls(Kind::kDropDown, IDC_READERS, IDC_READERS, "");
      AddControls(Kind::kStatic, IDC_SELECT_LABEL, IDC_SELECT_LABEL, "Please select a smart card");
      break;
    case IDD_LOGIN_KEYBOARD:
      m_title = "Enter PIN for <Token Name>";
      AddControls(Kind::kButton, IDC_LOGIN, IDC_LOGIN, "Login");
      AddControls(Kind::kButton, IDC_KEYBOARD_CANCEL, IDC_KEYBOARD_CANCEL, "Cancel");
      AddControls(Kind::kButton, IDC_CHANGE_PIN, IDC_CHANGE_PIN, "Change PIN...");
      AddControls(Kind::kEdit, IDC_PIN_EDIT, IDC_PIN_EDIT, "");
      AddControls(Kind::kStatic, IDC_KEYBOARD_STATUS, IDC_KEYBOARD_STATUS, "");
      for (const int box : {IDC_SHOW_KEYBOARD, IDC_CHANGE_AFTER_LOGIN, IDC_REVEAL_PIN}) {
        AddControls(Kind::kCheckBox, box, box, "");
      }
      BuildKeyboard();
      break;
    case IDD_CHANGE_PIN:
      BuildChangePIN();
      BuildKeyboard();
      break;
    case IDD_CHANGE_PWD:
      m_title = "Schimba PIN-ul pentru <Token Name>";
      AddControls(Kind::kButton, IDC_CHANGE_PWD, IDC_CHANGE_PWD, "OK");
      AddControls(Kind::kButton, IDC_CANCEL, IDC_CANCEL, "Close");
      for (const int edit : {IDC_CURRENT_PWD, IDC_NEW_PWD, IDC_REPEATED_PWD}) AddControls(Kind::kEdit, edit, edit, "");
      break;
    default:
      ADD_FAILURE() << "ScriptedDialogs has no template " << GetResource();
  }
}

void ScriptedDialog::BuildChangePIN() {
  m_title = "Change PIN";
  AddControls(Kind::kButton, IDOK, IDOK, "OK");
  AddControls(Kind::kButton, IDCANCEL, IDCANCEL, "Cancel");
  AddControls(Kind::kButton, IDC_CLEAR_PINS, IDC_CLEAR_PINS, "Clear");
  for (const int edit : {IDC_CURRENT_PIN, IDC_NEW_PIN, IDC_REPEATED_PIN}) AddControls(Kind::kEdit, edit, edit, "");
  for (const int box : {IDC_SHOW_CHANGE_KEYBOARD, IDC_REVEAL_PINS}) AddControls(Kind::kCheckBox, box, box, "");
  AddControls(Kind::kStatic, IDC_CHANGE_STATUS, IDC_CHANGE_STATUS, "");
  AddControls(Kind::kProgressBar, IDC_STRENGTH_BAR, IDC_STRENGTH_BAR, "");
  AddControls(Kind::kStatic, IDC_STRENGTH_LABEL, IDC_STRENGTH_LABEL, "Strength:");
  AddControls(Kind::kStatic, IDC_STRENGTH_WORD, IDC_STRENGTH_WORD, "");
  // The library's own template has none of these.
  AddControls(Kind::kStatic, IDC_SHOW_KEYBOARD, IDC_SHOW_KEYBOARD, "");
  AddControls(Kind::kStatic, IDC_CHANGE_HIDDEN_FIRST, IDC_CHANGE_HIDDEN_LAST, "");
}

void ScriptedDialog::BuildKeyboard() {
  AddControls(Kind::kButton, IDC_KEY_BACKQUOTE, IDC_KEY_HOME, "");
  AddControls(Kind::kButton, IDC_KEY_Z, IDC_KEY_SPACE, "");
  AddControls(Kind::kCheckBox, IDC_KEY_CAPS, IDC_KEY_CAPS, "Caps");
  AddControls(Kind::kCheckBox, IDC_KEY_SHIFT, IDC_KEY_SHIFT, "Shift");
}

ScriptedDialog::Control& ScriptedDialog::Find(int control) const {
  const auto found = m_controls.find(control);
  if (found != m_controls.end()) return found->second;
  ADD_FAILURE() << "dialog " << GetResource() << " has no control " << control;
  return m_controls[control];
}

// --- Events

template <typename Event>
void ScriptedDialog::Tell(Event event) {
  if (m_ended) return;
  try {
    event();
  } catch (...) {
    m_failure = std::current_exception();
    m_ended = true;
  }
}

void ScriptedDialog::Notify(int control, UINT notification) {
  Tell([&] { m_controller.OnCommand(*this, control, notification); });
}

void ScriptedDialog::End(INT_PTR result) {
  if (m_ended) return;
  m_ended = true;
  m_result = result;
}

bool ScriptedDialog::CanReach(int control) const {
  const Control& found = Find(control);
  return !m_ended && found.enabled && found.shown;
}

void ScriptedDialog::GiveFocus(int control) {
  if (std::exchange(m_focus, control) != control && Find(control).kind == Kind::kEdit) Notify(control, EN_SETFOCUS);
}

void ScriptedDialog::Input(int control, UINT message, WPARAM key, const std::function<void()>& defaultHandling) {
  const bool watched = m_controller.WatchesInput(control);
  if (watched) Tell([&] { m_controller.BeforeInput(*this, control, message, key); });
  if (!m_ended) defaultHandling();
  if (watched) Tell([&] { m_controller.AfterInput(*this, control, message, key); });
}

// --- What the user does

void ScriptedDialog::Type(int control, const std::string& text) {
  for (const char character : text) {
    if (!CanReach(control)) return;
    GiveFocus(control);
    SendKey(control, WM_KEYDOWN, KeyOf(character));
    SendKey(control, WM_CHAR, static_cast<unsigned char>(character));
    SendKey(control, WM_KEYUP, KeyOf(character));
  }
}

void ScriptedDialog::Press(int control, int virtualKey) {
  if (!CanReach(control)) return;
  GiveFocus(control);
  const auto key = static_cast<WPARAM>(virtualKey);
  SendKey(control, WM_KEYDOWN, key);
  if (virtualKey == VK_BACK) SendKey(control, WM_CHAR, key);
  SendKey(control, WM_KEYUP, key);
}

void ScriptedDialog::Hold(int virtualKey, bool down) { m_keysDown[virtualKey] = down; }

void ScriptedDialog::DoubleClick(int control) {
  if (!CanReach(control)) return;
  GiveFocus(control);
  Input(control, WM_LBUTTONDBLCLK, 0, [&] { Select(control, {0, GetTextLength(control)}); });
  SendInput(control, WM_LBUTTONUP);
}

void ScriptedDialog::Drag(int control, std::size_t from, std::size_t to) {
  if (!CanReach(control)) return;
  GiveFocus(control);
  Select(control, {from, from});
  Input(control, WM_MOUSEMOVE, 0, [&] { Select(control, {from, to}); });
  SendInput(control, WM_LBUTTONUP);
}

void ScriptedDialog::SendInput(int control, UINT message, WPARAM key) {
  if (CanReach(control)) Input(control, message, key, [] {});
}

void ScriptedDialog::Paste(int control, const std::string& text) {
  if (CanReach(control)) ReplaceSelection(control, text);
}

bool ScriptedDialog::Click(int control) {
  if (!CanReach(control)) return false;
  Control& button = Find(control);
  if (button.kind == Kind::kCheckBox) button.checked = !button.checked;
  GiveFocus(control);
  Notify(control, BN_CLICKED);
  return true;
}

void ScriptedDialog::Choose(int control, int index) {
  if (CanReach(control)) SelectItem(control, index);
}

void ScriptedDialog::Cancel() { Notify(IDCANCEL, BN_CLICKED); }

// --- What the user sees

bool ScriptedDialog::ShowedOnlyAsterisks(int control) const {
  const std::vector<std::string>& texts = Find(control).shownTexts;
  return std::all_of(texts.begin(), texts.end(),
                     [](const std::string& text) { return text.find_first_not_of('*') == std::string::npos; });
}

void ScriptedDialog::RecordShown(Control& edit) {
  if (edit.shownTexts.empty() || edit.shownTexts.back() != edit.text) edit.shownTexts.push_back(edit.text);
}

// --- Edits

void ScriptedDialog::SendKey(int control, UINT message, WPARAM key) {
  Input(control, message, key, [&] {
    if (message == WM_KEYDOWN) HandleKeyDown(control, key);
    if (message == WM_CHAR) HandleCharacter(control, key);
  });
}

bool ScriptedDialog::IsKeyDown(int virtualKey) const {
  const auto found = m_keysDown.find(virtualKey);
  return found != m_keysDown.end() && found->second;
}

void ScriptedDialog::MoveCaret(Control& edit, std::size_t place) const {
  edit.caret = std::min(place, edit.text.size());
  if (!IsKeyDown(VK_SHIFT) && !IsKeyDown(VK_LSHIFT) && !IsKeyDown(VK_RSHIFT)) edit.anchor = edit.caret;
}

void ScriptedDialog::HandleKeyDown(int control, WPARAM key) {
  Control& edit = Find(control);
  if (key == VK_LEFT) MoveCaret(edit, edit.caret - std::min<std::size_t>(edit.caret, 1));
  if (key == VK_RIGHT) MoveCaret(edit, edit.caret + 1);
  if (key == VK_HOME) MoveCaret(edit, 0);
  if (key == VK_END) MoveCaret(edit, edit.text.size());
  if (key != VK_DELETE) return;
  const TextSelection selection = GetSelection(control);
  if (selection.start != selection.end) {
    ReplaceSelection(control, "");
  } else if (edit.caret < edit.text.size()) {
    Replace(control, edit.caret, edit.caret + 1, "");
  }
}

void ScriptedDialog::HandleCharacter(int control, WPARAM character) {
  if (character == VK_BACK) {
    const TextSelection selection = GetSelection(control);
    if (selection.start != selection.end) {
      ReplaceSelection(control, "");
    } else if (selection.start > 0) {
      Replace(control, selection.start - 1, selection.start, "");
    }
  } else if (character >= ' ') {
    ReplaceSelection(control, std::string(1, static_cast<char>(character)));
  }
}

void ScriptedDialog::ReplaceSelection(int control, const std::string& text) {
  const TextSelection selection = GetSelection(control);
  Replace(control, selection.start, selection.end, text);
}

void ScriptedDialog::Replace(int control, std::size_t start, std::size_t end, const std::string& text) {
  Control& edit = Find(control);
  std::string fitting = text;
  if (edit.limit != 0) {
    const std::size_t kept = edit.text.size() - (end - start);
    fitting.resize(std::min(fitting.size(), edit.limit - std::min<std::size_t>(edit.limit, kept)));
  }
  if (fitting.empty() && start == end) return;
  edit.text.replace(start, end - start, fitting);
  edit.caret = edit.anchor = start + fitting.size();
  ReportChange(control);
}

// An edit draws itself between the two notifications, so the user sees what the controller left in it during the
// first.
void ScriptedDialog::ReportChange(int control) {
  Notify(control, EN_UPDATE);
  RecordShown(Find(control));
  Notify(control, EN_CHANGE);
}

TextSelection ScriptedDialog::GetSelection(int control) const {
  const Control& edit = Find(control);
  return {std::min(edit.anchor, edit.caret), std::max(edit.anchor, edit.caret)};
}

void ScriptedDialog::Select(int control, TextSelection selection) {
  Control& edit = Find(control);
  edit.anchor = std::min(selection.start, edit.text.size());
  edit.caret = std::min(selection.end, edit.text.size());
}

// --- Other controls

std::string ScriptedDialog::GetText(int control) const {
  const Control& found = Find(control);
  if (found.kind != Kind::kDropDown) return found.text;
  const auto index = static_cast<std::size_t>(found.selectedItem);
  return found.selectedItem >= 0 && index < found.items.size() ? found.items[index] : "";
}

void ScriptedDialog::SetText(int control, const std::string& text) {
  Control& found = Find(control);
  found.text = text;
  if (found.kind != Kind::kEdit) return;
  found.caret = found.anchor = 0;
  ReportChange(control);
}

void ScriptedDialog::Focus(int control) {
  if (Find(control).enabled) GiveFocus(control);
}

void ScriptedDialog::AddItem(int control, const std::string& text) {
  std::vector<std::string>& items = Find(control).items;
  items.insert(std::upper_bound(items.begin(), items.end(), text, ComesBefore), text);
}

void ScriptedDialog::SelectItem(int control, int index) { Find(control).selectedItem = index; }

// --- The host

ScriptedDialogs::ScriptedDialogs() : m_before(SetDialogHost(this)) {}

ScriptedDialogs::~ScriptedDialogs() {
  SetDialogHost(m_before);
  EXPECT_TRUE(m_scripts.empty()) << m_scripts.size() << " expected dialog(s) not shown";
}

void ScriptedDialogs::OnNext(Script script) { m_scripts.push_back(std::move(script)); }

void ScriptedDialogs::OnEvery(Script script) {
  m_everyScript = [script = std::move(script)](ScriptedDialog& dialog) {
    script(dialog);
    dialog.Cancel();
  };
}

void ScriptedDialogs::OnNextThenCancel(Script script) {
  OnNext([script = std::move(script)](ScriptedDialog& dialog) {
    script(dialog);
    dialog.Cancel();
  });
}

INT_PTR ScriptedDialogs::Run(DialogController& controller) {
  m_lastOwner = 0;
  return Show(controller);
}

INT_PTR ScriptedDialogs::RunOver(DialogView& owner, DialogController& controller) {
  m_lastOwner = static_cast<ScriptedDialog&>(owner).GetResource();
  return Show(controller);
}

INT_PTR ScriptedDialogs::Show(DialogController& controller) {
  ++m_shownCount;
  m_lastResource = controller.GetResource();
  if (m_scripts.empty() && !m_everyScript) {
    ADD_FAILURE() << "unexpected dialog " << m_lastResource;
    return IDCANCEL;
  }
  const Script script = m_scripts.empty() ? m_everyScript : std::move(m_scripts.front());
  if (!m_scripts.empty()) m_scripts.pop_front();
  ScriptedDialog dialog(controller);
  dialog.Tell([&] { controller.OnOpen(dialog); });
  if (!dialog.HasEnded()) {
    script(dialog);
    EXPECT_TRUE(dialog.HasEnded()) << "the script left dialog " << m_lastResource << " open";
  }
  if (dialog.m_failure) std::rethrow_exception(dialog.m_failure);
  return dialog.GetResult();
}

ScriptedDialogs::Script EnterPIN(const std::string& pin) {
  return [pin](ScriptedDialog& dialog) {
    dialog.Type(IDC_PIN_EDIT, pin);
    dialog.Click(IDC_LOGIN);
  };
}

ScriptedDialogs::Script CancelDialog() {
  return [](ScriptedDialog& dialog) { dialog.Cancel(); };
}
