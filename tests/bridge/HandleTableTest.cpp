#include <gtest/gtest.h>
#include <string>

#include "fixtures/PrivateMember.h"
#include "pkcs11/HandleTable.h"

using pkcs11::HandleTable;

struct LastHandle {
  using Type = std::uint32_t HandleTable<std::string>::*;
  friend Type Expose(LastHandle tag);
};
template struct PrivateMember<LastHandle, &HandleTable<std::string>::m_last>;

namespace {

TEST(HandleTableTest, FindsWhatWasInserted) {
  HandleTable<std::string> table;
  const CK_ULONG one = table.Insert("one"), two = table.Insert("two");
  ASSERT_NE(nullptr, table.Find(one));
  EXPECT_EQ("one", *table.Find(one));
  EXPECT_EQ("two", *table.Find(two));
}

TEST(HandleTableTest, FindsNeitherZeroNorAnErasedHandle) {
  HandleTable<std::string> table;
  const CK_ULONG one = table.Insert("one");
  EXPECT_EQ(nullptr, table.Find(0));
  EXPECT_EQ(nullptr, table.Find(one + 1));
  EXPECT_TRUE(table.Erase(one));
  EXPECT_EQ(nullptr, table.Find(one));
  EXPECT_FALSE(table.Erase(one));
}

TEST(HandleTableTest, AnErasedHandleIsNotReusedAtOnce) {
  HandleTable<std::string> table;
  const CK_ULONG one = table.Insert("one");
  table.Erase(one);
  EXPECT_NE(one, table.Insert("two"));
}

TEST(HandleTableTest, AfterTheLastHandleTheFirstFreeOneIsUsed) {
  HandleTable<std::string> table;
  EXPECT_EQ(1, table.Insert("one"));
  EXPECT_EQ(2, table.Insert("two"));
  table.Erase(2);
  table.*Expose(LastHandle()) = 0xFFFFFFFE;
  EXPECT_EQ(0xFFFFFFFF, table.Insert("the last"));
  EXPECT_EQ(2, table.Insert("neither 0 nor the first, which is in use"));
  EXPECT_EQ("one", *table.Find(1));
}

TEST(HandleTableTest, EraseIfRemovesWhatMatches) {
  HandleTable<std::string> table;
  const CK_ULONG one = table.Insert("one"), two = table.Insert("two");
  table.EraseIf([](const std::string& value) { return value == "one"; });
  EXPECT_EQ(nullptr, table.Find(one));
  EXPECT_NE(nullptr, table.Find(two));
}

}  // namespace
