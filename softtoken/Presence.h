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

// Insertion identifies one insertion of a card. Two different values mean that the card was out of the reader in
// between, however briefly. No value: the reader is empty.
using Insertion = std::optional<std::array<std::uint64_t, 4>>;

// Freshness is how old the answer may be. Asking a PC/SC reader takes a tenth of a millisecond, too long for each of
// the many calls of a single signature.
enum class Freshness { Now, Recent };

class Presence {
 public:
  virtual ~Presence() = default;
  virtual Insertion Look(Freshness freshness) = 0;
};

// ReaderStatus returns the event state of a PC/SC reader as SCardGetStatusChange does, with the event counter in the
// high word. No value if there is no such reader or no PC/SC service.
using ReaderStatus = std::function<std::optional<std::uint32_t>(const std::string& reader)>;

// Clock can be replaced, so that a test need not wait.
using Clock = std::function<std::chrono::steady_clock::time_point()>;

// MakePresence returns the presence that the settings of a slot ask for. Only PresenceKind::Reader uses `status`.
std::unique_ptr<Presence> MakePresence(const SlotSettings& slot, ReaderStatus status,
                                       Clock clock = std::chrono::steady_clock::now);

}  // namespace softtoken
