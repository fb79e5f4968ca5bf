// Each call of the module fails with each code, once and from then on.
#include <cstdio>

#include "Proofs.h"
#include "Report.h"
#include "Runs.h"

namespace {

constexpr CK_RV kEntryCodes[] = {0x5, 0x32, 0xB3, 0x101, 0x150, 0xE1};
constexpr CK_RV kLoginCodes[] = {0xA0, 0xA4, 0x100, 3, 15};

std::string Name(const std::string& entry, int call, CK_RV code, bool fromThenOn) {
  char text[100];
  std::snprintf(text, sizeof(text), "call %d, %s, returns %lX%s", call, entry.c_str(), static_cast<unsigned long>(code),
                fromThenOn ? " from then on" : "");
  return text;
}

void FailEntry(const Flow& flow, const std::string& entry, int call, CK_RV code, bool fromThenOn) {
  if (!Report::Takes()) return;
  Expectations expectations;
  // A session that could not be closed stays open.
  expectations.sessionsAreClosed = !fromThenOn && entry != "C_CloseSession";
  RunSpoilt(
      flow, Name(entry, call, code, fromThenOn),
      [&](Stage& stage) { stage.Module().FailAnyCall(call, code, fromThenOn); }, [](Stage&) {}, expectations);
}

}  // namespace

int ProveModuleFaults(const std::vector<Flow>& flows) {
  Report report("module faults");
  long calls = 0;
  for (const Flow& flow : flows) {
    const Calls entries = RunClean(flow);
    calls += static_cast<long>(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const int call = static_cast<int>(i) + 1;
      for (const bool fromThenOn : {false, true}) {
        for (const CK_RV code : kEntryCodes) FailEntry(flow, entries[i], call, code, fromThenOn);
        if (entries[i].rfind("C_Login", 0) != 0) continue;
        for (const CK_RV code : kLoginCodes) FailEntry(flow, entries[i], call, code, fromThenOn);
      }
    }
  }
  return report.End(", " + std::to_string(flows.size()) + " flows with " + std::to_string(calls) + " calls");
}
