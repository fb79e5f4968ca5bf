#include <cstring>
#include <gtest/gtest.h>

#include "dialogs/ReadPIN.h"
#include "dialogs/ScriptedDialogs.h"
#include "dialogs/unreached/CChangePwdDlg.h"
#include "fixtures/ErrorCodes.h"
#include "platform/ScarceMemory.h"

namespace {

constexpr int kPINEdit = 1106;

// Runs a dialog whose edit shows "******". `read` gets an edit outside secure mode, which reads these asterisks.
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
    BYTE buffer[7] = {};
    DWORD length = 6;
    EXPECT_EQ(0U, ReadPIN(view, edit, 9, buffer, &length));
    EXPECT_EQ(6U, length);
    EXPECT_EQ(0, std::memcmp("******", buffer, sizeof(buffer)));
  });
}

TEST(ReadPINTest, ATextLongerThanItsBufferIsNotCopied) {
  WithSixCharacters([](const DialogView& view, const CSecureEditEx& edit) {
    BYTE buffer[7] = {};
    DWORD length = 5;
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, buffer, &length));
    EXPECT_EQ(5U, length);
    EXPECT_EQ(0, buffer[0]);
  });
}

TEST(ReadPINTest, WithoutMemoryForTheTextNothingIsRead) {
  WithSixCharacters([](const DialogView& view, const CSecureEditEx& edit) {
    BYTE buffer[7] = {};
    DWORD length = 6;
    const ScarceMemory scarce;
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, nullptr, &length));
    EXPECT_EQ(Code(NTE_INTERNAL_ERROR), ReadPIN(view, edit, 9, buffer, &length));
    EXPECT_EQ(6U, length);
    EXPECT_EQ(0, buffer[0]);
  });
}

}  // namespace
