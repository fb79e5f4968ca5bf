// doctor: one line for each finding: "ok", "warn" or "FAIL", and after a semicolon what to do.
#include "telvotool/Doctor.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <winscard.h>

#include "cryptoki/CryptokiError.h"
#include "telvotool/AdapterModule.h"
#include "telvotool/Cards.h"
#include "telvotool/Certificates.h"
#include "telvotool/Commands.h"
#include "telvotool/Container.h"
#include "telvotool/Errors.h"
#include "telvotool/Image.h"
#include "telvotool/Registry.h"
#include "telvotool/SettingsCheck.h"
#include "telvotool/Text.h"

namespace tool {

namespace {

constexpr char kModuleName[] = "telvopkcs11.dll";

class Report {
 public:
  Report(const std::function<void(const std::string& line)>& take, Names names) : m_take(take), m_names(names) {}

  void Ok(const std::string& subject, const std::string& text) { Print("ok", subject, text); }
  void Warn(const std::string& subject, const std::string& text, const std::string& toDo) {
    Print("warn", subject, text + "; " + toDo);
  }
  void Fail(const std::string& subject, const std::string& text, const std::string& toDo) {
    Print("FAIL", subject, text + "; " + toDo);
    m_failed = true;
  }
  bool Failed() const { return m_failed; }
  // A name or number that may identify a person, as the report shows it.
  std::string Name(const std::string& name) const { return m_names == Names::kShown ? name : kLeftOut; }

 private:
  void Print(const char* level, const std::string& subject, const std::string& text) const {
    m_take(std::string(level) + std::string(6 - std::strlen(level), ' ') + subject + ": " + text);
  }

