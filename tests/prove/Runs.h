// Runs: a flow on a new stage with something wrong, and then again with nothing wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Flows.h"

// What is checked after each run, besides the calls themselves.
struct Expectations {
  bool sessionsAreClosed = true;
  bool blocksAreReleased = true;
  bool nextFlowWorks = true;
  // The token returns the longest PIN's length, and the dialog's field accepts no more characters.
  bool pinsMayBeCut = false;
  // Runs the flow instead of Flow::run.
  void (*run)(const Flow& flow, Application& app) = nullptr;
};

// Runs the flow after `spoil` has broken something on the stage. After `unspoil` the flow must work, in the same
// process and with another card. Everything that is wrong is a finding.
void RunSpoilt(const Flow& flow, const std::string& what, const std::function<void(Stage&)>& spoil,
               const std::function<void(Stage&)>& unspoil, const Expectations& expectations);

// Runs the flow with nothing wrong, and returns the calls of the module. A flow that does not work is a finding.
Calls RunClean(const Flow& flow);
