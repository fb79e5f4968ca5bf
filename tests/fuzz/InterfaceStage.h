// InterfaceStage: the environment of fuzz_interface: cards, a user, PC/SC, certificate stores, and the provider's
// process-wide objects as they are when a process starts. The module fails where the input says so.
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
  ~InterfaceStage();
  InterfaceStage(const InterfaceStage&) = delete;
  InterfaceStage& operator=(const InterfaceStage&) = delete;

  // Replaces the module by one that never fails and has one new card, for the flow at the end.
  void BeginAnew();
  // A PIN for the user or the application to give: the right one, a wrong one, or an odd one.
  std::string AnyPIN();
  void Give(const std::string& pin) { m_given.insert(pin); }
  // Pulls, inserts or exchanges a card, changes a PIN, or makes a later call fail or lie.
  void Disturb();

  // Whether the scripted certificate stores close this store themselves.
  bool ClosesStore(HCERTSTORE store) const;

  static constexpr char kPIN[] = "1234";
  static constexpr std::size_t kModulusBytes = 64;

 private:
  // Must be offered only PINs that were given.
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
