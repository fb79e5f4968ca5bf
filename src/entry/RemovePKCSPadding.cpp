#include "entry/RemovePKCSPadding.h"

#include <algorithm>

#include "common/WipeMemory.h"

bool RemovePKCSPadding(BYTE* data, DWORD* length) {
  if (data == nullptr || length == nullptr || *length == 0) return false;
  // Each byte of the padding has its length as value, so the last byte is enough to know it.
  const BYTE count = data[*length - 1];
  if (count == 0 || count > *length) return false;
  BYTE* const padding = data + (*length - count);
  if (!std::all_of(padding, padding + count, [count](BYTE value) { return value == count; })) return false;
  WipeMemory(padding, count);
  *length -= count;
  return true;
}
