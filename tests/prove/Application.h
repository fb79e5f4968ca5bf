// Application: a program that calls the provider. After a failure it goes on with what it has. It checks how each call
// fails, and which exceptions it throws.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <string>

#include "Stage.h"

// The exceptions that a function may throw. Any function may throw std::bad_alloc if an allocation failed.
enum class Leaves { kNothing, kContextError, kModuleError, kRuntimeError };

class Application {
 public:
  explicit Application(Stage& stage) : m_stage(stage) {}

  using Call = std::function<BOOL()>;
  // Does makes a call that must succeed when nothing is wrong, Fails one that must fail then. Both return whether it
  // succeeded.
  bool Does(const char* function, const Call& call, Leaves leaves = Leaves::kNothing);
  bool Fails(const char* function, const Call& call, Leaves leaves = Leaves::kNothing);
  // A condition that must hold when nothing is wrong.
  void Needs(bool isSo, const char* what);
  // The first thing that went wrong in one of these three; empty if nothing did.
  const std::string& Complaint() const { return m_complaint; }

  HCRYPTPROV Acquire(const char* container, DWORD flags = 0, Leaves leaves = Leaves::kNothing);
  void Release(HCRYPTPROV context);
  void GivePin(HCRYPTPROV context, const std::string& pin = kPin, bool isRight = true);
  HCRYPTKEY UserKey(HCRYPTPROV context, DWORD spec = AT_KEYEXCHANGE);
  HCRYPTHASH HashOf(HCRYPTPROV context, const std::string& message, ALG_ID algorithm = CALG_SHA1);
  void DestroyHash(HCRYPTPROV context, HCRYPTHASH hash);
  void DestroyKey(HCRYPTPROV context, HCRYPTKEY key);
  Stage& TheStage() { return m_stage; }

 private:
  bool Make(const char* function, const Call& call, Leaves leaves);
  void Judge(const char* function, BOOL result, DWORD code);
  void Complain(const std::string& what);

  Stage& m_stage;
  bool m_lackedMemory = false;  // in the last call
  std::string m_complaint;
};
