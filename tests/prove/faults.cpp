// prove_faults PROOF [--every N] [--flow NAME]: runs flows with something wrong. PROOF is "module", "platform",
// "memory" or "lying". With --every only each N-th run is done.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Heap.h"
#include "Proofs.h"
#include "Report.h"
#include "fixtures/LogFile.h"
#include "platform/TestRegistry.h"

namespace {

std::vector<Flow> FlowsNamed(const std::string& name) {
  std::vector<Flow> chosen;
  for (const Flow& flow : AllFlows()) {
    if (name.empty() || name == flow.name) chosen.push_back(flow);
  }
  return chosen;
}

int Usage() {
  std::fputs("prove_faults module|platform|memory|lying [--every N] [--flow NAME]\n", stderr);
  return 2;
}

}  // namespace

int main(int count, char** arguments) {
  std::string name;
  for (int i = 2; i + 1 < count; i += 2) {
    if (std::strcmp(arguments[i], "--every") == 0) {
      Report::TakeEvery(std::atoi(arguments[i + 1]));
    } else if (std::strcmp(arguments[i], "--flow") == 0) {
      name = arguments[i + 1];
    } else {
      return Usage();
    }
  }
  TheHeap();
  LoadLibraryA("telvopkcs11.dll");  // it stays loaded; each run loads it once more
  TestRegistry registry;
  RestartLogs();
  const std::string proof = count > 1 ? arguments[1] : "";
  TheHeap().Search(Secrets());
  if (proof == "module") return ProveModuleFaults(FlowsNamed(name));
  if (proof == "platform") return ProvePlatformFaults(FlowsNamed(name), registry);
  if (proof == "lying") return ProveLies(FlowsNamed(name));
  if (proof == "memory") return ProveMemory(FlowsNamed(name));
  return Usage();
}
