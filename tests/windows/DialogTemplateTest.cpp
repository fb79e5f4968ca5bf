// The dialog templates, control by control, as the resource compiler wrote them.
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "common/LibraryInstance.h"
#include "resources/DialogIds.h"

namespace {

// One control: "id kind "text" x y width height".
using Lines = std::vector<std::string>;

struct Control {
  int id = 0;
  std::string kind;
  DWORD style = 0;
  int x = 0, y = 0, width = 0, height = 0;
  std::string text;

  std::string Line() const {
    return std::to_string(id) + " " + kind + " \"" + text + "\" " + std::to_string(x) + " " + std::to_string(y) + " " +
           std::to_string(width) + " " + std::to_string(height);
  }
};

struct Dialog {
  DWORD style = 0;
  DWORD exStyle = 0;
  int width = 0, height = 0;
  std::string title;
  std::string font;
  int points = 0;
  std::vector<Control> controls;

  Lines ControlLines() const {
    Lines lines;
    for (const Control& control : controls) lines.push_back(control.Line());
    return lines;
  }
};

// Reads the fields of an extended dialog template, which are aligned to their size from its beginning.
class Reader {
 public:
  explicit Reader(const BYTE* data) : m_begin(data), m_at(data) {}

  template <typename Value>
  Value Take() {
    Value value = {};
    std::memcpy(&value, m_at, sizeof(value));
    m_at += sizeof(value);
    return value;
  }
  int Short() { return static_cast<std::int16_t>(Take<WORD>()); }
  void Align() { m_at += (4 - (m_at - m_begin) % 4) % 4; }

  // A string, or "#id" for an id in its place.
  std::string Text() {
    WORD unit = Take<WORD>();
    if (unit == 0xFFFF) return "#" + std::to_string(Take<WORD>());
    std::string text;
    for (; unit != 0; unit = Take<WORD>()) text += static_cast<char>(unit);
    return text;
  }

