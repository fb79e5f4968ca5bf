#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "pin/LoginTurn.h"

namespace {

TEST(LoginTurnTest, OneThreadAtATimeHasIt) {
  int inside = 0;
  int most = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const LoginTurn turn;
        ++inside;
        most = inside > most ? inside : most;
        --inside;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1, most);
}

TEST(LoginTurnTest, AReleasedTurnIsAnotherThreadsUntilItIsTakenAgain) {
  LoginTurn turn;
  turn.Release();
  std::async(std::launch::async, [] { const LoginTurn other; }).get();
  turn.Take();
}

TEST(LoginTurnTest, ATurnThatWasReleasedIsNotGivenBackTwice) {
  {
    LoginTurn turn;
    turn.Release();
  }
  const LoginTurn next;
}

}  // namespace
