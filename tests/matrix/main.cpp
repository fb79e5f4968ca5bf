// matrix_flows FLOW: runs a flow and prints "FLOW<TAB>works|cannot|failed<TAB>reason".
// matrix_flows --list: prints the flows, each with the function of the module that may do its work, and its
// description. matrix_flows --sign-often: the work of each process in two_processes. matrix_flows --time-signature:
// prints the milliseconds of a signature.
#include <cstdio>
#include <exception>
#include <string>

#include "Flow.h"

namespace {

void List() {
  for (const Flow& flow : AllFlows()) {
    std::printf("%s\t%s\t%s\n", flow.name, flow.byModule == nullptr ? "-" : flow.byModule, flow.description);
  }
}

// An exception of the provider's library need not derive from std::exception.
void Report(const Flow& flow) {
  const char* outcome = "works";
  std::string reason;
  try {
    const Registered registered;
    flow.run();
  } catch (const Cannot& cannot) {
    outcome = "cannot";
    reason = cannot.what();
  } catch (const std::exception& error) {
    outcome = "failed";
    reason = error.what();
  } catch (...) {
    outcome = "failed";
    reason = "an exception leaves the provider";
  }
  std::printf("%s\t%s\t%s\n", flow.name, outcome, reason.c_str());
}

int RunAlone(void (*work)()) {
  try {
    const Registered registered;
    work();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

const Flow* Find(const std::string& name) {
  for (const Flow& flow : AllFlows()) {
    if (flow.name == name) return &flow;
  }
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string name = count == 2 ? arguments[1] : "";
  if (name == "--list") {
    List();
    return 0;
  }
  if (name == "--sign-often") return RunAlone(&SignOften);
  if (name == "--time-signature") return RunAlone(&TimeSignature);
  const Flow* const flow = Find(name);
  if (flow == nullptr) {
    std::fprintf(stderr, "usage: matrix_flows FLOW | --list\n");
    return 2;
  }
  Report(*flow);
  return 0;
}
