// One call of CPGetProvParam. A row of its table has two steps for it: the first one measures the answer, the second
// one writes it.
#pragma once

#include "common/Platform.h"

#include <array>
#include <string>

#include "context/StoreHolder.h"
#include "entry/ParamCall.h"

namespace provparam {

struct ProvParamCall : ParamCall {
  BYTE* data;  // in the second step not null, and its first `size` bytes are zero
  DWORD* length;
  DWORD flags;
  DWORD size;                    // of the answer in bytes, from the first step
  std::string name;              // the answer, where it is one
  std::array<BYTE, 8> ownBytes;  // the answer, where the buffer does not have it yet or never gets it
  const BYTE* answer;            // what the last log line shows
  StoreHolder store;             // the answer, until the caller has its handle
};

// The buffer is smaller than the answer: logs both sizes, returns the second one to the caller, ERROR_MORE_DATA.
BOOL RefuseSmallBuffer(const ProvParamCall& call, DWORD size);

}  // namespace provparam
