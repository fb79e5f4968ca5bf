// The PIN that a script passes to the program.
#pragma once

#include "common/Platform.h"

#include <memory>

#include "common/WipeMemory.h"
#include "telvotool/Options.h"

namespace tool {

// The bytes of a PIN, with a terminating zero. They are wiped before they are freed.
using Pin = std::unique_ptr<WipedBuffer>;

// The first line of --pin-file, or of the standard input with --pin-stdin, without its line end. Null without either
// option: then the provider's dialog asks for the PIN. Raises Failure for an empty PIN or one of more than 255 bytes,
// UsageError when both options are given.
Pin ReadPin(const Options& options);

}  // namespace tool
