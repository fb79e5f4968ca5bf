// LoggedInSession: the session of a context, logged in. While it lives, no other thread logs the token out.
#pragma once

#include "context/TELVOCSPContext.h"
#include "cryptoki/LoginLock.h"

class LoggedInSession {
 public:
  // Logs in. Failures are those of CCSPContext::Login; NTE_FAIL in a context without a session.
  explicit LoggedInSession(TELVOCSPContext& context) : m_session(LogIn(context)) {}

  Session& operator*() const { return m_session; }
  Session* operator->() const { return &m_session; }

 private:
  static Session& LogIn(TELVOCSPContext& context) {
    context.Login();
    return context.OpenedSession();
  }

  const LoginLock m_lock;
  Session& m_session;
};
