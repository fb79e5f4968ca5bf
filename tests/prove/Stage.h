// Stage: the environment of one run: a card in the module that the provider loads, a user, and the provider's
// process-wide objects as they are when a process starts.
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

// Answers the dialogs: types the PINs one after another, and cancels a dialog that is open after the last one.
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

  // Replaces the module. The new card in kReader has another serial number, so that its PIN is not remembered. The
  // provider's objects stay as they are.
  void Renew();
  ProbedModule& Module() { return *m_module; }
  User& TheUser() { return m_user; }
  // PC/SC. The reader dialog always uses it. Watchers use it only if the provider started after this object.
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
