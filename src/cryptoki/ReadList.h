// ReadList: the second half of the ask-length-then-fetch dance of the module's list operations.
#pragma once

#include <algorithm>
#include <vector>

#include "cryptoki/CryptokiError.h"

// ReadList fetches up to `count` elements with read(list, &length), a module call, and returns as many as the
// call says, never more than there was room for. A count that no module can mean raises CKR_GENERAL_ERROR.
template <typename Element, typename Read>
std::vector<Element> ReadList(CK_ULONG count, Read read) {
  constexpr CK_ULONG kMaxCount = 100000;
  if (count > kMaxCount) throw CryptokiError(CKR_GENERAL_ERROR);
  std::vector<Element> list(count);
  Check(read(list.data(), &count));
  list.resize(std::min<std::size_t>(list.size(), count));
  return list;
}
