#include "telvotool/Purposes.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "telvotool/Errors.h"

namespace tool {

namespace {

struct Purpose {
  const char* name;
  const char* oid;
};

constexpr Purpose kPurposes[] = {
    {"serverAuth", "1.3.6.1.5.5.7.3.1"},          {"clientAuth", "1.3.6.1.5.5.7.3.2"},
    {"codeSigning", "1.3.6.1.5.5.7.3.3"},         {"emailProtection", "1.3.6.1.5.5.7.3.4"},
    {"timeStamping", "1.3.6.1.5.5.7.3.8"},        {"OCSPSigning", "1.3.6.1.5.5.7.3.9"},
    {"smartcardLogon", "1.3.6.1.4.1.311.20.2.2"},
};

// The parts between the separators; at least one.
std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = text.find(separator, begin);
    pieces.push_back(text.substr(begin, end == std::string::npos ? end : end - begin));
  }
  return pieces;
}

// A number without leading zeros, of at most 28 bits: not every platform can encode more.
bool IsArc(const std::string& text) {
  constexpr unsigned long kMost = 0x0FFFFFFF;
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  return (text == "0" || text[0] != '0') && std::strtoul(text.c_str(), nullptr, 10) <= kMost;
}

bool IsIdentifier(const std::string& text) {
  const std::vector<std::string> arcs = Split(text, '.');
  if (arcs.size() < 3 || !std::all_of(arcs.begin(), arcs.end(), IsArc)) return false;
  const unsigned long first = std::stoul(arcs[0]);
  // The first two share one byte.
  return first <= 2 && std::stoul(arcs[1]) < (first == 2 ? 48U : 40U);
}

std::string IdentifierOf(const std::string& entry) {
  const auto* const found = std::find_if(std::begin(kPurposes), std::end(kPurposes),
                                         [&](const Purpose& purpose) { return entry == purpose.name; });
  if (found != std::end(kPurposes)) return found->oid;
  if (IsIdentifier(entry)) return entry;
  std::string names;
  for (const Purpose& purpose : kPurposes) names += std::string(names.empty() ? "" : ", ") + purpose.name;
  throw UsageError("--eku takes a list like clientAuth,emailProtection, and \"" + entry + "\" is none of " + names +
                   ", and no object identifier like 1.3.6.1.5.5.7.3.4 with numbers below 268435456");
}

}  // namespace

std::vector<std::string> ParsePurposes(const std::string& list) {
  std::vector<std::string> identifiers;
  for (const std::string& entry : Split(list, ',')) {
    const std::string identifier = IdentifierOf(entry);
    if (std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end())
      throw UsageError("--eku: " + entry + " is there twice");
    identifiers.push_back(identifier);
  }
  return identifiers;
}

}  // namespace tool