 private:
  const BYTE* m_begin;
  const BYTE* m_at;
};

std::string KindOf(const std::string& windowClass, DWORD style) {
  if (windowClass == "#128" || windowClass == "BUTTON") {
    switch (style & BS_TYPEMASK) {
      case BS_DEFPUSHBUTTON:
        return "default button";
      case BS_PUSHBUTTON:
        return "button";
      case BS_GROUPBOX:
        return "group box";
      case BS_AUTOCHECKBOX:
        return (style & BS_PUSHLIKE) != 0 ? "lock key" : "check box";
      default:
        return "other button";
    }
  }
  if (windowClass == "#129") return (style & ES_PASSWORD) != 0 ? "password edit" : "edit";
  if (windowClass == "#130" || windowClass == "STATIC") {
    switch (style & SS_TYPEMASK) {
      case SS_LEFT:
        return "static";
      case SS_CENTER:
        return "centred static";
      case SS_BITMAP:
        return "bitmap";
      default:
        return "other static";
    }
  }
  if (windowClass == "MSCTLS_PROGRESS32") return "progress bar";
  return windowClass == "#133" ? "combo box" : windowClass;
}

Dialog ReadDialog(int id) {
  const HRSRC resource = FindResourceA(g_libraryInstance, MAKEINTRESOURCEA(id), reinterpret_cast<LPCSTR>(RT_DIALOG));
  if (resource == nullptr) {
    ADD_FAILURE() << "no dialog " << id;
    return {};
  }
  Reader reader(static_cast<const BYTE*>(LockResource(LoadResource(g_libraryInstance, resource))));
  Dialog dialog;
  reader.Take<WORD>();  // version
  EXPECT_EQ(0xFFFF, reader.Take<WORD>());
  reader.Take<DWORD>();  // help
  dialog.exStyle = reader.Take<DWORD>();
  dialog.style = reader.Take<DWORD>();
  const int count = reader.Short();
  reader.Take<DWORD>();  // position
  dialog.width = reader.Short();
  dialog.height = reader.Short();
  reader.Text();  // menu
  reader.Text();  // class
  dialog.title = reader.Text();
  dialog.points = reader.Short();
  reader.Take<DWORD>();  // weight, slant, character set
  dialog.font = reader.Text();
  for (int i = 0; i < count; ++i) {
    reader.Align();
    Control control;
    reader.Take<DWORD>();  // help
    reader.Take<DWORD>();  // extended style
    control.style = reader.Take<DWORD>();
    control.x = reader.Short();
    control.y = reader.Short();
    control.width = reader.Short();
    control.height = reader.Short();
    control.id = static_cast<int>(reader.Take<DWORD>());
    control.kind = KindOf(reader.Text(), control.style);
    control.text = reader.Text();
    reader.Take<WORD>();  // creation data
    dialog.controls.push_back(control);
  }
  return dialog;
}

const Control* Find(const Dialog& dialog, int id) {
  for (const Control& control : dialog.controls) {
    if (control.id == id) return &control;
  }
  return nullptr;
}

TEST(DialogTemplateTest, TheLoginDialogIsLaidOutAsUsersKnowIt) {
  const Dialog dialog = ReadDialog(119);
  EXPECT_EQ("Enter PIN for <Token Name>", dialog.title);
  EXPECT_EQ(242, dialog.width);
  EXPECT_EQ(93, dialog.height);
  EXPECT_EQ("MS Shell Dlg", dialog.font);
  EXPECT_EQ(8, dialog.points);
  EXPECT_EQ((Lines{
                "1001 default button \"Login\" 97 53 56 15",
                "1087 button \"Cancel\" 166 53 56 15",
                "1089 group box \"\" 6 3 229 86",
                "1002 password edit \"\" 97 21 125 14",
                "1091 static \"PIN:\" 80 23 15 8",
                "1092 static \"Incorrect PIN. XX retries left\" 99 38 120 8",
                "1088 bitmap \"#102\" 20 14 54 50",
                "-1 static \" Cryptographic Service Provider\" 20 65 53 19",
            }),
            dialog.ControlLines());
}

TEST(DialogTemplateTest, TheLoginDialogHasAModalFrameAndNoSystemMenu) {
  const Dialog dialog = ReadDialog(119);
  EXPECT_EQ(DWORD{DS_MODALFRAME}, dialog.style & DS_MODALFRAME);
  EXPECT_EQ(DWORD{WS_CAPTION}, dialog.style & WS_CAPTION);
  EXPECT_EQ(0u, dialog.style & WS_SYSMENU);
}

TEST(DialogTemplateTest, TheReaderDialogIsLaidOutAsUsersKnowIt) {
  const Dialog dialog = ReadDialog(124);
  EXPECT_EQ("Brenholt Devices CSP", dialog.title);
  EXPECT_EQ(250, dialog.width);
  EXPECT_EQ(55, dialog.height);
  EXPECT_EQ("MS Shell Dlg", dialog.font);
  EXPECT_EQ(8, dialog.points);
  EXPECT_EQ((Lines{
                "1 default button \"OK\" 72 34 50 14",
                "2 button \"Cancel\" 127 34 50 14",
                "1094 combo box \"\" 7 17 235 85",
                "1095 centred static \"Please select a smart card\" 7 7 235 8",
            }),
            dialog.ControlLines());
}

TEST(DialogTemplateTest, TheReaderDialogHasAModalFrameAndASystemMenu) {
  const Dialog dialog = ReadDialog(124);
  EXPECT_EQ(DWORD{DS_MODALFRAME}, dialog.style & DS_MODALFRAME);
  EXPECT_EQ(DWORD{WS_SYSMENU}, dialog.style & WS_SYSMENU);
}

TEST(DialogTemplateTest, TheReaderListIsSortedScrollsAndAcceptsNoTyping) {
  const Dialog dialog = ReadDialog(124);
  const Control* const list = Find(dialog, 1094);
  ASSERT_NE(nullptr, list);
  EXPECT_EQ(DWORD{CBS_DROPDOWNLIST}, list->style & 3);
  EXPECT_EQ(DWORD{CBS_SORT}, list->style & CBS_SORT);
  EXPECT_EQ(DWORD{WS_VSCROLL}, list->style & WS_VSCROLL);
}

TEST(DialogTemplateTest, TheRomanianDialogIsLaidOutAsUsersKnowIt) {
  const Dialog dialog = ReadDialog(104);
  EXPECT_EQ("Schimba PIN-ul pentru <Token Name>", dialog.title);
  EXPECT_EQ(245, dialog.width);
  EXPECT_EQ(127, dialog.height);
  EXPECT_EQ("MS Shell Dlg", dialog.font);
  EXPECT_EQ(8, dialog.points);
  EXPECT_EQ(DWORD{DS_CENTER | DS_SYSMODAL | DS_MODALFRAME}, dialog.style & (DS_CENTER | DS_SYSMODAL | DS_MODALFRAME));
  EXPECT_EQ((Lines{
                "1105 default button \"OK\" 104 96 56 15",
                "1087 button \"Close\" 171 96 56 15",
                "1089 group box \"\" 7 7 231 116",
                "1106 password edit \"\" 102 21 125 14",
                "1091 static \"Cod PIN vechi:\" 21 23 66 8",
                "1003 password edit \"\" 102 44 125 14",
                "1004 password edit \"\" 102 68 125 14",
                "1093 static \"Cod PIN nou:\" 21 48 63 8",
                "1094 static \"Verificati codul PIN nou:\" 21 73 76 8",
            }),
            dialog.ControlLines());
}

TEST(DialogTemplateTest, TheChangePinDialogHasTheStyleOfTheOthers) {
  const Dialog dialog = ReadDialog(125);
  EXPECT_EQ("Change PIN", dialog.title);
  EXPECT_EQ("MS Shell Dlg", dialog.font);
  EXPECT_EQ(8, dialog.points);
  EXPECT_EQ(DWORD{DS_MODALFRAME | WS_SYSMENU}, dialog.style & (DS_MODALFRAME | WS_SYSMENU));
  EXPECT_EQ("default button", Find(dialog, 1)->kind);
  EXPECT_EQ("button", Find(dialog, 2)->kind);
  EXPECT_EQ("button", Find(dialog, 1067)->kind);
  // Without a password style, so that the PINs can be revealed.
  for (const int edit : {1068, 1069, 1071}) EXPECT_EQ("edit", Find(dialog, edit)->kind);
  for (const int box : {1070, 1072}) EXPECT_EQ("check box", Find(dialog, box)->kind);
  for (const int text : {1073, 1074, 1075, 1076, 1078, 1079}) EXPECT_EQ("static", Find(dialog, text)->kind);
  EXPECT_EQ("bitmap", Find(dialog, 1066)->kind);
  EXPECT_EQ("progress bar", Find(dialog, 1077)->kind);
}

struct KeyboardCase {
  int dialog;
  int frame;
  std::multiset<int> others;  // besides the keys
};

class KeyboardTemplateTest : public testing::TestWithParam<KeyboardCase> {};

TEST_P(KeyboardTemplateTest, HasEveryKeyOnce) {
  std::multiset<int> found;
  for (const Control& control : ReadDialog(GetParam().dialog).controls) found.insert(control.id);
  std::multiset<int> expected = GetParam().others;
  for (int key = 1010; key <= 1064; ++key) {
    if (key != 1051) expected.insert(key);
  }
  EXPECT_EQ(expected, found);
}

TEST_P(KeyboardTemplateTest, CapsAndShiftStayDown) {
  const Dialog dialog = ReadDialog(GetParam().dialog);
  EXPECT_EQ("lock key", Find(dialog, 1038)->kind);
  EXPECT_EQ("lock key", Find(dialog, 1064)->kind);
}

TEST_P(KeyboardTemplateTest, NothingOverlapsOrLeavesTheDialog) {
  const Dialog dialog = ReadDialog(GetParam().dialog);
  const int frame = GetParam().frame;
  for (const Control& one : dialog.controls) {
    if (one.id == frame) continue;  // it surrounds the others
    EXPECT_LE(one.x + one.width, dialog.width) << one.Line();
    EXPECT_LE(one.y + one.height, dialog.height) << one.Line();
    for (const Control& other : dialog.controls) {
      if (other.id == frame || other.id == one.id) continue;
      const bool apart = one.x + one.width <= other.x || other.x + other.width <= one.x ||
                         one.y + one.height <= other.y || other.y + other.height <= one.y;
      EXPECT_TRUE(apart) << one.Line() << " and " << other.Line();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Dialogs, KeyboardTemplateTest,
    testing::Values(KeyboardCase{106, 1084, {1000, 1001, 1002, 1003, 1005, 1006, 1007, 1065, 1080, 1083, 1084}},
                    KeyboardCase{125,
                                 1080,
                                 {1, 2, 1066, 1067, 1068, 1069, 1070, 1071, 1072, 1073, 1074, 1075, 1076, 1077, 1078,
                                  1079, 1080}}),
    [](const auto& row) { return std::to_string(row.param.dialog); });

TEST(DialogTemplateTest, TheLogoFillsItsPlaceAtTheUsualResolution) {
  const auto logo = static_cast<HBITMAP>(
      LoadImageA(GetModuleHandleA(nullptr), MAKEINTRESOURCEA(IDB_LOGO), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
  ASSERT_NE(nullptr, logo);
  BITMAP bitmap = {};
  GetObjectA(logo, sizeof(bitmap), &bitmap);
  DeleteObject(logo);
  EXPECT_EQ(54 * 6 / 4, bitmap.bmWidth);
  EXPECT_EQ(50 * 13 / 8, bitmap.bmHeight);
}

}  // namespace
