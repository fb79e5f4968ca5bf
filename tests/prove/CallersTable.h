// CallersTable: the exports as the group "callers" calls them, a row for each function and each of its parameters or
// kinds of key that goes a way of its own.
#pragma once

#include "common/Platform.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "module/ScriptedObjects.h"

enum class Kind {
  kContext,  // handles: null, unknown, valid, valid plus 2^32
  kHash,
  kSessionKey,
  kPair,
  kImportedKey,
  kNumber,       // one of `values`
  kLength,       // of the buffer `place`: 0, 1, need - 1, need, 0xFFFFFFFF
  kLengthInOut,  // null, or a pointer to such a length
  kInput,        // null, or a buffer that cannot be written
  kOutput,       // null, or a buffer
  kHandleOut,    // null, or room for a handle
  kUnread,       // null, or an address that cannot be read
};

struct Row;

struct Argument {
  Kind kind;
  std::vector<std::uint64_t> values;
  std::size_t need = 0;
  Bytes content;          // of an input, or of an output that is an input as well
  int lengthAt = -1;      // the argument that is the buffer's length; without one it has `need` bytes
  std::size_t least = 0;  // that many bytes are written whatever length is declared
  // The whole of the declared length is read or written. Then a caller cannot declare 0xFFFFFFFF: it is 64 KiB.
  bool whole = false;
  int proper = -1;  // the choice of a caller who does it right, where the kind alone does not say it

  std::size_t Choices() const;
  std::size_t Proper() const;
  DWORD Length(std::size_t choice) const;
  std::size_t Room(const Row& row, const std::vector<std::size_t>& choices) const;
};

struct Row {
  std::string name;
  std::function<int(const std::uint64_t*)> function;
  std::vector<Argument> arguments;
  bool takesHash = false;
  bool spoils = false;       // a success changes the stage
  bool escapes = false;      // an unknown context leaves as an exception
  bool needsContext = true;  // no success without a context
  DWORD oddResult = 1;       // a result that is neither true nor false
};

std::vector<Row> AllRows();
std::size_t CountOfFunctions(const std::vector<Row>& rows);
