#include "adapter/LibraryHeader.h"

namespace adapter {
namespace {

// The offsets and values that matter here in the headers of the two formats.
constexpr std::string_view kElf =
    "\x7F"
    "ELF";
constexpr std::size_t kElfClass = 4, kElfMachine = 18;
constexpr unsigned kElfClass32 = 1, kElfX64 = 62;
constexpr std::size_t kPeOffset = 60, kPeMachine = 4;
constexpr unsigned kPeX64 = 0x8664, kPeX86 = 0x014C, kPeArm32 = 0x01C4;
constexpr std::string_view kPe("PE\0\0", 4);

constexpr char k32Bit[] = "is a library for 32-bit programs, and this program has 64 bits";
constexpr char kOtherProcessor[] = "is a library for another processor";

unsigned Byte(std::string_view bytes, std::size_t at) {
  return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

unsigned Number16(std::string_view bytes, std::size_t at) { return Byte(bytes, at) | Byte(bytes, at + 1) << 8U; }

std::string WhyNotLoadableElf(std::string_view bytes, System system) {
  if (system != System::Linux) return "is a library for Linux, and this is Windows";
  if (Byte(bytes, kElfClass) == kElfClass32) return k32Bit;
  return Number16(bytes, kElfMachine) == kElfX64 ? "" : kOtherProcessor;
}

std::string WhyNotLoadablePe(std::string_view bytes, System system) {
  const std::size_t header = Number16(bytes, kPeOffset) | std::size_t{Number16(bytes, kPeOffset + 2)} << 16U;
  if (header >= bytes.size() || bytes.substr(header, kPe.size()) != kPe) return "is no library";
  if (system != System::Windows) return "is a library for Windows, and this is Linux";
  const unsigned machine = Number16(bytes, header + kPeMachine);
  if (machine == kPeX86 || machine == kPeArm32) return k32Bit;
  return machine == kPeX64 ? "" : kOtherProcessor;
}

}  // namespace

std::string WhyNotLoadable(std::string_view firstBytes, System system) {
  if (firstBytes.substr(0, kElf.size()) == kElf) return WhyNotLoadableElf(firstBytes, system);
  if (firstBytes.substr(0, 2) == "MZ") return WhyNotLoadablePe(firstBytes, system);
  return firstBytes.empty() ? "is empty" : "is no library";
}

}  // namespace adapter
