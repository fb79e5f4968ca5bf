// callers [DEVIATIONS]: calls each export with each pointer null and not, with lengths around the one that is needed,
// and with handles that are null, unknown, valid, and valid plus 2^32, in every combination. With DEVIATIONS, at most
// that many arguments of a call are not those of a correct call.
//
// Buffers end at an inaccessible page, and inputs are read-only. So an access outside a buffer ends the program, which
// prints the call. FALSE must have a last error, TRUE none. Only documented exceptions may be thrown.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CallersStage.h"
#include "CallersTable.h"
#include "GuardedBuffer.h"
#include "Tally.h"
#include "common/CCSPContextError.h"

#if !defined(_WIN32)
#include <csignal>
#include <unistd.h>
#endif

namespace {

// The current call, for the fault handler.
char g_call[400];

// --- Faults

#if defined(_WIN32)

LONG CALLBACK ReportFault(EXCEPTION_POINTERS* what) {
  if (what->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION) return EXCEPTION_CONTINUE_SEARCH;
  std::printf("finding: a fault in %s\ntally: 0 1 0 0\n", g_call);
  std::fflush(stdout);
  TerminateProcess(GetCurrentProcess(), 1);
  return EXCEPTION_CONTINUE_SEARCH;
}
void WatchFaults() { AddVectoredExceptionHandler(1, ReportFault); }

#else

void ReportFault(int number) {
  char text[500] = {};
  const int length = std::snprintf(text, sizeof(text), "finding: a fault in %s\ntally: 0 1 0 0\n", g_call);
  if (write(STDOUT_FILENO, text, static_cast<std::size_t>(length)) < 0) _exit(2);
  std::signal(number, SIG_DFL);  // a sanitizer's own report, or the end
}
void WatchFaults() {
  for (const int number : {SIGSEGV, SIGBUS}) std::signal(number, ReportFault);
}

#endif

// --- One call

// The value that is passed for one argument.
struct Passed {
  std::uint64_t value = 0;
  std::unique_ptr<GuardedBuffer> buffer;
  std::string text;
};

class Caller {
 public:
  Caller(Tally& tally, bool logging) : m_tally(tally), m_logging(logging) {}
  void Run(const Row& row, std::size_t deviations);

 private:
  void Call(const Row& row, const std::vector<std::size_t>& choices);
  std::uint64_t HandleOf(const Argument& argument, std::size_t choice, HCRYPTHASH hash) const;
  Passed Pass(const Row& row, std::size_t place, const std::vector<std::size_t>& choices, HCRYPTHASH hash) const;
  void Judge(const Row& row, const std::vector<Passed>& passed, int result, bool escaped);
  static std::string Describe(const Row& row, const std::vector<Passed>& passed);

