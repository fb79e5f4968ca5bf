#include "telvotool/Commands.h"

#include <algorithm>
#include <cstdio>

#include "cryptoki/CryptokiError.h"
#include "telvotool/Cards.h"
#include "telvotool/Errors.h"

namespace tool {

namespace {

// A command that needs a card all the time. Without one it ends before its work begins (OccupiedReaders in Cards.cpp).
template <int (*Work)(const Options&)>
int OnACard(const Options& options) {
  return WithCard(options.Value("--reader"), [&options] { return Work(options); });
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"register",
       "",
       "make the provider known to Windows (as administrator)",
       0,
       0,
       {"--dll"},
       "  telvotool register\n"
       "  telvotool register --dll C:\\Windows\\System32\\telvocsp.dll\n",
       Register},
      {"unregister",
       "",
       "take the provider out of Windows again (as administrator)",
       0,
       0,
       {},
       "  telvotool unregister\n",
       Unregister},
      {"doctor",
       "",
       "say what is in order, what is not, and what to do; spends no PIN try",
       0,
       0,
       {},
       "  telvotool doctor\n",
       Doctor},
      {"containers",
       "",
       "list the containers: name, bits of the key, reader, subject of the certificate",
       0,
       0,
       {"--reader"},
       "  telvotool containers\n",
       OnACard<ListContainers>},
      {"certs",
       "",
       "copy the cards' certificates into the store MY, and list those that are there",
       0,
       0,
       {"--reader"},
       "  telvotool certs\n",
       OnACard<ListCertificates>},
      {"enrol",
       "NAME",
       "make a key on the card, with a self-signed certificate or a request for one",
       1,
       1,
       {"--bits", "--subject", "--days", "--eku", "--request", "--reader", "--pin-file", "--pin-stdin"},
       "  telvotool enrol signing --subject \"CN=Anna Example, O=Example Ltd, C=DE\"\n"
       "  telvotool enrol signing --bits 4096 --pin-file pin.txt\n"
       "  telvotool enrol mail --eku emailProtection,clientAuth --days 730\n"
       "  telvotool enrol signing --request signing.p10\n",
       OnACard<Enrol>},
      {"import-cert",
       "NAME FILE",
       "put a certificate (DER or PEM) for the key of a container on the card",
       2,
       2,
       {"--reader", "--pin-file", "--pin-stdin"},
       "  telvotool import-cert signing signing.cer\n",
       OnACard<ImportCertificate>},
      {"sign",
       "FILE",
       "sign a file; the signature is a detached CMS message",
       1,
       1,
       {"--container", "--hash", "--out", "--reader", "--pin-file", "--pin-stdin"},
       "  telvotool sign letter.pdf                       writes letter.pdf.p7s\n"
       "  telvotool sign letter.pdf --container signing --out letter.sig\n"
       "  echo 123456| telvotool sign letter.pdf --pin-stdin\n",
       OnACard<SignFile>},
      {"verify",
       "FILE",
       "check a file against its detached signature",
       1,
       1,
       {"--signature", "--signer"},
       "  telvotool verify letter.pdf                     reads letter.pdf.p7s\n"
       "  telvotool verify letter.pdf --signature letter.sig --signer anna.cer\n",
       VerifyFile},
      {"delete",
       "NAME",
       "delete a container: its key and certificate on the card, and its certificates in MY",
       1,
       1,
       {"--yes", "--reader", "--pin-file", "--pin-stdin"},
       "  telvotool delete signing\n"
       "  telvotool delete signing --yes --pin-file pin.txt\n",
       OnACard<DeleteContainer>},
      {"change-pin",
       "",
       "change the PIN of a card, in a dialog",
       0,
       0,
       {"--reader"},
       "  telvotool change-pin\n",
       OnACard<ChangePin>},
      {"log",
       "[on PATH | off]",
       "switch the provider's log on or off, or say what it is set to",
       0,
       2,
       {},
       "  telvotool log on C:\\Temp\\csp.log\n"
       "  telvotool log off\n",
       SwitchLog},
      {"adapter",
       "use PATH | show",
       "put another PKCS #11 module behind the provider (as administrator), or say which one it is",
       1,
       2,
       {"--init", "--label", "--serial", "--reader", "--tries", "--keep-login", "--login-life", "--default-certificate",
        "--trace"},
       "  telvotool adapter use \"C:\\Program Files\\OpenSC Project\\OpenSC\\pkcs11\\opensc-pkcs11.dll\"\n"
       "  telvotool adapter use module.dll --label \"My token\" --trace C:\\Temp\\module.txt\n"
       "  telvotool adapter show\n",
       ManageAdapter},
      {"selftest",
       "",
       "try everything that the provider does on your card, in a container of its own that is deleted again",
       0,
       0,
       {"--reader", "--keep", "--json", "--report", "--yes", "--pin-file", "--pin-stdin"},
       "  telvotool selftest\n"
       "  telvotool selftest --yes --pin-file pin.txt --report report.txt\n",
       SelfTest},
      {"explain",
       "CODE",
       "say what an error code of the provider means, where it comes from, and what to do",
       0,
       1,
       {"--markdown"},
       "  telvotool explain 0x80090016\n"
       "  telvotool explain NTE_BAD_KEYSET\n"
       "  telvotool explain --markdown > errors.md\n",
       Explain},
  };
  return commands;
}

