// CallersTable: the calls of the group "callers": a row for each exported function, and for each parameter or kind of
// key that the function treats differently.
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
  kHandleOut,    // null, or space for a handle
  kUnread,       // null, or an address that cannot be read
};

struct Row;

struct Argument {
  Kind kind;
  std::vector<std::uint64_t> values;
  std::size_t need = 0;
  Bytes content;          // of an input, or of an output that is also an input
  int lengthAt = -1;      // the argument with the buffer's length; without one it has `need` bytes
  std::size_t least = 0;  // this many bytes are written whatever length is declared
  // All bytes of the declared length are read or written. So 64 KiB is declared instead of 0xFFFFFFFF.
  bool whole = false;
  int proper = -1;  // the choice of a correct call; -1: it follows from the kind

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
  bool escapes = false;      // with an unknown context an exception is thrown
  bool needsContext = true;  // no success without a context
  DWORD oddResult = 1;       // an allowed result other than TRUE and FALSE
};

std::vector<Row> AllRows();
std::size_t CountOfFunctions(const std::vector<Row>& rows);
