// SessionLink: the session of a hash or key, which may live longer than the session's owner (see Session.h). It owns
// nothing: after the last owner is destroyed it has no session. The owner must hold the session by a shared pointer.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "cryptoki/Session.h"

class SessionLink {
 public:
  SessionLink() = default;
  explicit SessionLink(Session* session) {
    if (session != nullptr) m_session = session->weak_from_this();
  }

  // The session, which lives at least as long as the result; null when there is none or its owner no longer exists.
  boost::shared_ptr<Session> Lock() const { return m_session.lock(); }

 private:
  boost::weak_ptr<Session> m_session;
};
