#include "cryptoki/FlagsText.h"

#include <cstdio>

std::string FlagsText(CK_FLAGS flags, const std::vector<FlagName>& names) {
  char head[32];
  std::snprintf(head, sizeof(head), "[0x%08X] ", static_cast<unsigned>(flags));
  std::string text = head;
  for (const FlagName& row : names) {
    if ((flags & row.flag) != 0) text += std::string(row.name) + " | ";
  }
  return text.erase(text.rfind('|'));
}
