#include "Presence.h"

#include <map>
#include <sys/stat.h>
#include <utility>

namespace softtoken {
namespace {

class FixedPresence : public Presence {
 public:
  explicit FixedPresence(bool present) : m_present(present) {}
  Insertion Look(Freshness /*freshness*/) override {
    return m_present ? Insertion(Insertion::value_type{}) : std::nullopt;
  }

 private:
  const bool m_present;
};

// The card is in while the file exists. Replacing or touching the file counts as pulling the card and putting it back.
class FilePresence : public Presence {
 public:
  explicit FilePresence(std::string path) : m_path(std::move(path)) {}
  Insertion Look(Freshness /*freshness*/) override {
    struct stat status = {};
    if (::stat(m_path.c_str(), &status) != 0) return std::nullopt;
    return Insertion::value_type{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                                 static_cast<std::uint64_t>(status.st_mtim.tv_nsec)};
  }

 private:
  const std::string m_path;
};

// The card is in for a given number of looks and is then pulled, so that it is pulled at the same place of a program in
// each run. The count continues across C_Finalize: a client that starts the module again finds no new card.
class CountedPresence : public Presence {
 public:
  explicit CountedPresence(const SlotSettings& slot) : m_looks(slot.presenceLooks), m_used(UsedBy(slot.serial)) {}
  Insertion Look(Freshness /*freshness*/) override {
    if (m_used == m_looks) return std::nullopt;
    ++m_used;
    return Insertion::value_type{};
  }

 private:
  // Guarded by the lock of the module, like everything in it.
  static unsigned& UsedBy(const std::string& serial) {
    static std::map<std::string, unsigned> used;
    return used[serial];
  }

  const unsigned m_looks;
  unsigned& m_used;
};

class ReaderPresence : public Presence {
 public:
  ReaderPresence(std::string reader, ReaderStatus status, Clock clock)
      : m_reader(std::move(reader)), m_status(std::move(status)), m_clock(std::move(clock)) {}

  Insertion Look(Freshness freshness) override {
    const auto now = m_clock();
    if (freshness == Freshness::Now || !m_looked || now - *m_looked >= kRecent) {
      m_insertion = Ask();
      m_looked = now;
    }
    return m_insertion;
  }

 private:
  // Well below the 400 ms that the PC/SC service itself takes to notice a removal.
  static constexpr std::chrono::milliseconds kRecent{20};
  static constexpr std::uint32_t kStatePresent = 0x20;

  Insertion Ask() const {
    const std::optional<std::uint32_t> state = m_status(m_reader);
    if (!state || (*state & kStatePresent) == 0) return std::nullopt;
    return Insertion::value_type{*state >> 16};
  }

  const std::string m_reader;
  const ReaderStatus m_status;
  const Clock m_clock;
  std::optional<std::chrono::steady_clock::time_point> m_looked;
  Insertion m_insertion;
};

}  // namespace

std::unique_ptr<Presence> MakePresence(const SlotSettings& slot, ReaderStatus status, Clock clock) {
  switch (slot.presence) {
    case PresenceKind::File:
      return std::make_unique<FilePresence>(slot.presenceFile);
    case PresenceKind::Reader:
      return std::make_unique<ReaderPresence>(slot.reader, std::move(status), std::move(clock));
    case PresenceKind::Looks:
      return std::make_unique<CountedPresence>(slot);
    case PresenceKind::Always:
    case PresenceKind::Never:
      break;
  }
  return std::make_unique<FixedPresence>(slot.presence == PresenceKind::Always);
}

}  // namespace softtoken
