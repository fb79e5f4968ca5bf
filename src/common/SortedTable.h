// Constant tables that are searched by a number: arrays of rows with a field `key`, in ascending order.
#pragma once

#include <algorithm>
#include <cstddef>

// IsAscending checks, at compile time, that FindRow can search the table.
template <typename Row, std::size_t N>
constexpr bool IsAscending(const Row (&rows)[N]) {
  for (std::size_t i = 1; i < N; ++i) {
    if (!(rows[i - 1].key < rows[i].key)) return false;
  }
  return true;
}

// FindRow returns the row with that key, or null.
template <typename Row, std::size_t N, typename Key>
const Row* FindRow(const Row (&rows)[N], Key key) {
  const Row* end = rows + N;
  const Row* row = std::lower_bound(rows, end, key, [](const Row& left, Key right) { return left.key < right; });
  return row != end && row->key == key ? row : nullptr;
}