namespace {

constexpr char kExitCodes[] =
    "exit codes: 0 done, 1 failed, 2 wrong usage, 3 not there (container, certificate, card, file),\n"
    "            4 PIN wrong, locked, missing or cancelled, 5 signature or certificate not valid\n";

void PrintHelp() {
  std::printf(
      "telvotool: containers, certificates and signatures with the Brenholt Devices CSP v4.5\n\n"
      "usage: telvotool COMMAND [OPERAND...] [OPTION...]\n"
      "       telvotool COMMAND --help\n\n");
  for (const Command& command : Commands()) {
    const std::string form = std::string(command.name) + " " + command.operands;
    std::printf("  %-22s %s\n", form.c_str(), command.summary);
  }
  std::printf("\n%s", kExitCodes);
}

void PrintHelp(const Command& command) {
  std::printf("usage: telvotool %s %s%s\n\n%s\n", command.name, command.operands,
              command.options.empty() ? "" : " [OPTION...]", command.summary);
  if (!command.options.empty()) std::printf("\noptions:\n");
  for (const std::string& name : command.options) {
    const Option& option = *FindOption(name);
    const std::string form = name + (option.value == nullptr ? "" : std::string(" ") + option.value);
    std::printf("  %-18s %s\n", form.c_str(), option.help);
  }
  std::printf("\nexamples:\n%s\n%s", command.examples, kExitCodes);
}

int WrongUsage(const std::string& command, const std::string& what) {
  static_cast<void>(std::fprintf(stderr, "telvotool%s: %s\n  see: telvotool%s --help\n", command.c_str(), what.c_str(),
                                 command.c_str()));
  return kUsage;
}

int Failed(const Command& command, const Failure& failure) {
  const std::string code = failure.Code() == 0 ? "" : ": " + CodeText(failure.Code());
  static_cast<void>(std::fprintf(stderr, "telvotool %s: %s%s\n", command.name, failure.what(), code.c_str()));
  if (!failure.Advice().empty())
    static_cast<void>(std::fprintf(stderr, "  what to do: %s\n", failure.Advice().c_str()));
  return failure.Exit();
}

int Run(const Command& command, const std::vector<std::string>& arguments) {
  const Options options(arguments, command.options);
  if (options.Has("--help")) {
    PrintHelp(command);
    return kDone;
  }
  const std::size_t count = options.Operands().size();
  if (count < command.least) throw UsageError(std::string("missing: ") + command.operands);
  if (count > command.most) throw UsageError("unexpected: " + options.Operands()[command.most]);
  return command.run(options);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments[0] == "--help" || arguments[0] == "help") {
    PrintHelp();
    return arguments.empty() ? kUsage : kDone;
  }
  const auto& commands = Commands();
  const auto command = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& candidate) { return arguments[0] == candidate.name; });
  if (command == commands.end()) return WrongUsage("", "unknown command " + arguments[0]);
  try {
    return Run(*command, {arguments.begin() + 1, arguments.end()});
  } catch (const UsageError& error) {
    return WrongUsage(std::string(" ") + command->name, error.what());
  } catch (const Failure& failure) {
    return Failed(*command, failure);
  } catch (const CryptokiError& error) {
    return Failed(*command, Failure("the PKCS #11 module refused: " + error.GetText(), kFailed,
                                    "\"telvotool doctor\" tells what stands in the way"));
  } catch (const std::exception& error) {
    return Failed(*command, Failure(error.what(), kFailed, ""));
  }
}

}  // namespace tool
