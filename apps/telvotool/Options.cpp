#include "telvotool/Options.h"

#include <algorithm>

#include "telvotool/Errors.h"

namespace tool {

namespace {

constexpr Option kOptions[] = {
    {"--reader", "NAME", "the reader with the card, as \"telvotool doctor\" shows it; needed only with several cards"},
    {"--pin-file", "FILE", "take the PIN from the first line of FILE; no dialog is shown then"},
    {"--pin-stdin", nullptr, "take the PIN from the first line of the standard input; no dialog is shown then"},
    {"--bits", "N", "size of the key: 1024, 2048 (the default) or 4096"},
    {"--subject", "DN", "subject of the certificate; \"CN=NAME\" when not given"},
    {"--days", "N", "days until the certificate ends, 1 to 36500; 365 when not given"},
    {"--eku", "LIST",
     "what the key is for: serverAuth, clientAuth, codeSigning, emailProtection, timeStamping, OCSPSigning,\n"
     "                     smartcardLogon, or object identifiers, with commas between; everything when not given"},
    {"--request", "FILE", "no certificate: write a PKCS #10 request to FILE, for an authority"},
    {"--container", "NAME", "the container; without it the card's default"},
    {"--hash", "NAME", "sha1, sha256 (the default) or sha512"},
    {"--out", "FILE", "where the result goes"},
    {"--signature", "FILE", "the signature; FILE.p7s when not given"},
    {"--signer", "FILE", "accept no signature but one by this certificate (DER or PEM)"},
    {"--dll", "PATH", "the provider's library; the one beside this program or in the system folder when not given"},
    {"--yes", nullptr, "do not ask"},
    {"--init", "STRING", "what the module wants to be initialised with; few modules do"},
    {"--label", "LABEL", "only the token with this label"},
    {"--serial", "SERIAL", "only the token with this serial number"},
    {"--tries", "N", "tries that a wrong PIN leaves, 1 to 15, when the token does not tell; 3 when not given"},
    {"--keep-login", "yes|no", "no: each logout of the provider reaches the token; yes when not given"},
    {"--login-life", "SECONDS", "seconds without use after which a kept login ends, 1 to 86400; 300 when not given"},
    {"--default-certificate", "LABEL", "the certificate that is the token's default"},
    {"--trace", "FILE", "write each call of the module to FILE, without PINs, keys and data"},
    {"--keep", nullptr, "leave the container on the card"},
    {"--json", nullptr, "write the results as JSON"},
    {"--report", "FILE",
     "write a report for the makers to FILE: versions, findings and results, without names and PINs"},
    {"--markdown", nullptr, "no CODE: write all codes as the document errors.md"},
    {"--help", nullptr, "show the help of the command"},
};

}  // namespace

const Option* FindOption(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kOptions), std::end(kOptions), [&](const Option& option) { return name == option.name; });
  return found == std::end(kOptions) ? nullptr : found;
}

Options::Options(const std::vector<std::string>& arguments, const std::vector<std::string>& allowed) {
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (*argument == "--") {
      m_operands.insert(m_operands.end(), argument + 1, arguments.end());
      return;
    }
    if (argument->rfind("--", 0) != 0) {
      m_operands.push_back(*argument);
      continue;
    }
    const std::size_t equals = argument->find('=');
    const std::string name = argument->substr(0, equals);
    const Option* const option = FindOption(name);
    if (name == "--pin")
      throw UsageError("a PIN on the command line can be seen by others: use --pin-file or --pin-stdin");
    if (option == nullptr) throw UsageError("unknown option " + name);
    if (name != "--help" && std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      throw UsageError(name + " is no option of this command");
    }
    std::string value;
    if (option->value == nullptr) {
      if (equals != std::string::npos) throw UsageError(name + " takes no value");
    } else if (equals != std::string::npos) {
      value = argument->substr(equals + 1);
    } else {
      if (++argument == arguments.end()) {
        throw UsageError(std::string(name).append(" needs a value: ").append(name).append(" ").append(option->value));
      }
      value = *argument;
    }
    if (!m_values.emplace(name, value).second) throw UsageError(name + " is given twice");
  }
}

std::string Options::Value(const std::string& name, const std::string& otherwise) const {
  const auto found = m_values.find(name);
  return found == m_values.end() ? otherwise : found->second;
}

}  // namespace tool
