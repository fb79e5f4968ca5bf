// explain: one code of the catalogue, or all of them as a document.
#include <cstdio>

#include "telvotool/Commands.h"
#include "telvotool/ErrorCatalogue.h"
#include "telvotool/Errors.h"

namespace tool {

namespace {

std::vector<CatalogueCase> CasesOf(DWORD code) {
  std::vector<CatalogueCase> cases;
  for (const CatalogueCase& one : CatalogueCases()) {
    if (one.code == code) cases.push_back(one);
  }
  return cases;
}

void Print(const CatalogueRow& row) {
  std::printf("%s, %s, %lu\nthe system says: %s\n", row.name, Hex(row.code).c_str(),
              static_cast<unsigned long>(row.code), row.words);
  for (const CatalogueCase& one : CasesOf(row.code)) {
    std::printf("in %s: %s\n", one.functions, one.why);
    std::printf("  the log says: %s\n", *one.log == '\0' ? "nothing" : one.log);
  }
  std::printf("what to do: %s\n", row.toDo);
}

void Print(const ModuleRow& row) {
  std::printf("%s, %s, %lu: a result of the PKCS #11 module\n", row.name, Hex(row.code).c_str(),
              static_cast<unsigned long>(row.code));
  std::printf("in %s: %s\n", kModuleCodesIn, kModuleCodesWhy);
  std::printf("  the log says: %s\nwhat to do: %s\n", ModuleLogText(row.code).c_str(), row.toDo);
}

// A number may be a code of the system and a result of the module.
bool PrintOwn(DWORD code) {
  bool any = false;
  for (const CatalogueRow& row : CatalogueRows()) {
    if (row.code != code) continue;
    Print(row);
    any = true;
  }
  for (const ModuleRow& row : ModuleRows()) {
    if (row.code != code) continue;
    if (any) std::printf("\n");
    Print(row);
    any = true;
  }
  return any;
}

// A code that Windows or telvotool reports, and the provider never does.
void PrintForeign(DWORD code, const std::string& given) {
  if (SystemText(code).empty() && AdviceOf(code).empty()) {
    throw UsageError("the provider has no code " + given + ", and the system does not know it");
  }
  std::printf("%s\nthe provider itself never gives this code: it is of Windows\n", CodeText(code).c_str());
  if (!SystemText(code).empty()) std::printf("the system says: %s\n", SystemText(code).c_str());
  if (!AdviceOf(code).empty()) std::printf("what to do: %s\n", AdviceOf(code).c_str());
}

constexpr char kIntroduction[] =
    "# Error codes\n\n"
    "Every last error that the provider gives a program, what it means, and what to do. `telvotool explain CODE` shows "
    "one of\n"
    "them. This document is made by `telvotool explain --markdown` from `apps/telvotool/ErrorCatalogue.cpp`: change it "
    "there.\n\n"
    "A line of the log is shown without what follows it, such as a number, and without the name of the function above "
    "it.\n"
    "*Guard* means: the code is there for safety, and other checks come first.\n\n";

// A vertical bar would end the cell.
std::string Cell(const std::string& text) {
  std::string cell;
  for (const char c : text) cell += c == '|' ? std::string("\\|") : std::string(1, c);
  return cell;
}

std::string LogCell(const char* log) {
  if (*log == '\0') return "nothing";
  return log == std::string(kModuleText) ? log : "`" + Cell(log) + "`";
}

void PrintMarkdown(const CatalogueRow& row) {
  std::printf("## %s\n\n%s, %lu. The system says: \"%s\". What to do: %s.\n\n", row.name, Hex(row.code).c_str(),
              static_cast<unsigned long>(row.code), row.words, row.toDo);
  std::printf("| functions | why | the log says |\n|---|---|---|\n");
  for (const CatalogueCase& one : CasesOf(row.code)) {
    std::printf("| %s | %s | %s |\n", Cell(one.functions).c_str(), Cell(one.why).c_str(), LogCell(one.log).c_str());
  }
  std::printf("\n");
}

void PrintMarkdown() {
  std::printf("%s", kIntroduction);
  for (const CatalogueRow& row : CatalogueRows()) PrintMarkdown(row);
  std::printf("## Results of the module\n\nThey become the last error themselves in %s: %s.\n", kModuleCodesIn,
              kModuleCodesWhy);
  std::printf("Some of them have the number of a code of Windows.\n\n");
  std::printf("| code | name | the log says | what to do |\n|---|---|---|---|\n");
  for (const ModuleRow& row : ModuleRows()) {
    std::printf("| %s, %lu | %s | `%s` | %s |\n", Hex(row.code).c_str(), static_cast<unsigned long>(row.code), row.name,
                ModuleLogText(row.code).c_str(), row.toDo);
  }
  std::printf(
      "\n## Codes of Windows\n\n"
      "`CPGetProvParam` with `PP_ROOT_CERTSTORE` gives the code of Windows when the store ROOT does not open. The log\n"
      "says `CPGetProvParam Error: Requesting Cert Root Store Handle Failed to Open Cert`. With `PP_KEYSET_SEC_DESCR` "
      "it\n"
      "gives the code of Windows when a security descriptor cannot be made; the log says nothing. Windows itself "
      "gives\n"
      "others before it calls the provider, such as `NTE_KEYSET_NOT_DEF` when the provider is not registered.\n"
      "`telvotool explain` knows them, too.\n\n"
      "Four failures are no codes: an exception leaves the function. [administration.md](administration.md) lists "
      "them.\n");
}

}  // namespace

int Explain(const Options& options) {
  const bool isDocument = options.Has("--markdown");
  if (isDocument != options.Operands().empty()) {
    throw UsageError(isDocument ? "--markdown takes no CODE" : "missing: CODE");
  }
  if (isDocument) {
    PrintMarkdown();
    return kDone;
  }
  const std::string given = options.Operands()[0];
  const DWORD code = ParseCode(given);
  if (!PrintOwn(code)) PrintForeign(code, given);
  return kDone;
}

}  // namespace tool
