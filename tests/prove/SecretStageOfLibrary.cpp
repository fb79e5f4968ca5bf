// telvocsp.dll under the system's CryptoAPI, with its real windows. There is no PC/SC service.
#include <utility>

#include "ProviderRegistration.h"
#include "SecretStage.h"
#include "dialogs/DialogDriver.h"
#include "module/LoadedModule.h"
#include "resources/DialogIds.h"

struct SecretStage::State {
  State(QuietModule& module, bool logging)
      : loaded(module),
        provider(new ProviderRegistration(logging ? ProviderRegistration::Logging::kOn
                                                  : ProviderRegistration::Logging::kOff)) {}

  LoadedModule loaded;
  std::unique_ptr<ProviderRegistration> provider;
  std::string log;
};

SecretStage::SecretStage(QuietModule& module, bool logging) : m_state(new State(module, logging)) {}
SecretStage::~SecretStage() = default;

void SecretStage::WithUser(const Marker& pin, bool cancels, const std::function<void()>& act) {
  const auto dialog = [&act]() -> INT_PTR {
    act();
    return 0;
  };
  DialogDriver::Run(dialog, [&](DialogDriver& driver) {
    for (std::size_t place = 0; place < pin.Length(); ++place) {
      driver.Type(IDC_PIN_EDIT, std::string(1, static_cast<char>(pin.At(place))));
    }
    driver.Click(cancels ? IDC_CANCEL : IDC_LOGIN);
  });
}

bool SecretStage::ChangePin(HCRYPTPROV /*context*/, const Marker& /*current*/, const Marker& /*fresh*/) {
  return false;
}

bool SecretStage::PullCard() { return false; }

BOOL SecretStage::DeriveKey(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags, HCRYPTKEY* key) {
  return CryptDeriveKey(context, algorithm, hash, flags, key);
}

bool SecretStage::HashSessionKey(HCRYPTPROV /*context*/, HCRYPTKEY /*key*/) { return false; }

void SecretStage::Unload() {
  m_state->log = m_state->provider->TakeLog();
  m_state->provider.reset();
}

std::string SecretStage::TakeLog() {
  return m_state->provider ? m_state->provider->TakeLog() : std::exchange(m_state->log, {});
}
