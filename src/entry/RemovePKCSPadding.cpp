#include "entry/RemovePKCSPadding.h"

#include <algorithm>

#include "common/WipeMemory.h"

bool RemovePKCSPadding(BYTE* data, DWORD* length) {
  if (data == nullptr || length == nullptr || *length == 0) return false;
  // Only the last byte can tell the padding's length, as it is one of its bytes.
  const BYTE count = data[*length - 1];
  if (count == 0 || count > *length) return false;
  BYTE* const padding = data + (*length - count);
  if (!std::all_of(padding, padding + count, [count](BYTE byte) { return byte == count; })) return false;
  WipeMemory(padding, count);
  *length -= count;
  return true;
}
