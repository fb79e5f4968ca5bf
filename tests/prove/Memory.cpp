// The first allocation of each chain of callers in the provider fails once.
#include <string>
#include <vector>

#include "Heap.h"
#include "Proofs.h"
#include "Report.h"
#include "Runs.h"

namespace {

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
  std::size_t chains = 0;
  for (const Flow& flow : flows) {
    RunClean(flow);  // makes what is made once in a process
    TheHeap().FindNewCallers();
    RunClean(flow);
    all += TheHeap().Allocations();
    const std::vector<long> newCallers = TheHeap().NewCallers();
    TheHeap().FailAllocation(0);
    chains += newCallers.size();
    for (const long n : newCallers) FailOne(flow, n);
  }
  return report.End(", " + std::to_string(flows.size()) + " flows with " + std::to_string(all) + " allocations by " +
                    std::to_string(chains) + " chains of callers");
}
