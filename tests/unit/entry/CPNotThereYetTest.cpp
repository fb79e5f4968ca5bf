// Functions that are exported before they are there.
#include <gtest/gtest.h>

#include "EntryTest.h"

namespace {

class CPNotThereYetTest : public EntryTest {
 protected:
  // The call is refused, and its frame logged.
  void ExpectRefused(const char* function, BOOL result) {
    EXPECT_FALSE(result) << function;
    EXPECT_EQ(120U, GetLastError()) << function;
    EXPECT_EQ(FrameLines(function), TakeLog());
  }
};

TEST_F(CPNotThereYetTest, EachIsLoggedAndRefused) {
  ExpectRefused("CPEncrypt", CPEncrypt(0, 0, 0, 0, 0, nullptr, nullptr, 0));
  ExpectRefused("CPDecrypt", CPDecrypt(0, 0, 0, 0, 0, nullptr, nullptr));
}

}  // namespace
