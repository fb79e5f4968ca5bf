// InterfaceStage: the world of fuzz_interface: cards, a user, a service of readers and stores, and the provider's
// process-wide objects as they are when a process begins. The module fails where the tape says so.
#pragma once

#include "common/Platform.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <set>
#include <string>

#include "dialogs/ScriptedDialogs.h"
#include "module/LoadedModule.h"
#include "module/ScriptedModule.h"
#include "platform/ScriptedCertStore.h"
#include "platform/ScriptedClock.h"
#include "platform/ScriptedSecurity.h"
#include "platform/ScriptedWinSCard.h"

class InterfaceStage {
 public:
  explicit InterfaceStage(FuzzedDataProvider& data);
  // The module may have been offered no PIN but those that somebody gave.
  ~InterfaceStage();
  InterfaceStage(const InterfaceStage&) = delete;
  InterfaceStage& operator=(const InterfaceStage&) = delete;

  // Another module that never fails, with one card that nobody has seen yet, for the flow at the end.
  void BeginAnew();
  // The user or the application gives a PIN from now on: the right one, a wrong one, odd ones.
  std::string AnyPIN();
  void Give(const std::string& pin) { m_given.insert(pin); }
  // A card is pulled, put in, or exchanged; the next call of something fails.
  void Disturb();

  // The double of the system's stores closes what it opened by itself.
  bool ClosesStore(HCERTSTORE store) const;

  static constexpr char kPIN[] = "1234";
  static constexpr std::size_t kModulusBytes = 64;

 private:
  // Keeps the PINs that it is offered, and may lie.
  class Module : public ScriptedModule {
   public:
    explicit Module(InterfaceStage& stage) : m_stage(stage) {}
    CK_RV C_LoginExtended(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) override;

   private:
    InterfaceStage& m_stage;
  };

  void DealCards();
  void AddContainer(ScriptedToken& token, const Bytes& id, const Bytes& certificate);
  void Answer(ScriptedDialog& dialog);
  void FailModule(bool fromThenOn);
  void FailPlatform();
  void MakeLie();

  FuzzedDataProvider& m_data;
  std::set<std::string> m_given;
  std::unique_ptr<Module> m_module;
  std::unique_ptr<LoadedModule> m_loaded;
  ScriptedDialogs m_dialogs;
  ScriptedWinSCard m_service;
  ScriptedCertStore m_stores;
  ScriptedSecurity m_security;
  ScriptedClock m_clock;
  int m_cards = 0;
};
