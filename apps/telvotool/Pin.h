// The PIN that a script hands over.
#pragma once

#include "common/Platform.h"

#include <memory>

#include "common/WipeMemory.h"
#include "telvotool/Options.h"

namespace tool {

// The bytes of a PIN with a zero behind them, wiped when they go.
using Pin = std::unique_ptr<WipedBuffer>;

// The first line of --pin-file or of the standard input by --pin-stdin, without its line end; null with neither, when
// the provider's dialog is to ask. Raises Failure for an empty PIN or one of more than 255 bytes, UsageError for both
// options.
Pin ReadPin(const Options& options);

}  // namespace tool
