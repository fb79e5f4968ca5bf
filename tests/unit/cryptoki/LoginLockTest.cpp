#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <thread>
#include <vector>

#include "cryptoki/LoginLock.h"
#include "module/WaitingLogin.h"

namespace {

bool OthersWait() {
  WaitingLogin login;
  login.Ask();
  return login.HadToWait();
}

TEST(LoginLockTest, OneThreadAtATimeHoldsIt) {
  int inside = 0;
  int most = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const LoginLock lock;
        const LoginLock again;
        ++inside;
        most = inside > most ? inside : most;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1, most);
}

TEST(LoginLockTest, AThreadThatHoldsItCanTakeItAgain) {
  {
    const LoginLock lock;
    { const LoginLock again; }
    EXPECT_TRUE(OthersWait());
  }
  EXPECT_FALSE(OthersWait());
}

TEST(LoginLockTest, ItIsFreeWhenTheLastLockObjectIsDestroyed) {
  std::optional<LoginLock> first(std::in_place);
  std::optional<LoginLock> second(std::in_place);
  first.reset();
  EXPECT_TRUE(OthersWait());
  second.reset();
  EXPECT_FALSE(OthersWait());
}

TEST(LoginLockTest, AnotherThreadCanTakeThePausedLockUntilThePauseEnds) {
  const LoginLock lock;
  {
    const LoginLock::Pause pause;
    std::async(std::launch::async, [] { const LoginLock other; }).get();
  }
  auto waiting = std::async(std::launch::async, [] { const LoginLock other; });
  EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(20)));
  const LoginLock::Pause pause;
  waiting.get();
}

TEST(LoginLockTest, APauseReleasesTheLockAsOftenAsItIsHeldAndTakesItAgain) {
  std::optional<LoginLock> first(std::in_place);
  std::optional<LoginLock> second(std::in_place);
  {
    const LoginLock::Pause pause;
    EXPECT_FALSE(OthersWait());
  }
  second.reset();
  EXPECT_TRUE(OthersWait());
  first.reset();
  EXPECT_FALSE(OthersWait());
}

TEST(LoginLockTest, WithinAPauseTheThreadMayTakeItTemporarily) {
  const LoginLock lock;
  {
    const LoginLock::Pause pause;
    {
      const LoginLock within;
      EXPECT_TRUE(OthersWait());
    }
    EXPECT_FALSE(OthersWait());
  }
  EXPECT_TRUE(OthersWait());
}

TEST(LoginLockTest, APauseOfAThreadWithoutTheLockTakesNothing) {
  {
    const LoginLock::Pause pause;
    EXPECT_FALSE(OthersWait());
  }
  EXPECT_FALSE(OthersWait());
}

TEST(LoginLockTest, APauseOfAThreadWithoutTheLockLeavesItToItsHolder) {
  const LoginLock lock;
  std::async(std::launch::async, [] { const LoginLock::Pause pause; }).get();
  EXPECT_TRUE(OthersWait());
}

}  // namespace
