// The resources of the program: only the string table, from the same list that the resource script uses.
#include <windows.h>

#include <algorithm>
#include <cstring>

namespace {

struct Row {
  UINT id;
  const char* text;
};

constexpr Row kRows[] = {
#define TELVO_STRING(id, text) {id, text},
#include "resources/StringTable.inc"
#undef TELVO_STRING
};

}  // namespace

int LoadStringA(HINSTANCE /*instance*/, UINT id, LPSTR buffer, int size) {
  if (size <= 0) return 0;
  buffer[0] = '\0';
  for (const Row& row : kRows) {
    if (row.id != id) continue;
    const std::size_t length = std::min(std::strlen(row.text), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, row.text, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
  }
  return 0;
}
