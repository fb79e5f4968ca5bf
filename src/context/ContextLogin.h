// ContextLogin: logs the session of a context in: with the PIN that the process remembers, by asking the user, or with
// a PIN of the application.
#pragma once

#include "common/WipeMemory.h"
#include "context/TELVOCSPContext.h"

class ContextLogin {
 public:
  explicit ContextLogin(TELVOCSPContext& context) : m_context(context) {}

  // See the operations of these names in CCSPContext.
  void Login();
  void LoginWithPIN(const BYTE* pin, DWORD length);

 private:
  // What LoginWithPIN found in the cache.
  struct CachedPIN {
    DWORD length = 0;
    bool isOther = false;  // a PIN was cached, and it was not the given one
  };

  void ForgetDeadSession();
  void TakePINCache();
  bool LoginWithCachedPIN(WipedBuffer& pin);
  void LoginByDialog();
  void RefuseAfterCancel();
  INT_PTR AskUser();
  bool IsCachedPIN(const BYTE* pin, DWORD length, CachedPIN& cached);
  void LoginWithNewPIN(const BYTE* pin, DWORD length, const CachedPIN& cached);
  void KeepPINOfOpenLogin(const BYTE* pin, DWORD length, const CachedPIN& cached);

  TELVOCSPContext& m_context;
};
