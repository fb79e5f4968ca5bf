// Application: a program that calls the provider. It goes on after a failure with what it has. Each call is judged: how
// it may fail, and what may leave it.
#pragma once

#include "common/Platform.h"

#include <functional>
#include <string>

#include "Stage.h"

// What may leave a function beside its result. A std::bad_alloc may leave any, if an allocation failed.
enum class Leaves { kNothing, kContextError, kModuleError, kRuntimeError };

class Application {
 public:
  explicit Application(Stage& stage) : m_stage(stage) {}

  using Call = std::function<BOOL()>;
  // Makes a call that succeeds when nothing is wrong, or fails so. Returns whether it succeeded.
  bool Does(const char* function, const Call& call, Leaves leaves = Leaves::kNothing);
  bool Fails(const char* function, const Call& call, Leaves leaves = Leaves::kNothing);
  // Something that must be so when nothing is wrong.
  void Needs(bool isSo, const char* what);
  // What did not go as it should when nothing is wrong; empty when all did.
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
