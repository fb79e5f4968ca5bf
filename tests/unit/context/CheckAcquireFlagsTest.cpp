#include <gtest/gtest.h>
#include <string>

#include "context/CheckAcquireFlags.h"
#include "fixtures/ErrorCodes.h"
#include "fixtures/Expect.h"

namespace {

TEST(CheckAcquireFlagsTest, EachUnsupportedBitIsRefused) {
  for (const DWORD bit : {0x1U, 0x2U, 0x4U, 0x100U, 0x200U, 0x8000U, 0x10000U, 0x1000000U, 0x8000000U}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "dwFlags contains an unsupported flag", CheckAcquireFlags(nullptr, bit));
  }
}

TEST(CheckAcquireFlagsTest, EachSupportedBitPasses) {
  for (const DWORD bit : {0x0U, 0x8U, 0x10U, 0x20U, 0x40U, 0x80U, 0xF0000000U}) CheckAcquireFlags(nullptr, bit);
}

TEST(CheckAcquireFlagsTest, NewTogetherWithDeleteIsRefused) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "CRYPT_NEWKEYSET and CRYPT_DELETEKEYSET cannot be both present",
                       CheckAcquireFlags("name", 0x18));
}

TEST(CheckAcquireFlagsTest, NewAndDeleteWithAnyOtherFlagPass) {
  CheckAcquireFlags("name", 0x58);
  CheckAcquireFlags("name", 0x38);
}

TEST(CheckAcquireFlagsTest, VerifyTogetherWithNewIsRefused) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "CRYPT_VERIFYCONTEXT and CRYPT_NEWKEYSET cannot be both present",
                       CheckAcquireFlags(nullptr, 0xF0000008));
}

TEST(CheckAcquireFlagsTest, VerifyAndNewWithAnyOtherFlagPass) {
  CheckAcquireFlags(nullptr, 0xF0000028);
  CheckAcquireFlags(nullptr, 0x10000008);
}

TEST(CheckAcquireFlagsTest, VerifyWithANameIsRefused) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "CRYPT_VERIFYCONTEXT is set but a container name is found",
                       CheckAcquireFlags("name", 0xF0000000));
}

TEST(CheckAcquireFlagsTest, VerifyTreatsAnEmptyNameAsAName) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "CRYPT_VERIFYCONTEXT is set but a container name is found",
                       CheckAcquireFlags("", 0xF0000000));
  CheckAcquireFlags("", 0xF0000040);
}

TEST(CheckAcquireFlagsTest, ASilentVerifyMayHaveAName) { CheckAcquireFlags("name", 0xF0000040); }

TEST(CheckAcquireFlagsTest, AnyOfTheTopBitsCountsAsVerify) {
  for (const DWORD bit : {0x10000000U, 0x20000000U, 0x40000000U, 0x80000000U}) {
    EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "CRYPT_VERIFYCONTEXT is set but a container name is found",
                         CheckAcquireFlags("name", bit));
  }
}

TEST(CheckAcquireFlagsTest, ANameOf260CharactersPassesAndOneOf261DoesNot) {
  CheckAcquireFlags(std::string(260, 'n').c_str(), 0);
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_KEYSET_PARAM), "Container Length is greater than MAX_PATH",
                       CheckAcquireFlags(std::string(261, 'n').c_str(), 0));
}

TEST(CheckAcquireFlagsTest, WithATopBitTheLengthIsNotChecked) {
  CheckAcquireFlags(std::string(5000, 'n').c_str(), 0xF0000040);
}

TEST(CheckAcquireFlagsTest, AnUnsupportedBitIsReportedFirst) {
  EXPECT_CONTEXT_ERROR(Code(NTE_BAD_FLAGS), "dwFlags contains an unsupported flag",
                       CheckAcquireFlags("name", 0xF0000001));
}

}  // namespace
