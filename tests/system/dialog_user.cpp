// dialog_user TITLE STEP...: a user of another program's dialog. Waits for the dialog of that title and does the steps:
//   type:ID=TEXT   types the characters into a control
//   click:ID       clicks a button
//   reads:ID=TEXT  fails unless the control shows the text
//   gone           waits until the dialog is closed
//   pull:FILE      removes the file that keeps a card inserted
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

#include "dialogs/DialogDriver.h"

namespace {

void Do(const std::string& step, const DialogDriver& user) {
  const std::size_t colon = step.find(':');
  const std::size_t equals = step.find('=');
  const std::string verb = step.substr(0, colon);
  const int control = colon == std::string::npos ? 0 : std::atoi(step.c_str() + colon + 1);
  const std::string text = equals == std::string::npos ? "" : step.substr(equals + 1);
  if (verb == "type") {
    user.Type(control, text);
  } else if (verb == "click") {
    user.Click(control);
  } else if (verb == "reads") {
    EXPECT_EQ(text, user.Text(control));
  } else if (verb == "gone") {
    DialogDriver::WaitFor("the end of the dialog", [&] { return IsWindow(user.Window()) == FALSE; });
  } else if (verb == "pull") {
    EXPECT_EQ(0, std::remove(step.c_str() + colon + 1)) << step;
  } else {
    ADD_FAILURE() << "unknown step: " << step;
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 2) {
    std::cerr << "usage: dialog_user TITLE STEP...\n";
    return 2;
  }
  if (const std::optional<DialogDriver> user = DialogDriver::Titled(argv[1])) {
    for (int i = 2; i < argc; ++i) Do(argv[i], *user);
  }
  return testing::UnitTest::GetInstance()->Failed() ? 1 : 0;
}
