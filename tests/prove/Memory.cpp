// Each allocation of the provider fails once.
#include <string>

#include "Heap.h"
#include "Proofs.h"
#include "Report.h"
#include "Runs.h"

namespace {

long AllocationsOf(const Flow& flow) {
  TheHeap().FailAllocation(0);
  RunClean(flow);
  return TheHeap().Allocations();
}

void FailOne(const Flow& flow, long n) {
  if (!Report::Takes()) return;
  RunSpoilt(
      flow, "allocation " + std::to_string(n) + " fails", [n](Stage&) { TheHeap().FailAllocation(n); },
      [](Stage&) { TheHeap().FailAllocation(0); }, Expectations());
}

}  // namespace

int ProveMemory(const std::vector<Flow>& flows) {
  Report report("memory");
  long all = 0;
  for (const Flow& flow : flows) {
    RunClean(flow);  // what is made once for the process
    const long allocations = AllocationsOf(flow);
    all += allocations;
    for (long n = 1; n <= allocations; ++n) FailOne(flow, n);
  }
  return report.End(", " + std::to_string(flows.size()) + " flows with " + std::to_string(all) + " allocations");
}
