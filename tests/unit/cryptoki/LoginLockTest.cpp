#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "cryptoki/LoginLock.h"

namespace {

TEST(LoginLockTest, OneThreadAtATimeHasIt) {
  int inside = 0;
  int most = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const LoginLock lock;
        ++inside;
        most = inside > most ? inside : most;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1, most);
}

TEST(LoginLockTest, APausedLockIsAnotherThreadsUntilThePauseIsOver) {
  LoginLock lock;
  {
    const LoginLock::Pause pause(lock);
    std::async(std::launch::async, [] { const LoginLock other; }).get();
  }
  auto waiting = std::async(std::launch::async, [] { const LoginLock other; });
  EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(20)));
  const LoginLock::Pause pause(lock);
  waiting.get();
}

}  // namespace
