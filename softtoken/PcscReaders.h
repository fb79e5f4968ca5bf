// The state of a reader, from the PC/SC service.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace softtoken {

// PcscReaders loads libpcsclite at the first call of State, so that a token without PC/SC readers does not need it.
class PcscReaders {
 public:
  PcscReaders();
  ~PcscReaders();
  PcscReaders(const PcscReaders&) = delete;
  PcscReaders& operator=(const PcscReaders&) = delete;

  // State returns the reader's event state, without waiting; see ReaderStatus. After a restart of the service the next
  // call finds it again.
  std::optional<std::uint32_t> State(const std::string& reader);

 private:
  struct Library;
  bool Connect();
  void Disconnect();

  std::unique_ptr<Library> m_library;
};

}  // namespace softtoken
