#include "adapter/Trace.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "adapter/ResultNames.h"

namespace adapter {
namespace {

// They are kept out of the trace.
constexpr std::array<std::string_view, 3> kPinLengths = {"pinLen", "oldLen", "newLen"};

// These point to several numbers, of which the module may have written none.
constexpr std::array<std::string_view, 3> kLists = {"slotList", "list", "objects"};

template <std::size_t count>
bool Contains(const std::array<std::string_view, count>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Hexadecimal(CK_ULONG number) {
  char text[32] = {};
  static_cast<void>(std::snprintf(text, sizeof text, "0x%lX", static_cast<unsigned long>(number)));
  return text;
}

}  // namespace

std::string TracedArguments::NextName() {
  constexpr char kBetween[] = "(, )";
  m_names += std::strspn(m_names, kBetween);
  const std::size_t length = std::strcspn(m_names, kBetween);
  std::string name(m_names, length);
  m_names += length;
  return name;
}

void TracedArguments::Add(CK_ULONG number) {
  const std::string name = NextName();
  if (Contains(kPinLengths, name)) return;
  m_text += ' ' + name + '=' + std::to_string(number);
  if (m_attributes == nullptr) return;
  const char* separator = ":";
  for (const CK_ATTRIBUTE* attribute = m_attributes; attribute != m_attributes + number; ++attribute) {
    const CK_ULONG length = attribute->ulValueLen;
    m_text += separator + Hexadecimal(attribute->type);
    m_text += length == CK_UNAVAILABLE_INFORMATION ? "/none" : '/' + std::to_string(length);
    separator = ",";
  }
  m_attributes = nullptr;
}

void TracedArguments::Add(CK_ULONG* number) {
  const std::string name = NextName();
  const bool isWritten = m_result == CKR_OK || m_result == CKR_BUFFER_TOO_SMALL;
  if (number == nullptr) {
    m_text += ' ' + name + "=null";
  } else if (isWritten && !Contains(kLists, name)) {
    m_text += ' ' + name + '=' + std::to_string(*number);
  }
}

void TracedArguments::Add(CK_ATTRIBUTE* attributes) {
  AddPointer(attributes == nullptr);
  m_attributes = attributes;
}

void TracedArguments::Add(CK_MECHANISM* mechanism) {
  if (mechanism == nullptr) return AddPointer(true);
  m_text +=
      ' ' + NextName() + '=' + Hexadecimal(mechanism->mechanism) + '/' + std::to_string(mechanism->ulParameterLen);
}

void TracedArguments::AddPointer(bool isNull) {
  const std::string name = NextName();
  if (isNull) m_text += ' ' + name + "=null";
}

Trace::Trace(const std::string& path) : m_file(system::OpenFile(path, "ab")) {}

void Trace::Note(const std::string& text) noexcept {
  try {
    WriteLine(text);
  } catch (const std::exception&) {  // out of memory
  }
}

void Trace::WriteCall(const char* name, double milliseconds, CK_RV result, const std::string& arguments) {
  char time[64] = {};
  static_cast<void>(std::snprintf(time, sizeof time, " %.3f ms ", milliseconds));
  WriteLine(name + (time + ResultName(result)) + arguments);
}

void Trace::WriteLine(const std::string& text) {
  const std::string line =
      system::LocalTime() + " thread " + std::to_string(system::ThreadNumber()) + ' ' + text + '\n';
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (!m_file) return;
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), m_file.get()));
  static_cast<void>(std::fflush(m_file.get()));
}

}  // namespace adapter
