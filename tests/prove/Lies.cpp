// The module returns wrong numbers: each length, count and handle is replaced by eight or nine other values.
#include <cstdio>
#include <map>
#include <string>

#include "Heap.h"
#include "Proofs.h"
#include "Report.h"
#include "Runs.h"

namespace {

constexpr long kMebibyte = 1024L * 1024;
constexpr long kMostMemory = 200;  // MiB

std::vector<CK_ULONG> Lies(CK_ULONG truth) {
  std::vector<CK_ULONG> lies = {0, 1, truth - 1, truth + 1, 2 * truth, 0x7FFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF};
  if (sizeof(CK_ULONG) > sizeof(DWORD)) lies.push_back(CK_UNAVAILABLE_INFORMATION);
  return lies;
}

// What the module returns in one place during a flow.
struct Place {
  int times = 0;
  CK_ULONG truth = 0;  // the last time
};

std::map<std::string, Place> PlacesOf(const Flow& flow) {
  std::map<std::string, Place> places;
  g_report->Begin(std::string(flow.name) + ", nothing wrong");
  Stage stage(flow);
  stage.Module().lie = [&places](const std::string& place, CK_ULONG& number) {
    ++places[place].times;
    places[place].truth = number;
  };
  Application app(stage);
  flow.run(app);
  if (!app.Complaint().empty()) g_report->Find(app.Complaint());
  return places;
}

// Replaces the `time`-th number in the place by the lie with that index; with 0, all of them.
void Lie(const Flow& flow, const std::string& place, std::size_t lie, int time) {
  if (!Report::Takes()) return;
  char text[200];
  std::snprintf(text, sizeof(text), "%s, lie %d, %s %d", place.c_str(), static_cast<int>(lie),
                time == 0 ? "each time" : "time", time);
  Expectations expectations;
  expectations.sessionsAreClosed = false;  // a wrong handle cannot be closed
  expectations.pinsMayBeCut = place == "C_GetTokenInfo ulMaxPinLen";
  int count = 0;
  const auto spoil = [&](Stage& stage) {
    stage.Module().lie = [&](const std::string& now, CK_ULONG& number) {
      if (now != place) return;
      if (++count == time || time == 0) number = Lies(number)[lie];
    };
  };
  TheHeap().StartPeak();
  RunSpoilt(
      flow, text, spoil, [](Stage& stage) { stage.Module().lie = nullptr; }, expectations);
  const long peak = TheHeap().Peak();
  if (peak > kMostMemory * kMebibyte) g_report->Find(std::to_string(peak / kMebibyte) + " MiB of memory");
}

}  // namespace

int ProveLies(const std::vector<Flow>& flows) {
  Report report("lying module");
  std::map<std::string, int> all;
  long peak = 0;
  for (const Flow& flow : flows) {
    for (const auto& [name, place] : PlacesOf(flow)) {
      ++all[name];
      const std::size_t lies = Lies(0).size();
      for (std::size_t lie = 0; lie < lies; ++lie) {
        // The lies are spread over the numbers in that place.
        Lie(flow, name, lie, 1 + static_cast<int>(lie) * 5 % place.times);
        peak = std::max(peak, TheHeap().Peak());
        if (place.times > 1) Lie(flow, name, lie, 0);
        peak = std::max(peak, TheHeap().Peak());
      }
    }
  }
  return report.End(", " + std::to_string(all.size()) + " places, at most " + std::to_string(peak / kMebibyte + 1) +
                    " MiB of memory");
}