  Tally& m_tally;
  const bool m_logging;
  std::unique_ptr<CallersStage> m_stage;
};

void Caller::Run(const Row& row, std::size_t deviations) {
  std::vector<std::size_t> choices(row.arguments.size());
  while (true) {
    std::size_t deviating = 0;
    for (std::size_t place = 0; place < choices.size(); ++place) {
      if (choices[place] != row.arguments[place].Proper()) ++deviating;
    }
    if (deviating <= deviations) Call(row, choices);
    // The next combination: counts up a number whose digits are the choices.
    std::size_t place = 0;
    while (place < choices.size() && ++choices[place] == row.arguments[place].Choices()) choices[place++] = 0;
    if (place == choices.size()) return;
  }
}

void Caller::Call(const Row& row, const std::vector<std::size_t>& choices) {
  if (!m_stage) m_stage = std::make_unique<CallersStage>(m_logging);
  const HCRYPTHASH hash = row.takesHash ? m_stage->MakeHash() : 0;
  std::vector<Passed> passed;
  std::vector<std::uint64_t> values;
  for (std::size_t place = 0; place < row.arguments.size(); ++place) {
    passed.push_back(Pass(row, place, choices, hash));
    values.push_back(passed.back().value);
  }
  std::snprintf(g_call, sizeof(g_call), "%s", Describe(row, passed).c_str());
  SetLastError(0);
  int result = 0;
  bool escaped = false;
  try {
    result = row.function(values.data());
  } catch (const CCSPContextError&) {
    escaped = true;
  }
  m_tally.Run();
  Judge(row, passed, result, escaped);
  if (result != FALSE && row.spoils) {
    m_stage.reset();
  } else if (row.takesHash) {
    CPDestroyHash(m_stage->Context(), hash);
  }
}

// The choices are 0, an unknown handle, the valid one, and the valid one plus 2^32.
std::uint64_t Caller::HandleOf(const Argument& argument, std::size_t choice, HCRYPTHASH hash) const {
  std::uint64_t valid = 0;
  if (argument.kind == Kind::kContext) valid = m_stage->Context();
  if (argument.kind == Kind::kHash) valid = hash;
  if (argument.kind == Kind::kSessionKey) valid = m_stage->SessionKey();
  if (argument.kind == Kind::kPair) valid = m_stage->Pair();
  if (argument.kind == Kind::kImportedKey) valid = m_stage->ImportedKey();
  const std::uint64_t all[] = {0, valid ^ 0x40000000U, valid, valid + (std::uint64_t{1} << 32U)};
  return all[choice];
}

Passed Caller::Pass(const Row& row, std::size_t place, const std::vector<std::size_t>& choices, HCRYPTHASH hash) const {
  const Argument& argument = row.arguments[place];
  const std::size_t choice = choices[place];
  Passed passed;
  const auto guard = [&passed](std::size_t length, const void* content, GuardedBuffer::Access access) {
    passed.buffer = std::make_unique<GuardedBuffer>(length, content, access);
    passed.value = reinterpret_cast<std::uintptr_t>(passed.buffer->Data());
  };
  switch (argument.kind) {
    case Kind::kNumber:
      passed.value = argument.values[choice];
      break;
    case Kind::kLength:
      passed.value = argument.Length(choice);
      break;
    case Kind::kLengthInOut: {
      if (choice == 0) break;
      const DWORD length = argument.Length(choice - 1);
      guard(sizeof(length), &length, GuardedBuffer::Access::kReadWrite);
      break;
    }
    case Kind::kUnread:
      if (choice != 0) passed.value = reinterpret_cast<std::uintptr_t>(GuardedBuffer::Forbidden());
      break;
    case Kind::kHandleOut:
      if (choice != 0) guard(sizeof(std::uint64_t), nullptr, GuardedBuffer::Access::kReadWrite);
      break;
    case Kind::kInput:
    case Kind::kOutput: {
      if (choice == 0) break;
      const std::size_t room = argument.Room(row, choices);
      Bytes content = argument.content;
      const bool isFilled = !content.empty();
      content.resize(room);
      guard(room, isFilled ? content.data() : nullptr,
            argument.kind == Kind::kInput ? GuardedBuffer::Access::kReadOnly : GuardedBuffer::Access::kReadWrite);
      break;
    }
    default:
      passed.value = HandleOf(argument, choice, hash);
  }
  return passed;
}

std::string Caller::Describe(const Row& row, const std::vector<Passed>& passed) {
  std::string text = row.name;
  for (const Passed& one : passed) {
    char number[60] = {};
    if (one.buffer) {
      std::snprintf(number, sizeof(number), " buffer[%zu]", one.buffer->Length());
    } else {
      std::snprintf(number, sizeof(number), " %llx", static_cast<unsigned long long>(one.value));
    }
    text += number;
  }
  return text;
}

void Caller::Judge(const Row& row, const std::vector<Passed>& passed, int result, bool escaped) {
  const DWORD error = GetLastError();
  const auto find = [&](const std::string& what) { m_tally.Find(what + ": " + g_call); };
  for (const Passed& one : passed) {
    if (one.buffer && !one.buffer->IsFrontWhole()) find("bytes before a buffer were written");
  }
  const bool isKnown = passed[0].value == m_stage->Context();
  if (escaped) {
    if (!row.escapes || isKnown) find("an exception is thrown");
    return;
  }
  if (result == FALSE) {
    if (error == 0) find("FALSE without a last error");
  } else if (result == TRUE) {
    if (error != 0) find("a success with the last error " + std::to_string(error));
  } else if (static_cast<DWORD>(result) != row.oddResult) {
    find("the result is " + std::to_string(result));
  }
  if (result != FALSE && row.needsContext && !isKnown) find("a success with a context that does not exist");
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t deviations = argc > 1 ? static_cast<std::size_t>(std::atoi(argv[1])) : 99;
  WatchFaults();
  Tally tally;
  const std::vector<Row> rows = AllRows();
  for (const bool logging : {false, true}) {
    Caller caller(tally, logging);
    for (const Row& row : rows) caller.Run(row, deviations);
  }
  return tally.End(std::to_string(rows.size()) + " " + std::to_string(CountOfFunctions(rows)));
}
