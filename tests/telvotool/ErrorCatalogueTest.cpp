#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "telvotool/ErrorCatalogue.h"
#include "telvotool/Errors.h"

namespace {

using tool::CatalogueCase;
using tool::CatalogueRow;
using tool::ModuleRow;
using tool::ParseCode;
using tool::UsageError;

TEST(ErrorCatalogueTest, RowsAreSortedByCode) {
  const auto isBefore = [](const auto& a, const auto& b) { return a.code < b.code; };
  EXPECT_TRUE(std::is_sorted(tool::CatalogueRows().begin(), tool::CatalogueRows().end(), isBefore));
  EXPECT_TRUE(std::is_sorted(tool::ModuleRows().begin(), tool::ModuleRows().end(), isBefore));
}

TEST(ErrorCatalogueTest, EachRowHasACaseAndEachCaseARow) {
  std::set<DWORD> rows;
  for (const CatalogueRow& row : tool::CatalogueRows()) EXPECT_TRUE(rows.insert(row.code).second) << row.name;
  std::set<DWORD> cases;
  for (const CatalogueCase& one : tool::CatalogueCases()) cases.insert(one.code);
  EXPECT_EQ(rows, cases);
}

TEST(ErrorCatalogueTest, ACodeIsANumberOrAName) {
  EXPECT_EQ(0x80090016, ParseCode("0x80090016"));
  EXPECT_EQ(0x80090016, ParseCode("0X80090016"));
  EXPECT_EQ(0x80090016, ParseCode("2148073494"));
  EXPECT_EQ(0x80090016, ParseCode("NTE_BAD_KEYSET"));
  EXPECT_EQ(0x80090016, ParseCode("nte_bad_keyset"));
  EXPECT_EQ(0x32U, ParseCode("CKR_DEVICE_REMOVED"));
  EXPECT_EQ(0x80090019, ParseCode("NTE_KEYSET_NOT_DEF"));  // a name of Windows
  EXPECT_EQ(0xFFFFFFFF, ParseCode("4294967295"));
}

TEST(ErrorCatalogueTest, AnythingElseIsRefused) {
  for (const char* text : {"", "0x", "0x8009001G", "4294967296", "0x100000000", "-1", " 5", "NTE_NONSENSE", "0x0x5",
                           "99999999999999999999"}) {
    EXPECT_THROW(ParseCode(text), UsageError) << text;
  }
}

TEST(ErrorCatalogueTest, APinThatIsRefusedNeedsNoReport) {
  int refusals = 0;
  for (const ModuleRow& row : tool::ModuleRows()) {
    if (std::string(row.name).rfind("CKR_PIN_", 0) != 0) continue;
    ++refusals;
    EXPECT_EQ(std::string::npos, std::string(row.toDo).find("report")) << row.name;
  }
  EXPECT_EQ(5, refusals);
}

TEST(ErrorCatalogueTest, AModulesResultHasTheTextOfTheLogInUtf8) {
  EXPECT_EQ("The device or token has been removed and no further communication is possible", tool::ModuleLogText(0x32));
  EXPECT_EQ("The specified token doesn\xE2\x80\x99t have a random number generator.", tool::ModuleLogText(0x121));
  for (const ModuleRow& row : tool::ModuleRows()) {
    EXPECT_EQ(std::string::npos, tool::ModuleLogText(row.code).find("Unknown")) << row.name;
  }
}

}  // namespace
