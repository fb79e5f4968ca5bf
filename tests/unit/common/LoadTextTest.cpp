#include <gtest/gtest.h>
#include <utility>

#include "common/LoadText.h"

namespace {

using Row = std::pair<UINT, const char*>;

class LoadTextTest : public ::testing::TestWithParam<Row> {};

TEST_P(LoadTextTest, ReturnsTheStringOfTheTable) { EXPECT_EQ(GetParam().second, LoadText(GetParam().first)); }

const Row kRows[] = {
    {103, "telvocsp"},
    {104, "Brenholt Devices CSP v4.5"},
    {105, "Enter PIN for "},
    {106, "Incorrect PIN, %d trials left"},
    {107, "PIN Locked"},
    {108, "Please Enter PIN Value!"},
    {109, "Please Enter Current PIN Value!"},
    {110, "Value of New PIN does not Match!"},
    {111, "Please Verify New PIN!"},
    {112, "Please Enter New PIN value!"},
    {113, "Incorrect Current PIN, %d trials left"},
    {114, "Done!!"},
    {115, "Very Weak"},
    {116, "Weak"},
    {117, "Good"},
    {118, "Strong"},
    {119, "Very Strong"},
    {120, "PIN incorect, Mai aveti %d  incercari de a-l introduce corect."},
    {121, "Codul PIN vechi nu a fost introdus"},
    {122, "Cod PIN nou vechi nu a fost introdus"},
    {123, "Verificati codul PIN nou vechi nu a fost introdus"},
    {124, "Codurile PIN din cimpurile \"Cod PIN nou\" si \"Verificati codul PIN nou\" nu corespund"},
    {125, "Schimba PIN successful"},
    {126, "PIN must be at least %d characters!"},
    {127, "Schimba PIN not successful"},
    {128, "Codul PIN este blocat"},
    {129, "BHD PKI Suite CSP v1.0"},
};
INSTANTIATE_TEST_SUITE_P(Table, LoadTextTest, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::to_string(row.param.first); });

TEST(LoadTextOfNoIdTest, IsEmpty) {
  EXPECT_EQ("", LoadText(102));
  EXPECT_EQ("", LoadText(130));
}

}  // namespace
