// The PC/SC service, asked for the state of a reader.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace softtoken {

// PcscReaders loads libpcsclite at the first question, so that a token without such readers does not need it.
class PcscReaders {
 public:
  PcscReaders();
  ~PcscReaders();
  PcscReaders(const PcscReaders&) = delete;
  PcscReaders& operator=(const PcscReaders&) = delete;

  // State returns the reader's event state, without waiting; see ReaderStatus. A service that was restarted is found
  // again by the next call.
  std::optional<std::uint32_t> State(const std::string& reader);

 private:
  struct Library;
  bool Connect();
  void Disconnect();

  std::unique_ptr<Library> m_library;
};

}  // namespace softtoken
