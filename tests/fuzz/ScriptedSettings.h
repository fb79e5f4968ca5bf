// ScriptedSettings: the registry for fuzz_platform_answers. The program's functions replace the system's; without an
// instance there is no key. Sleep returns at once, except for threads that sleep for ever.
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
    LSTATUS failure;  // the result of a query for it
  };

  // The input says which of the product's keys can be opened, and which values they have.
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
  unsigned m_asked = 0;  // the next key
  int m_open = 0;
  std::map<std::string, Value> m_values;
};
