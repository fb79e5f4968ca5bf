// Whether a card is in its reader.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Settings.h"

namespace softtoken {

// Insertion tells one insertion of a card from the next. Only good for comparing: an unlike value says that the card
// was out of the reader meanwhile, however briefly. Nothing: the reader is empty.
using Insertion = std::optional<std::array<std::uint64_t, 4>>;

// Freshness says how old the answer may be. Asking a PC/SC reader costs a tenth of a millisecond, too much for each of
// the many calls that a single signature is made of.
enum class Freshness { Now, Recent };

class Presence {
 public:
  virtual ~Presence() = default;
  virtual Insertion Look(Freshness freshness) = 0;
};

// ReaderStatus answers the event state of a PC/SC reader as SCardGetStatusChange gives it, with the event counter in
// the high word; nothing if there is no such reader or no PC/SC service.
using ReaderStatus = std::function<std::optional<std::uint32_t>(const std::string& reader)>;

// Clock is injected so that a test need not wait.
using Clock = std::function<std::chrono::steady_clock::time_point()>;

// MakePresence returns what the settings of a slot ask for. `status` is used for PresenceKind::Reader only.
std::unique_ptr<Presence> MakePresence(const SlotSettings& slot, ReaderStatus status,
                                       Clock clock = std::chrono::steady_clock::now);

}  // namespace softtoken
