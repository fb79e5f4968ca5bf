// Runs every row with both providers and prints a line for each: id, call, documentation, the platform's answer and
// this provider's, separated by tabs. Arguments choose rows by the beginning of their ids.
//
// The environment names the provider's library (TELVO_PROVIDER) and the folder in which files represent
// inserted cards (TELVO_CARDS).
#include <cstdio>
#include <string>
#include <vector>

#include "ProviderRegistration.h"
#include "Row.h"
#include "platform/UserRegistry.h"

namespace {

void RegisterPlatform(TestRegistry& registry) {
  struct Registered {
    const char* name;
    DWORD type;
  };
  for (const Registered& provider :
       {Registered{MS_ENH_RSA_AES_PROV_A, PROV_RSA_AES}, Registered{MS_ENHANCED_PROV_A, PROV_RSA_FULL}}) {
    const std::string key = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + std::string(provider.name);
    registry.SetValue(key, "Type", REG_DWORD, {static_cast<char>(provider.type), 0, 0, 0});
    registry.SetText(key, "Image Path", "rsaenh.dll");
  }
  const std::string types = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 024";
  registry.SetText(types, "Name", MS_ENH_RSA_AES_PROV_A);
}

const Rows* const kAllRows[] = {
    &kContextRows, &kReleaseRows,   &kProviderRows,     &kEnumerationRows, &kProviderSetRows, &kRandomRows,
    &kHashRows,    &kHashDataRows,  &kHashParamRows,    &kSignRows,        &kVerifyRows,      &kGenerateRows,
    &kUserKeyRows, &kDeriveRows,    &kDuplicateRows,    &kExportRows,      &kImportRows,      &kEncryptRows,
    &kDecryptRows, &kPairParamRows, &kSessionParamRows, &kCertificateRows, &kMessageRows,     &kPinRows,
};

bool IsChosen(const Row& row, const std::vector<std::string>& beginnings) {
  for (const std::string& beginning : beginnings) {
    if (std::string(row.id).rfind(beginning, 0) == 0) return true;
  }
  return beginnings.empty();
}

// The last error of an earlier row must not be taken for that of a call that sets none.
std::string AnswerTo(const Row& row, const Side& side) {
  SetLastError(ERROR_SUCCESS);
  try {
    return row.answer(side);
  } catch (const StepFailed& failed) {
    return failed.what();
  } catch (...) {
    return "a C++ exception";
  }
}

// The id is printed first, so that it is the last output of a program that crashes.
void Print(const Row& row) {
  std::printf("%s", row.id);
  std::fflush(stdout);
  const std::string platform = AnswerTo(row, Side::Platform());
  const std::string own = AnswerTo(row, Side::This());
  std::printf("\t%s\t%s\t%s\t%s\n", row.call, row.documented, platform.c_str(), own.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> beginnings(arguments + 1, arguments + count);
  const UserRegistry user;
  ProviderRegistration registration(ProviderRegistration::Logging::kOff);
  RegisterPlatform(registration.Registry());
  try {
    Side::Platform().Prepare();
    Side::This().Prepare();
  } catch (const StepFailed& failed) {
    std::fprintf(stderr, "the prepared container: %s\n", failed.what());
    return 1;
  }
  for (const Rows* rows : kAllRows) {
    for (const Row& row : *rows) {
      if (IsChosen(row, beginnings)) Print(row);
    }
  }
  return 0;
}
