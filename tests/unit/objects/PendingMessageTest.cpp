#include <gtest/gtest.h>
#include <vector>

#include "objects/PendingMessage.h"
#include "platform/HeapWatch.h"

namespace {

using Array = std::vector<BYTE>;

Array CountingArray(std::size_t length) {
  Array bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<BYTE>(i * 7 + i / 256);
  return bytes;
}

Array Whole(PendingMessage& message) {
  const BYTE* const bytes = message.Whole();
  return {bytes, bytes + message.Length()};
}

TEST(PendingMessageTest, PiecesOfAnySizeKeepTheirOrder) {
  const Array all = CountingArray(500000);
  PendingMessage message;
  std::size_t piece = 1;
  for (std::size_t done = 0; done < all.size(); piece = piece * 3 % 7919) {
    const std::size_t length = std::min(piece, all.size() - done);
    message.Append(all.data() + done, length);
    done += length;
  }
  Array copied(message.Length());
  message.CopyTo(copied.data());
  EXPECT_EQ(all, copied);
  EXPECT_EQ(all, Whole(message));
  EXPECT_EQ(all, Whole(message));
}

TEST(PendingMessageTest, ANullPointerOrALengthOfZeroAddsNothing) {
  PendingMessage message;
  message.Append(nullptr, 5);
  message.Append(CountingArray(1).data(), 0);
  EXPECT_EQ(0U, message.Length());
  EXPECT_EQ(nullptr, message.Whole());
}

TEST(PendingMessageTest, MoreCanBeAddedAfterReadingItWhole) {
  const Array all = CountingArray(1000);
  PendingMessage message;
  message.Append(all.data(), 700);
  EXPECT_NE(nullptr, message.Whole());
  message.Append(all.data() + 700, 300);
  EXPECT_EQ(all, Whole(message));
}

TEST(PendingMessageTest, ACopyIsIndependent) {
  const Array all = CountingArray(1000);
  PendingMessage message;
  message.Append(all.data(), 600);
  PendingMessage copy(message);
  PendingMessage assigned;
  assigned.Append(all.data(), 1);
  assigned = message;
  message.Append(all.data() + 600, 400);
  EXPECT_EQ(Array(all.begin(), all.begin() + 600), Whole(copy));
  EXPECT_EQ(Array(all.begin(), all.begin() + 600), Whole(assigned));
  message.Clear();
  EXPECT_EQ(0U, message.Length());
  EXPECT_EQ(600U, copy.Length());
}

TEST(PendingMessageTest, ClearWipesItsMemory) {
  for (const std::size_t length : {std::size_t{100}, std::size_t{64} * 1024}) {
    PendingMessage message;
    message.Append(CountingArray(length).data(), length);
    const HeapWatch watch(message.Whole(), length);
    message.Clear();
    EXPECT_TRUE(watch.WasReleased()) << length;
    EXPECT_TRUE(watch.WasWiped()) << length;
  }
}

TEST(PendingMessageTest, ALongMessageIsNotOnTheHeap) {
  const Array all = CountingArray(64 * 1024 + 1);
  PendingMessage message;
  message.Append(all.data(), all.size());
  const HeapWatch watch(message.Whole(), all.size());
  message.Clear();
  EXPECT_FALSE(watch.WasReleased());
}

// The memory of a long message grows in steps of a mebibyte.
TEST(PendingMessageTest, AMessageOneByteLongerThanItsMemoryStaysWhole) {
  const Array all = CountingArray((1U << 20U) + 1);
  PendingMessage message;
  message.Append(all.data(), all.size());
  EXPECT_EQ(all, Whole(message));
}

}  // namespace
