// Container names from applications and identifiers from tokens: any bytes, any flags.
#include <cstdint>
#include <cstring>
#include <string>

#include "common/CCSPContextError.h"
#include "context/CheckAcquireFlags.h"
#include "context/ContainerName.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  IdToContainerName(data, static_cast<DWORD>(size));

  DWORD flags = 0;
  std::memcpy(&flags, data, size < sizeof(flags) ? size : sizeof(flags));
  const std::string name(data, data + size);
  try {
    CheckAcquireFlags(name.c_str(), flags);
  } catch (const CCSPContextError&) {
    // refused
  }
  std::string reader;
  std::string container;
  ParseContainerName(name.c_str(), reader, container);
  return 0;
}
