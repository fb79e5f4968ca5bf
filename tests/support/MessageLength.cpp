#include "MessageLength.h"

#include <utility>

#include "PrivateMember.h"

struct PendingOf {
  using Type = PendingMessage CCSPHash::*;
  friend Type Expose(PendingOf tag);
};

struct LengthOf {
  using Type = std::size_t PendingMessage::*;
  friend Type Expose(LengthOf tag);
};

template struct PrivateMember<PendingOf, &CCSPHash::m_pending>;
template struct PrivateMember<LengthOf, &PendingMessage::m_length>;

MessageLength::MessageLength(CCSPHash& hash, std::size_t length)
    : m_length(hash.*Expose(PendingOf()).*Expose(LengthOf())), m_before(std::exchange(m_length, length)) {}

MessageLength::~MessageLength() { m_length = m_before; }
