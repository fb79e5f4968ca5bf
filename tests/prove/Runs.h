// Runs: a flow in a fresh world, with something wrong, and then once more with nothing wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Flows.h"

// What is judged after each run beside the calls themselves.
struct Expectations {
  bool sessionsAreClosed = true;
  bool blocksAreReleased = true;
  bool nextFlowWorks = true;
  // The token tells how long a PIN may be, and the field of the dialog takes no more characters.
  bool pinsMayBeCut = false;
  // Runs the flow, in the place of itself.
  void (*run)(const Flow& flow, Application& app) = nullptr;
};

// Runs the flow, after `spoil` made something go wrong with the world. Then, in the same process and with another card,
// the flow must work. Everything that is wrong is a finding.
void RunSpoilt(const Flow& flow, const std::string& what, const std::function<void(Stage&)>& spoil,
               const std::function<void(Stage&)>& unspoil, const Expectations& expectations);

// Runs the flow with nothing wrong and returns what the module was called for. A flow that does not work is a finding.
Calls RunClean(const Flow& flow);