  const std::function<void(const std::string& line)>& m_take;
  Names m_names;
  bool m_failed = false;
};

void CheckImage(Report& report, const std::string& subject, const std::string& path) {
  const std::optional<Image> image = ReadImage(path);
  if (!image) {
    report.Fail(subject, path + " is not there, or no library", "copy it there, or register anew");
  } else if (!image->isLibrary || !image->is64Bit) {
    report.Fail(subject, path + " is for " + image->machine, "put the 64-bit one in its place");
  } else {
    report.Ok(subject, path + ", 64-bit");
  }
}

void CheckRegistration(Report& report) {
  const RegistryKey key = OpenForReading(kProviderPath);
  if (!key) {
    report.Fail("registration", "the provider is not registered", "\"telvotool register\", as administrator");
    return;
  }
  const DWORD type = ReadNumber(key, "Type").value_or(0);
  const std::string image = ReadText(key, "Image Path").value_or("");
  if (type != PROV_RSA_FULL || image.empty()) {
    report.Fail("registration", "Type is " + std::to_string(type) + ", Image Path is \"" + image + "\"",
                "\"telvotool register\", as administrator");
    return;
  }
  report.Ok("registration", std::string(kProviderName) + ", type 1");
  if (!ReadNumber(key, "SigInFile")) {
    report.Warn("registration", "SigInFile is missing", "Windows may want it: \"telvotool register\"");
  }
  const bool complete = image.find('\\') != std::string::npos;
  const std::string found = complete ? image : FindLibrary(image);
  CheckImage(report, "library", found.empty() ? image : found);
}

// A context for verification needs no user and no card. With CRYPT_SILENT added it would need a card.
void CheckProvider(Report& report) {
  try {
    const ProviderHandle provider = Acquire("", CRYPT_VERIFYCONTEXT, "");
    report.Ok("provider", "loads and answers");
  } catch (const Failure& failure) {
    report.Fail("provider", "cannot be acquired: " + CodeText(failure.Code()), failure.Advice());
  }
}

// Returns whether the checks that use the module make sense.
bool CheckModule(Report& report) {
  const std::string path = FindLibrary(kModuleName);
  if (path.empty()) {
    report.Fail("module", std::string(kModuleName) + " is neither beside this program nor in the system folder",
                "install the software of your card");
    return false;
  }
  const std::optional<Image> image = ReadImage(path);
  if (image && !image->is64Bit) {
    report.Fail("module", path + " is for " + image->machine, "install the 64-bit software of your card");
    return false;
  }
  try {
    report.Ok("module", path + ", 64-bit, " + ModuleDescription());
    return true;
  } catch (const CryptokiError& error) {
    report.Fail("module", path + " does not start: " + error.GetText(), "install the software of your card anew");
    return false;
  }
}

void CheckAdapterSlot(Report& report, const AdapterSlot& slot) {
  const std::string subject = "adapter, reader " + slot.reader;
  const std::string who = "token \"" + report.Name(slot.label) + "\", serial " + report.Name(slot.serial);
  if (!slot.isShown) {
    report.Ok(subject, who + ", left out by the settings");
  } else if (!slot.initialised) {
    report.Warn(subject, who + ", not initialised", "initialise it by the module's own tools");
  } else if (slot.lacks.empty()) {
    report.Ok(subject, who + ", has " + Listed(slot.has));
  } else {
    report.Warn(subject,
                who + (slot.has.empty() ? "" : ", has " + Listed(slot.has)) + ", cannot have " + Listed(slot.lacks),
                "do that by the module's own tools");
  }
}

// Without settings of the adapter it is not in use.
void CheckAdapter(Report& report) {
  const std::string path = AdapterSettingsPath();
  if (!std::filesystem::exists(std::filesystem::path(Wide(path)))) return;
  constexpr char kToDo[] = "\"telvotool adapter use PATH\", as administrator";
  try {
    const adapter::Settings settings = adapter::ReadSettings(path);
    const AdapterModule module = Probe(settings);
    report.Ok("adapter", settings.module + ", " + module.description + ", by " + path);
    for (const AdapterSlot& slot : module.slots) CheckAdapterSlot(report, slot);
    if (module.slots.empty()) report.Warn("adapter", "the module has no token", "put one in before it is used");
    report.Ok("adapter", std::string("does by itself: ") + kEmulated);
    if (!settings.trace.empty()) {
      report.Warn("adapter", "the trace is on, " + settings.trace, "switch it off when you are done");
    }
  } catch (const std::exception& error) {
    report.Fail("adapter", error.what(), kToDo);
  }
}

void CheckSmartCardService(Report& report) {
  SCARDCONTEXT context = 0;
  const LONG status = SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &context);
  if (status == SCARD_S_SUCCESS) {
    SCardReleaseContext(context);
    report.Ok("smart card service", "answers");
    return;
  }
  report.Warn("smart card service", "does not answer: " + CodeText(static_cast<DWORD>(status)),
              "start the service SCardSvr: without it a PIN stays in memory when its card is pulled");
}

void CheckCard(Report& report, const std::string& reader, const Card& card) {
  const std::string who = "card \"" + report.Name(card.label) + "\", serial " + report.Name(card.serial);
  const std::string subject = "reader " + reader;
  if (!card.initialised) {
    report.Fail(subject, who + ", not initialised", "have the card personalised by its issuer");
  } else if (card.locked) {
    report.Fail(subject, who + ", PIN locked", "the card's issuer can unlock it");
  } else if (card.tries) {
    report.Warn(subject, who + ", PIN tries left: " + std::to_string(*card.tries),
                "the last PIN was wrong: enter the right one");
  } else {
    report.Ok(subject, who + ", PIN not locked");
  }
}

// Returns whether a card is in. An installation without one is in order.
bool CheckReaders(Report& report) {
  bool any = false;
  try {
    const std::vector<Reader> readers = ListReaders();
    for (const Reader& reader : readers) {
      if (reader.card) {
        any = true;
        CheckCard(report, reader.name, *reader.card);
      } else {
        report.Ok("reader " + reader.name, "empty");
      }
    }
    if (readers.empty()) {
      report.Warn("card", "no card is in, and there is no reader", "connect a reader, or install its driver");
    } else if (!any) {
      report.Warn("card", "no card is in", "put it in before it is used");
    }
  } catch (const CryptokiError& error) {
    report.Fail("readers", "the module does not tell them: " + error.GetText(), "pull the card and put it in again");
  }
  return any;
}

void WarnOf(Report& report, const std::string& setting, const std::optional<Oddity>& oddity) {
  if (oddity) report.Warn(setting, oddity->what, oddity->toDo);
}

void CheckLog(Report& report, const Settings& settings) {
  if (!settings.IsOn(SettingNamed("CSPLOG"))) {
    report.Ok("log", "off");
    return;
  }
  const std::string file = settings.Read(SettingNamed("CSPDIR")).text;
  if (file.empty()) {
    report.Warn("log", "on, without a file", "\"telvotool log on PATH\", or \"telvotool log off\"");
  } else {
    report.Warn("log", "on, " + file, "data stands there in clear: \"telvotool log off\" when you are done");
  }
  WarnOf(report, "CSPDIR", OddityOfLogFile(file));
}

void CheckSettings(Report& report) {
  const Settings settings;
  CheckLog(report, settings);
  if (settings.IsOn(SettingNamed("PINCACHE"))) {
    report.Ok("PIN cache", "on");
  } else {
    report.Warn("PIN cache", "off: every operation asks for the PIN, and --pin-file cannot answer",
                "set PINCACHE to 1 if that is not meant");
  }
  for (const Setting& setting : kSettings) WarnOf(report, setting.name, OddityOf(setting, settings.Read(setting)));
}

void CheckDefault(Report& report, DWORD whose, const std::string& subject) {
  char name[300] = {};
  DWORD length = sizeof(name);
  if (CryptGetDefaultProviderA(PROV_RSA_FULL, nullptr, whose, name, &length) == FALSE) {
    report.Ok(subject, "none");
  } else if (std::string(name) == kProviderName) {
    report.Warn(subject, "it is this provider", "programs that name no provider would ask for a card: set another one");
  } else {
    report.Ok(subject, name);
  }
}

void CheckCertificate(Report& report, PCCERT_CONTEXT certificate, const std::string& container) {
  const std::string subject = "certificate " + report.Name(SubjectOf(certificate));
  const std::string its = "its container \"" + report.Name(container) + "\"";
  HCRYPTPROV handle = 0;
  if (CryptAcquireContextA(&handle, container.c_str(), kProviderName, PROV_RSA_FULL, CRYPT_SILENT) != FALSE) {
    CryptReleaseContext(handle, 0);
    report.Ok(subject, its + " is there");
  } else {
    report.Warn(subject, its + " is not there: " + CodeText(GetLastError()),
                "put its card in; if the key is gone, remove the certificate from MY");
  }
}

void CheckCertificates(Report& report, bool cardIsIn) {
  unsigned count = 0;
  ForEachOwn([&](PCCERT_CONTEXT certificate, const std::string& container) {
    ++count;
    if (cardIsIn) CheckCertificate(report, certificate, container);
  });
  if (count == 0) {
    report.Ok("certificates", "none in MY points to this provider; \"telvotool certs\" copies those of the cards");
  } else if (!cardIsIn) {
    report.Ok("certificates",
              std::to_string(count) + " in MY for this provider; without a card their containers are not looked for");
  }
}

}  // namespace

const char kLeftOut[] = "(left out)";

bool Examine(const std::function<void(const std::string& line)>& take, Names names) {
  Report report(take, names);
  CheckRegistration(report);
  CheckProvider(report);
  CheckSmartCardService(report);
  CheckAdapter(report);
  const bool cardIsIn = CheckModule(report) && CheckReaders(report);
  CheckSettings(report);
  CheckDefault(report, CRYPT_MACHINE_DEFAULT, "default provider of type 1 of this computer");
  CheckDefault(report, CRYPT_USER_DEFAULT, "default provider of type 1 of this user");
  CheckCertificates(report, cardIsIn);
  return !report.Failed();
}

int Doctor(const Options&) {
  const auto print = [](const std::string& line) { std::printf("%s\n", line.c_str()); };
  return Examine(print, Names::kShown) ? kDone : kFailed;
}

}  // namespace tool
