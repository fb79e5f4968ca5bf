// Container names and flags from applications, and identifiers from tokens: any bytes, compared with models.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

#include "Must.h"
#include "common/CCSPContextError.h"
#include "context/CheckAcquireFlags.h"
#include "context/ContainerName.h"

namespace {

struct Name {
  std::string reader;
  std::string container;
};

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c; });
  return text;
}

std::string WithoutLogonPrefix(std::string container) {
  const std::string folded = Folded(container);
  const std::string logon = "smartcardlogon-";
  const std::string user = "smartcarduser-";
  const std::size_t place = std::min(folded.find(logon), folded.find(user));
  if (place == std::string::npos) return container;
  return container.erase(place, (folded.compare(place, logon.size(), logon) == 0 ? logon : user).size());
}

Name ModelOfName(const std::string& name) {
  if (name.compare(0, 3, "\\\\.") != 0) return {"", WithoutLogonPrefix(name)};
  const std::string rest = name.size() > 4 ? name.substr(4) : "";
  const std::size_t end = rest.find('\\');
  const std::string container = end == std::string::npos ? "" : rest.substr(rest.rfind('\\') + 1);
  return {rest.substr(0, std::min<std::size_t>(end, 255)), WithoutLogonPrefix(container)};
}

std::string ModelOfId(const std::string& id) {
  const std::string text = id.c_str();
  if (!text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F'; })) return text;
  std::string hex;
  for (const char c : id) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    hex += digits;
  }
  return hex;
}

// The code of a refusal, or 0.
DWORD ModelOfFlags(const char* name, DWORD flags) {
  constexpr DWORD kVerify = 0xF0000000;
  constexpr DWORD kBadFlags = 0x80090009;
  const bool clash = flags == 0x18 || flags == (kVerify | 8U);
  if ((flags & 0x0FFFFF07U) != 0 || clash) return kBadFlags;
  if (name == nullptr) return 0;
  if ((flags & kVerify) != 0) return (flags & 0x40U) != 0 ? 0 : kBadFlags;
  return std::strlen(name) > 260 ? 0x8009001F : 0;
}

DWORD CheckFlags(const char* name, DWORD flags) {
  try {
    CheckAcquireFlags(name, flags);
    return 0;
  } catch (const CCSPContextError& error) {
    return error.GetCode();
  }
}

// Any flags, or a combination of the existing ones.
DWORD Flags(FuzzedDataProvider& data) {
  if (data.ConsumeBool()) return data.ConsumeIntegral<DWORD>();
  constexpr DWORD kFlags[] = {CRYPT_NEWKEYSET, CRYPT_DELETEKEYSET, CRYPT_VERIFYCONTEXT, CRYPT_SILENT,
                              CRYPT_MACHINE_KEYSET};
  DWORD flags = 0;
  for (const DWORD flag : kFlags) flags |= data.ConsumeBool() ? flag : 0;
  return flags;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const DWORD flags = Flags(data);
  const std::size_t repeats = data.ConsumeBool() ? 20 : 1;
  const bool hasLongReader = data.ConsumeIntegralInRange(0, 3) == 3;
  const std::string reader(data.ConsumeIntegralInRange<std::size_t>(250, 260), 'r');
  std::string text = data.ConsumeRandomLengthString();
  const std::string id = data.ConsumeRemainingBytesAsString();

  Must(IdToContainerName(reinterpret_cast<const BYTE*>(id.data()), static_cast<DWORD>(id.size())) == ModelOfId(id));
  Must(IdToContainerName(nullptr, static_cast<DWORD>(id.size())).empty());

  // Names have no zero byte; some are long.
  text = text.c_str();
  std::string whole = hasLongReader ? "\\\\.\\" + reader + text : text;
  for (std::size_t i = 1; i < repeats; ++i) whole += text;
  Must(CheckFlags(whole.c_str(), flags) == ModelOfFlags(whole.c_str(), flags));
  Must(CheckFlags(nullptr, flags) == ModelOfFlags(nullptr, flags));
  Name name{"old", "old"};
  ParseContainerName(whole.c_str(), name.reader, name.container);
  const Name expected = ModelOfName(whole);
  Must(name.reader == expected.reader && name.container == expected.container);
  ParseContainerName(nullptr, name.reader, name.container);
  Must(name.reader.empty() && name.container.empty());
  return 0;
}
