// log_writer COUNT TEXT: writes COUNT numbered lines to the provider's log.
#include <cstdlib>
#include <string>

#include "log/Logs.h"

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const long lines = std::strtol(arguments[1], nullptr, 10);
  for (long i = 1; i <= lines; ++i) g_entryLog.WriteDecimal(arguments[2], static_cast<DWORD>(i), true);
  return 0;
}
