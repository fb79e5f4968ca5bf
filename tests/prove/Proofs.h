// The proofs: each runs all flows with something wrong, prints its figures, and returns the exit code of the program.
#pragma once

#include <vector>

#include "Flows.h"
#include "platform/TestRegistry.h"

int ProveModuleFaults(const std::vector<Flow>& flows);
// Switches the log on and off in the registry.
int ProvePlatformFaults(const std::vector<Flow>& flows, TestRegistry& registry);
int ProveLies(const std::vector<Flow>& flows);
int ProveMemory(const std::vector<Flow>& flows);
