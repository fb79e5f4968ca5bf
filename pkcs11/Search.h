// A search for objects. It runs completely at the start; the results are then handed out in pieces.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "pkcs11/Failure.h"

namespace pkcs11 {

struct Search {
  std::vector<CK_OBJECT_HANDLE> found;
  std::size_t next = 0;
};

// HandOut implements C_FindObjects for a session with this search, if it has one. Throws Failure: CKR_ARGUMENTS_BAD for
// a missing buffer, CKR_OPERATION_NOT_INITIALIZED without a search.
inline void HandOut(std::optional<Search>& search, CK_OBJECT_HANDLE* objects, CK_ULONG maxCount, CK_ULONG* count) {
  Require(count != nullptr && (objects != nullptr || maxCount == 0), CKR_ARGUMENTS_BAD);
  Require(search.has_value(), CKR_OPERATION_NOT_INITIALIZED);
  *count = std::min<CK_ULONG>(maxCount, static_cast<CK_ULONG>(search->found.size() - search->next));
  std::copy_n(search->found.begin() + static_cast<std::ptrdiff_t>(search->next), *count, objects);
  search->next += *count;
}

}  // namespace pkcs11
