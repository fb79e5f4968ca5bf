// Text of a token, compared with models: any bytes, names with known parts, the fields of token and slot records,
// flags, and names of numbers.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Must.h"
#include "cryptoki/DecodeText.h"
#include "cryptoki/FlagsText.h"
#include "cryptoki/Names.h"
#include "cryptoki/SlotInfo.h"
#include "cryptoki/TokenInfo.h"
#include "cryptoki/Version.h"
#include "module/DerCertificate.h"
#include "objects/Algorithms.h"

namespace {

constexpr unsigned char kSequence = 0x30;

std::string Decoded(const Bytes& bytes) { return DecodeText(bytes.data(), static_cast<DWORD>(bytes.size())); }

// Bytes that are not a name are a string up to their first zero byte.
void AnyBytes(FuzzedDataProvider& data) {
  const auto bytes = data.ConsumeRemainingBytes<unsigned char>();
  const std::string text = Decoded(bytes);
  Must(text.find('\0') == std::string::npos);
  if (bytes.empty() || bytes[0] != kSequence)
    Must(text == std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)));
  Must(DecodeText(nullptr, static_cast<DWORD>(bytes.size())).empty());
}

std::string Letters(FuzzedDataProvider& data) {
  std::string text(data.ConsumeIntegralInRange<std::size_t>(1, 12), ' ');
  for (char& c : text) c = static_cast<char>(data.ConsumeIntegralInRange<int>('a', 'z'));
  return text;
}

using Parts = std::vector<std::pair<Bytes, std::string>>;

// The last common name; without one, the last organisation without its first letter; without that, the last part.
std::string ModelOfName(const Parts& parts) {
  const auto lastOf = [&parts](const Bytes& type) {
    return std::find_if(parts.rbegin(), parts.rend(), [&type](const auto& part) { return part.first == type; });
  };
  if (const auto name = lastOf(kCommonName); name != parts.rend()) return name->second;
  if (const auto organisation = lastOf(kOrganisation); organisation != parts.rend())
    return organisation->second.substr(1);
  const std::pair<Bytes, const char*> keys[] = {{kCountry, "C="}, {kLocality, "L="}, {kUnit, "OU="}, {kEMail, "E="}};
  for (const auto& key : keys) {
    if (key.first == parts.back().first) return key.second + parts.back().second;
  }
  return "";
}

void KnownName(FuzzedDataProvider& data) {
  const Bytes types[] = {kCountry, kLocality, kOrganisation, kUnit, kEMail, kCommonName};
  Parts parts;
  const int count = data.ConsumeIntegralInRange(1, 5);
  for (int i = 0; i < count; ++i) {
    const Bytes& type = types[data.ConsumeIntegralInRange<std::size_t>(0, std::size(types) - 1)];
    parts.emplace_back(type, Letters(data));
  }
  Must(Decoded(DerName(parts)) == ModelOfName(parts));
}

void Flags(FuzzedDataProvider& data) {
  const std::vector<FlagName> names = {{1, "One"}, {2, "Two"}, {0x80, "Three"}, {0x80000000, "Four"}};
  const auto flags = data.ConsumeIntegral<CK_FLAGS>();
  std::string listed;
  for (const FlagName& row : names) {
    if ((flags & row.flag) != 0) listed += (listed.empty() ? "" : "| ") + std::string(row.name) + " ";
  }
  try {
    const std::string text = FlagsText(flags, names);
    Must(text.size() == 13 + listed.size() && text.substr(13) == listed);
    Must(text.substr(0, 3) == "[0x" && std::stoul(text.substr(1, 10), nullptr, 16) == (flags & 0xFFFFFFFFU));
  } catch (const std::out_of_range&) {
    Must(listed.empty());
  }
}

template <typename Record>
Record Filled(FuzzedDataProvider& data) {
  Record record = {};
  data.ConsumeData(&record, sizeof(record));
  return record;
}

void Records(FuzzedDataProvider& data) {
  const auto slot = Filled<CK_SLOT_INFO>(data);
  const std::string description = SlotInfo(slot, 7).GetDescription();
  const std::string field(slot.slotDescription, slot.slotDescription + 32);
  Must(description.size() >= 33 && description.substr(description.size() - 32) == std::string(32, '\0'));
  const std::size_t kept = description.size() - 32;
  Must(field.compare(0, kept, description, 0, kept) == 0 && field.find_first_not_of(' ', kept) == std::string::npos);
  Must(kept == 1 || description[kept - 1] != ' ');

  const auto token = Filled<CK_TOKEN_INFO>(data);
  const TokenInfo info(token);
  std::string serial = info.GetSerial();
  for (std::size_t i = 2; i < serial.size(); ++i) {
    Must(serial[i] == ' ');
    serial.erase(i++, 1);
  }
  Must(serial == std::string(token.serialNumber, token.serialNumber + sizeof(token.serialNumber)));
  if (token.label[0] != kSequence)
    Must(info.GetLabel() == std::string(token.label, std::find(token.label, token.label + sizeof(token.label), 0)));
}

void Names(FuzzedDataProvider& data) {
  const auto number = data.ConsumeIntegral<std::uint32_t>();
  const auto type = data.ConsumeBool() ? number % 0x1100 : number;
  Must(!MechanismName(type).empty());
  const char* const key = FindKeyTypeName(type);
  Must(key == nullptr || *key != '\0');
  const HashAlgorithm* const hash = FindHashAlgorithm(type);
  Must(hash == nullptr || (*hash->name != '\0' && FindAlgorithm(type) != nullptr));
}

std::pair<BYTE, BYTE> Numbers(const Version& version) { return {version.GetMajor(), version.GetMinor()}; }

void Versions(FuzzedDataProvider& data) {
  const Version one(data.ConsumeIntegral<BYTE>(), data.ConsumeIntegral<BYTE>());
  const Version other(CK_VERSION{data.ConsumeIntegral<BYTE>(), data.ConsumeIntegral<BYTE>()});
  Must(one.ToString() == std::to_string(one.GetMajor()) + "." + std::to_string(one.GetMinor()));
  const auto a = Numbers(one);
  const auto b = Numbers(other);
  Must((one == other) == (a == b) && (one != other) == (a != b) && (one < other) == (a < b));
  Must((one <= other) == (a <= b) && (one > other) == (a > b) && (one >= other) == (a >= b));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  void (*const kinds[])(FuzzedDataProvider&) = {AnyBytes, KnownName, Flags, Records, Names, Versions};
  data.PickValueInArray(kinds)(data);
  return 0;
}
