#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <thread>

#include "Bytes.h"
#include "adapter/software/Random.h"

namespace adapter::testing {
namespace {

TEST(RandomTest, EveryByteIsWritten) {
  // A byte that is never written stays 0 in all 64 rounds. A random one does so once in 2^512.
  Bytes seen(50), bytes(50);
  for (int round = 0; round < 64; ++round) {
    software::Fill(bytes.data(), bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) seen[i] = static_cast<CK_BYTE>(seen[i] | bytes[i]);
  }
  EXPECT_EQ(0, std::count(seen.begin(), seen.end(), 0));
}

TEST(RandomTest, ZeroBytesNeedNoBuffer) { software::Fill(nullptr, 0); }

TEST(RandomTest, BytesWithoutZerosHaveNone) {
  const pkcs11::Secret bytes = software::RandomWithoutZeros(20000);
  EXPECT_EQ(20000U, bytes.size());
  EXPECT_EQ(255U, (std::set<CK_BYTE>(bytes.begin(), bytes.end()).size()));
  EXPECT_EQ(0, std::count(bytes.begin(), bytes.end(), 0));
}

TEST(RandomTest, ThreadsGetDifferentBytes) {
  std::vector<Bytes> results(4, Bytes(16));
  std::vector<std::thread> threads;
  for (Bytes& result : results) threads.emplace_back([&result] { software::Fill(result.data(), result.size()); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results.size(), (std::set<Bytes>(results.begin(), results.end()).size()));
}

}  // namespace
}  // namespace adapter::testing
