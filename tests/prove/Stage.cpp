#include "Stage.h"

#include "Flows.h"
#include "Heap.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "fixtures/Renew.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"
#include "resources/DialogIds.h"

const std::string kPin = "73914628";
const std::string kWrongPin = "85206173";

namespace {

// The provider's part of a dialog. Its allocations count as the provider's again.
class InsideDialog : public DialogController {
 public:
  explicit InsideDialog(DialogController& controller) : m_controller(controller) {}

  int GetResource() const override { return m_controller.GetResource(); }
  bool HasProgressBar() const override { return m_controller.HasProgressBar(); }
  void OnOpen(DialogView& view) override {
    const ProviderAtWork inside;
    m_controller.OnOpen(view);
  }
  void OnCommand(DialogView& view, int control, UINT notification) override {
    const ProviderAtWork inside;
    m_controller.OnCommand(view, control, notification);
  }
  bool WatchesInput(int control) const override { return m_controller.WatchesInput(control); }
  void BeforeInput(DialogView& view, int control, UINT message, WPARAM key) override {
    const ProviderAtWork inside;
    m_controller.BeforeInput(view, control, message, key);
  }
  void AfterInput(DialogView& view, int control, UINT message, WPARAM key) override {
    const ProviderAtWork inside;
    m_controller.AfterInput(view, control, message, key);
  }

 private:
  DialogController& m_controller;
};

}  // namespace

User::User() {
  OnEvery([this](ScriptedDialog& dialog) { Answer(dialog); });
}

INT_PTR User::Run(DialogController& controller) {
  const ProviderAtWork notInside(false);
  InsideDialog inside(controller);
  return ScriptedDialogs::Run(inside);
}

void User::Answer(ScriptedDialog& dialog) {
  if (dialog.GetResource() == IDD_SELECT_CARD) {
    dialog.Click(IDOK);
    return;
  }
  if (dialog.GetResource() != IDD_LOGIN) return;
  for (const std::string& pin : pins) {
    if (dialog.HasEnded() || !dialog.IsEnabled(IDC_PIN_EDIT)) return;
    dialog.Press(IDC_PIN_EDIT, VK_END);
    while (!dialog.HasEnded() && !dialog.GetText(IDC_PIN_EDIT).empty()) dialog.Press(IDC_PIN_EDIT, VK_BACK);
    if (dialog.HasEnded()) return;
    dialog.Type(IDC_PIN_EDIT, pin);
    ++given[pin];
    dialog.Click(IDC_LOGIN);
  }
}

Stage::Stage(const Flow& flow) : m_flow(flow) {
  g_cryptoWrapper = CCryptoWrapper();
  ::Renew(g_pinCacheManager);
  ::Renew(g_secretKeyFactory, g_secretKeyLog, m_clock.Clock());
  m_user.pins = {kPin};
  for (const char* reader : {kReader, "Reader B"}) m_service.InsertCard(reader);
  Renew();
}

void Stage::Renew() {
  m_loaded.reset();
  m_module = std::make_unique<ProbedModule>();
  m_loaded = std::make_unique<LoadedModule>(*m_module);
  m_flow.prepare(*m_module);
  ScriptedToken& token = m_module->InsertToken(kReader);
  token.serial.back() = static_cast<char>(token.serial.back() + m_cards++);
}

Stage::~Stage() {
  ::Renew(g_contextList);
  ::Renew(g_hashFactory);
  ::Renew(g_secretKeyFactory, g_secretKeyLog, CCSPSecretKeyFactory::SystemClock());
  ::Renew(g_pinCacheManager);
  g_cryptoWrapper = CCryptoWrapper();
}
