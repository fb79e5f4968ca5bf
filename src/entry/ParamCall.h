// The common part of CPGetProvParam, CPGetKeyParam and CPSetKeyParam: each looks up its parameter in a table, whose row
// defines what to do.
#pragma once

#include "common/Platform.h"

#include <optional>

#include "context/CCSPContext.h"
#include "entry/EntryFrame.h"

// One call of such a function, which adds its own arguments.
struct ParamCall {
  const EntryFrame& frame;
  CCSPContext& context;
};

// What a step of a call returns: the result that ends the function, or kGoOn.
using Outcome = std::optional<BOOL>;
inline constexpr std::nullopt_t kGoOn = std::nullopt;
