// SessionLink: the session of an object that may outlive it. A session that a shared pointer owns is held weakly: when
// its last owner goes, the link leads nowhere. Any other session must outlive the object.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "cryptoki/Session.h"

class SessionLink {
 public:
  SessionLink() = default;
  explicit SessionLink(Session* session) {
    if (session == nullptr) return;
    m_owned = session->weak_from_this();
    if (m_owned.expired()) m_session = session;
  }

  // The session, which stays alive while the result does; null when there is none or it is gone.
  boost::shared_ptr<Session> Lock() const {
    if (m_session != nullptr) return {boost::shared_ptr<void>(), m_session};
    return m_owned.lock();
  }

 private:
  boost::weak_ptr<Session> m_owned;
  Session* m_session = nullptr;  // of a session that no shared pointer owns
};
