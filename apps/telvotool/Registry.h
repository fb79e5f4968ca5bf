// The registry below HKEY_LOCAL_MACHINE. Writing raises a Failure that names the key.
#pragma once

#include "common/Platform.h"

#include <optional>
#include <string>

#include "telvotool/Handles.h"

namespace tool {

// Where Windows registers the provider: type, library, and the mark that its signature is in the file.
extern const char kProviderPath[];
// Where the product stores its settings: the first of the keys where the provider looks for them.
extern const char kProductPath[];

// Empty when the key does not exist.
RegistryKey OpenForReading(const std::string& path);
RegistryKey CreateForWriting(const std::string& path);

// The key with the product's settings that the provider reads, or the first of its keys when there is none yet.
RegistryKey ProductKeyForWriting();

// A value of type REG_SZ or REG_EXPAND_SZ, the latter with its variables expanded. No value for any other type.
std::optional<std::string> ReadText(const RegistryKey& key, const char* name);
std::optional<DWORD> ReadNumber(const RegistryKey& key, const char* name);
void WriteText(const RegistryKey& key, const char* name, const std::string& text);
void WriteNumber(const RegistryKey& key, const char* name, DWORD number);

}  // namespace tool
