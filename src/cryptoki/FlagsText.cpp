#include "cryptoki/FlagsText.h"

#include "common/FormatNumber.h"

std::string FlagsText(CK_FLAGS flags, const std::vector<FlagName>& names) {
  std::string text = FormatNumber("[0x%08X] ", static_cast<DWORD>(flags));
  for (const FlagName& row : names) {
    if ((flags & row.flag) != 0) text += std::string(row.name) + " | ";
  }
  return text.erase(text.rfind('|'));
}
