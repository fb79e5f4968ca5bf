// The last errors of the provider. "telvotool explain" and docs/errors.md are made of this table.
#pragma once

#include "common/Platform.h"

#include <string>
#include <vector>

namespace tool {

struct CatalogueRow {
  DWORD code;
  const char* name;
  const char* words;  // of the system, in English
  const char* toDo;   // for the user or the programmer
};

// One reason for a code.
struct CatalogueCase {
  DWORD code;
  const char* functions;
  const char* why;
  const char* log;  // the line that the log then has; empty for none
};

// A result of the PKCS #11 module that can become the last error itself.
struct ModuleRow {
  DWORD code;
  const char* name;
  const char* toDo;
};

// Ascending by code.
const std::vector<CatalogueRow>& CatalogueRows();
// In the order of the rows; each row has at least one.
const std::vector<CatalogueCase>& CatalogueCases();
// Ascending by code.
const std::vector<ModuleRow>& ModuleRows();
// The log's text for a result of the module, as UTF-8.
std::string ModuleLogText(DWORD code);

// The log line of a case in which the module failed.
extern const char kModuleText[];

// The functions in which a result of the module becomes the last error, and why.
extern const char kModuleCodesIn[];
extern const char kModuleCodesWhy[];

// The code that a number (decimal, or hexadecimal after 0x) or a name of either table or of Errors.h stands for. Names
// may be in lower case. Raises UsageError for anything else.
DWORD ParseCode(const std::string& text);

}  // namespace tool
