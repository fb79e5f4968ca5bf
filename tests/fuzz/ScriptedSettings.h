// ScriptedSettings: the registry for fuzz_platform_answers. The program's functions stand in the place of the system's;
// without an instance there is no key. Sleep returns at once, but for threads that sleep for ever.
#pragma once

#include "common/Platform.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <map>
#include <string>

class ScriptedSettings {
 public:
  struct Value {
    DWORD type;
    std::string bytes;
    LSTATUS failure;  // of the question for it
  };

  // The tape says which of the product's keys open, and what the one that opens has.
  explicit ScriptedSettings(FuzzedDataProvider& data);
  ~ScriptedSettings();
  ScriptedSettings(const ScriptedSettings&) = delete;
  ScriptedSettings& operator=(const ScriptedSettings&) = delete;

  // Null when there is no key, or no such value.
  const Value* Find(const std::string& name) const;
  bool HasKey() const { return m_keys != 0; }
  int OpenKeys() const { return m_open; }
  LSTATUS setResult = ERROR_SUCCESS;

  LSTATUS Open(HKEY* key);
  LSTATUS Query(const char* name, DWORD* type, BYTE* data, DWORD* length);
  void Close() { --m_open; }

 private:
  static Value AnyValue(FuzzedDataProvider& data);

  unsigned m_keys;       // a bit for each of the product's keys that opens
  unsigned m_asked = 0;  // which comes next
  int m_open = 0;
  std::map<std::string, Value> m_values;
};
