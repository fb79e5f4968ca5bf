#include "context/ContainerName.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <locale>

#include "common/BytesAsText.h"
#include "log/Logs.h"

namespace {

constexpr char kReaderMark[] = "\\\\.";
constexpr std::size_t kReaderStart = 4;
constexpr std::size_t kLongestReader = 255;

// The platform's logon puts one of these before the name.
constexpr const char* kLogonPrefixes[] = {"SmartcardLogon-", "SmartcardUser-"};

// Only ASCII letters are folded, whatever the process's locale.
bool StartsWithFolded(const std::string& text, std::size_t position, const std::string& prefix) {
  return text.size() - position >= prefix.size() &&
         boost::algorithm::iequals(text.substr(position, prefix.size()), prefix, std::locale::classic());
}

bool CutLogonPrefix(std::string& container) {
  for (std::size_t position = 0; position < container.size(); ++position) {
    for (const std::string prefix : kLogonPrefixes) {
      if (!StartsWithFolded(container, position, prefix)) continue;
      container.erase(position, prefix.size());
      return true;
    }
  }
  return false;
}

void SplitReaderForm(const std::string& name, std::string& reader, std::string& container) {
  const std::size_t readerStart = std::min(kReaderStart, name.size());
  const std::size_t readerEnd = name.find('\\', readerStart);
  reader = name.substr(readerStart, readerEnd == std::string::npos ? readerEnd : readerEnd - readerStart);
  if (reader.size() > kLongestReader) reader.resize(kLongestReader);
  container = readerEnd == std::string::npos ? std::string() : name.substr(name.rfind('\\') + 1);
}

}  // namespace

void ParseContainerName(const char* name, std::string& reader, std::string& container) {
  reader.clear();
  container.clear();
  if (name == nullptr) return;
  const std::string whole = name;
  if (boost::algorithm::starts_with(whole, kReaderMark)) {
    SplitReaderForm(whole, reader, container);
  } else {
    container = whole;
  }
  if (CutLogonPrefix(container)) g_contextLog.Write("\tModified Container Name: ", container.c_str(), true);
}

std::string BytesToHex(const BYTE* bytes, DWORD length) {
  std::string text;
  text.reserve(std::size_t{length} * 2);
  for (DWORD i = 0; i < length; ++i) AppendHex(text, bytes[i]);
  return text;
}

std::string IdToContainerName(const BYTE* id, DWORD length) {
  if (id == nullptr || length == 0) return std::string();
  const BYTE* const end = std::find(id, id + length, BYTE{0});
  // A zero byte at the front does not end a name: the identifier is not a readable string.
  if (end == id || !std::all_of(id, end, IsPlain)) return BytesToHex(id, length);
  return std::string(id, end);
}
