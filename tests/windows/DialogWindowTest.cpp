// The host of real dialogs, with controllers that look at one thing each.
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>

#include "DialogDriver.h"
#include "pin/DialogHost.h"
#include "pin/DialogIds.h"

namespace {

using Events = std::vector<std::string>;

// Keeps a list of what it hears, and ends with a button's id.
class Listener : public DialogController {
 public:
  explicit Listener(int resource) : m_resource(resource) {}

  int GetResource() const override { return m_resource; }
  void OnOpen(DialogView& /*view*/) override {}
  void OnCommand(DialogView& view, int control, UINT notification) override {
    if (notification != BN_CLICKED) return;
    clicked.push_back(control);
    view.End(control);
  }

  std::vector<int> clicked;

 private:
  int m_resource;
};

INT_PTR Show(DialogController& controller, const std::function<void(DialogDriver&)>& user) {
  return DialogDriver::Run([&] { return GetDialogHost().Run(controller); }, user);
}

TEST(DialogWindowTest, EscapeIsACancelInADialogWithoutACancelButton) {
  Listener controller(IDD_LOGIN);
  EXPECT_EQ(2, Show(controller, [](DialogDriver& user) {
              user.PressKey(VK_ESCAPE);
              DialogDriver::WaitFor("the end", [&] { return IsWindow(user.Window()) == FALSE; });
            }));
  EXPECT_EQ(std::vector<int>{IDCANCEL}, controller.clicked);
}

}  // namespace
