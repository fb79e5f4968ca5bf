#include "dialogs/ReadPIN.h"

#include <algorithm>

DWORD ReadPIN(const DialogView& view, const CSecureEditEx& edit, std::size_t mostWithTerminator, BYTE* out,
              DWORD* length) {
  if (length == nullptr) return static_cast<DWORD>(NTE_INVALID_PARAMETER);
  const CSecureEditEx::PlainText plain = edit.GetPlainText(view);
  if (!plain) return static_cast<DWORD>(NTE_INTERNAL_ERROR);
  std::size_t measured = 0;
  while (measured < mostWithTerminator && plain[measured] != '\0') ++measured;
  const bool isTooLong = measured == mostWithTerminator || (out != nullptr && measured > *length);
  if (isTooLong) return static_cast<DWORD>(NTE_INTERNAL_ERROR);
  *length = static_cast<DWORD>(measured);
  if (out != nullptr) std::copy_n(plain.get(), measured, out);
  return ERROR_SUCCESS;
}
