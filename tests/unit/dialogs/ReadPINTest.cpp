#include <cstring>
#include <gtest/gtest.h>

#include "dialogs/ReadPIN.h"
#include "dialogs/ScriptedDialogs.h"
#include "dialogs/unreached/CChangePwdDlg.h"
#include "fixtures/ErrorCodes.h"
#include "platform/ScarceMemory.h"

namespace {

constexpr int kPINEdit = 1106;

// Runs a dialog in whose edit "******" is seen; `read` looks at it as at a text that is shown.
template <typename Read>
void WithSixCharacters(Read read) {
  ScriptedDialogs dialogs;
  dialogs.OnNextThenCancel([&](ScriptedDialog& dialog) {
    dialog.Type(kPINEdit, "123456");
    CSecureEditEx edit(kPINEdit);
    edit.SetSecureMode(0);
    read(dialog, edit);
  });
  CChangePwdDlg owner;
  owner.SetPINLimits(4, 8);
  owner.DoModal();
}

TEST(ReadPINTest, ATextIsCopiedWithoutItsTerminator) {
  WithSixCharacters([](const DialogView& view, const CSecureEditEx& edit) {
    BYTE room[7] = {};
    DWORD length = 6;
    EXPECT_EQ(0U, ReadPIN(view, edit, 9, room, &length));
    EXPECT_EQ(6U, length);
    EXPECT_EQ(0, std::memcmp("******", room, sizeof(room)));
  });
}

TEST(ReadPINTest, ATextThatHasOutgrownItsRoomIsNotCopied) {
  WithSixCharacters([](const DialogView& view, const CSecureEditEx& edit) {
    BYTE room[7] = {};
    DWORD length = 5;
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, room, &length));
    EXPECT_EQ(5U, length);
    EXPECT_EQ(0, room[0]);
  });
}

TEST(ReadPINTest, WithoutMemoryForTheTextNothingIsRead) {
  WithSixCharacters([](const DialogView& view, const CSecureEditEx& edit) {
    BYTE room[7] = {};
    DWORD length = 6;
    const ScarceMemory scarce;
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, nullptr, &length));
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, room, &length));
    EXPECT_EQ(6U, length);
    EXPECT_EQ(0, room[0]);
  });
}

}  // namespace
