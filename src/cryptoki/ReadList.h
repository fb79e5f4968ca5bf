// ReadList: the second of the two calls of a list operation, after the call that asked for the length.
#pragma once

#include <algorithm>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/ModuleLimits.h"

// ReadList reads up to `count` elements with read(list, &length), a module call, and returns as many as the call
// reports, but at most `count`. Above kMaxCount it raises CKR_GENERAL_ERROR.
template <typename Element, typename Read>
std::vector<Element> ReadList(CK_ULONG count, Read read) {
  if (count > kMaxCount) throw CryptokiError(CKR_GENERAL_ERROR);
  std::vector<Element> list(count);
  Check(read(list.data(), &count));
  list.resize(std::min<std::size_t>(list.size(), count));
  return list;
}
