// The proofs: each runs all flows with something wrong, prints its figures, and returns the exit code of the program.
#pragma once

#include <vector>

#include "Flows.h"

int ProveModuleFaults(const std::vector<Flow>& flows);
int ProveLies(const std::vector<Flow>& flows);
int ProveMemory(const std::vector<Flow>& flows);
