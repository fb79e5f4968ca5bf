// The provider's sources as part of the program; dialogs and readers are scripted.
#include <boost/make_shared.hpp>

#include "SecretStage.h"
#include "context/UnplugThreadManager.h"
#include "cryptoki/CCryptoWrapper.h"
#include "dialogs/ChangePIN.h"
#include "dialogs/ScriptedDialogs.h"
#include "entry/CCSPContextList.h"
#include "entry/ProviderInterface.h"
#include "fixtures/LogFile.h"
#include "fixtures/Renew.h"
#include "log/Logs.h"
#include "module/LoadedModule.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"
#include "platform/ScriptedClock.h"
#include "platform/ScriptedWinSCard.h"
#include "resources/DialogIds.h"

namespace {

// A session key with another handle.
class Renamed : public CCSPSecretKey {
 public:
  Renamed(boost::shared_ptr<CCSPSecretKey> key, DWORD id) : m_key(std::move(key)), m_id(id) {}
  DWORD GetKeyID() const override { return m_id; }
  DWORD GetKeyLength() const override { return m_key->GetKeyLength(); }
  void GetKeyValue(BYTE* out, DWORD* length) override { m_key->GetKeyValue(out, length); }
  void DestroyObject() override {}

 private:
  boost::shared_ptr<CCSPSecretKey> m_key;
  DWORD m_id;
};

void Type(ScriptedDialog& dialog, int control, const Marker& pin) {
  for (std::size_t place = 0; place < pin.Length(); ++place) {
    dialog.Type(control, std::string(1, static_cast<char>(pin.At(place))));
  }
}

}  // namespace

struct SecretStage::State {
  class OwnLog : public LogFile {
   public:
    explicit OwnLog(bool logging) {
      if (logging) return;
      m_registry.SetText(kProductKey, "CSPLOG", "0");
      RestartLogs();
    }
    using LogFile::TakeLog;
  };

  State(QuietModule& module, bool logging) : log(logging), loaded(module) {
    pcsc.InsertCard(kReader);
    Renew(g_unplugThreadManager);
    Renew(g_secretKeyFactory, g_secretKeyLog, clock.Clock());
  }
  ~State() { Renew(g_secretKeyFactory, g_secretKeyLog, CCSPSecretKeyFactory::SystemClock()); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  OwnLog log;
  ScriptedWinSCard pcsc;
  ScriptedDialogs dialogs;
  ScriptedClock clock;
  LoadedModule loaded;
  int waits = 1;
};

SecretStage::SecretStage(QuietModule& module, bool logging) : m_state(new State(module, logging)) {}
SecretStage::~SecretStage() = default;

void SecretStage::WithUser(const Marker& pin, bool cancels, const std::function<void()>& act) {
  m_state->dialogs.OnNext([&pin, cancels](ScriptedDialog& dialog) {
    Type(dialog, IDC_PIN_EDIT, pin);
    if (cancels) {
      dialog.Cancel();
    } else {
      dialog.Click(IDC_LOGIN);
    }
  });
  act();
}

bool SecretStage::ChangePin(HCRYPTPROV context, const Marker& current, const Marker& fresh) {
  m_state->dialogs.OnNext([&](ScriptedDialog& dialog) {
    Type(dialog, IDC_CURRENT_PIN, current);
    Type(dialog, IDC_NEW_PIN, fresh);
    Type(dialog, IDC_REPEATED_PIN, fresh);
    dialog.Click(IDOK);
  });
  const boost::shared_ptr<CCSPContext> opened = g_contextList.FindContext(context);
  return ChangePIN(opened->GetSession(), g_pinCacheManager.GetPINCache(kReader), "label") == IDOK;
}

bool SecretStage::PullCard() {
  if (!m_state->pcsc.AwaitWaits(kReader, m_state->waits)) return false;
  m_state->pcsc.RemoveCard(kReader);
  if (!m_state->pcsc.AwaitWaits(kReader, m_state->waits + 1)) return false;
  m_state->pcsc.InsertCard(kReader);
  if (!m_state->pcsc.AwaitWaits(kReader, m_state->waits + 2)) return false;
  m_state->waits += 2;
  return true;
}

BOOL SecretStage::DeriveKey(HCRYPTPROV context, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags, HCRYPTKEY* key) {
  return CPDeriveKey(context, algorithm, hash, flags, key);
}

bool SecretStage::HashSessionKey(HCRYPTPROV context, HCRYPTKEY key) {
  HCRYPTHASH hash = 0;
  if (CPCreateHash(context, CALG_SHA1, 0, 0, &hash) == FALSE) return false;
  const boost::shared_ptr<CCSPContext> opened = g_contextList.FindContext(context);
  const auto id = static_cast<DWORD>(hash);
  opened->AddSecretKey(boost::make_shared<Renamed>(opened->GetSecretKey(static_cast<DWORD>(key)), id));
  const bool done = CPHashSessionKey(context, 0, hash, 0) != FALSE;
  return CPDestroyKey(context, hash) != FALSE && CPDestroyHash(context, hash) != FALSE && done;
}

void SecretStage::Unload() {
  Renew(g_contextList);
  Renew(g_hashFactory);
  Renew(g_pinCacheManager);
  Renew(g_unplugThreadManager);
  g_cryptoWrapper = CCryptoWrapper();
}

std::string SecretStage::TakeLog() { return m_state->log.TakeLog(); }
