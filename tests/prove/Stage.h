// Stage: the world of one run: a card in the module that the provider loads, a user, and the provider's process-wide
// objects as they are when a process begins.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "ProbedModule.h"
#include "dialogs/ScriptedDialogs.h"
#include "module/LoadedModule.h"
#include "platform/ScriptedClock.h"
#include "platform/ScriptedWinSCard.h"

extern const std::string kPin;
extern const std::string kWrongPin;
constexpr char kReader[] = "Reader A";

// Who answers the dialogs: types the PINs in turn, the last one for ever, and cancels when that was not enough.
class User : public ScriptedDialogs {
 public:
  User();
  INT_PTR Run(DialogController& controller) override;

  std::vector<std::string> pins;
  // How often each PIN was given, here and by the application.
  std::map<std::string, int> given;

 private:
  void Answer(ScriptedDialog& dialog);
};

struct Flow;

class Stage {
 public:
  explicit Stage(const Flow& flow);
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  // A new module with cards of other serial numbers, whose PINs nobody remembers; the provider's objects stay as they
  // are.
  void Renew();
  ProbedModule& Module() { return *m_module; }
  User& TheUser() { return m_user; }
  // PC/SC. Only a provider that began since this object uses it for watchers; the reader dialog always does.
  ScriptedWinSCard& Service() { return m_service; }

 private:
  const Flow& m_flow;
  int m_cards = 0;  // so far
  std::unique_ptr<ProbedModule> m_module;
  std::unique_ptr<LoadedModule> m_loaded;
  User m_user;
  ScriptedWinSCard m_service;
  ScriptedClock m_clock;
};
