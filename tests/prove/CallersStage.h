// CallersStage: the objects that the group "callers" passes to the provider: a context that is logged in, with handles
// of every kind. After a call that changed them it is created again.
#pragma once

#include "common/Platform.h"

#include "entry/ProviderInterface.h"
#include "module/LoadedModule.h"
#include "module/ScriptedModule.h"
#include "platform/ScriptedClock.h"
#include "platform/TestRegistry.h"
#include "ui/DialogHost.h"

class CallersStage {
 public:
  explicit CallersStage(bool logging);
  ~CallersStage();
  CallersStage(const CallersStage&) = delete;
  CallersStage& operator=(const CallersStage&) = delete;

  // An unfinished hash with data.
  HCRYPTHASH MakeHash() const;

  HCRYPTPROV Context() const { return m_context; }
  HCRYPTKEY Pair() const { return m_pair; }
  HCRYPTKEY SessionKey() const { return m_sessionKey; }
  HCRYPTKEY ImportedKey() const { return m_importedKey; }

  static constexpr std::size_t kModulusBytes = 128;

 private:
  // Its user cancels each dialog.
  class Canceller : public DialogHost {
   public:
    INT_PTR Run(DialogController& /*controller*/) override { return IDCANCEL; }
  };

  TestRegistry m_registry;
  ScriptedModule m_module;
  LoadedModule m_loaded;
  ScriptedClock m_clock;
  Canceller m_canceller;
  HCRYPTPROV m_context = 0;
  HCRYPTKEY m_pair = 0;
  HCRYPTKEY m_sessionKey = 0;
  HCRYPTKEY m_importedKey = 0;
};
