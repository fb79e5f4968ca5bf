// The log's folder is on a share that hangs, or another process hangs while it holds the log's lock.
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

#include "fixtures/LogFile.h"
#include "log/CCSPLog.h"
#include "log/LogLock.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

class SlowLogTest : public LogTest {};

#if defined(_WIN32)

// Holds the lock in a separate thread, like a process that hangs while it writes.
class HeldLock {
 public:
  HeldLock() {
    std::promise<void> held;
    m_thread = std::thread([this, &held] {
      const LogLock lock;
      held.set_value();
      m_over.get_future().wait();
    });
    held.get_future().wait();
  }
  ~HeldLock() {
    m_over.set_value();
    m_thread.join();
  }
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;

 private:
  std::promise<void> m_over;
  std::thread m_thread;
};

// The host build waits without a limit, because there only threads of one process share the lock.
TEST_F(SlowLogTest, AnItemWaitsATenthOfASecondForTheLockAndIsThenWrittenWithoutIt) {
  CCSPLog log(10);
  const HeldLock held;
  const auto begin = std::chrono::steady_clock::now();
  log.WriteLine("one");
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ("one   \n", TakeLog());
  EXPECT_GE(waited, std::chrono::milliseconds(90));
  EXPECT_LT(waited, std::chrono::milliseconds(1000));
}

#else

// Opening a pipe that has no reader yet blocks, like opening a file on a share that does not respond. The wait has no
// time limit. The item is written when the wait ends.
TEST_F(SlowLogTest, AnItemWaitsAsLongAsTheFileCannotBeOpenedAndIsNotLost) {
  const std::string share = m_folder.File("share");
  ASSERT_EQ(0, mkfifo(share.c_str(), 0600));
  m_registry.SetText(kProductKey, "CSPDIR", share);
  CCSPLog slow(10);
  auto written = std::async(std::launch::async, [&] { slow.WriteLine("one"); });
  EXPECT_EQ(std::future_status::timeout, written.wait_for(std::chrono::milliseconds(50)));
  const int reader = open(share.c_str(), O_RDONLY);
  written.wait();
  char text[20] = {};
  EXPECT_EQ(7, read(reader, text, sizeof(text)));
  EXPECT_STREQ("one   \n", text);
  close(reader);
}

// A thread that waits for its file does not hold the lock, so items for another file are written.
TEST_F(SlowLogTest, AnItemWhoseFileCannotBeOpenedDoesNotDelayOthers) {
  const std::string share = m_folder.File("share");
  ASSERT_EQ(0, mkfifo(share.c_str(), 0600));
  CCSPLog quick(10);
  m_registry.SetText(kProductKey, "CSPDIR", share);
  CCSPLog slow(10);
  auto written = std::async(std::launch::async, [&] { slow.WriteLine("one"); });
  EXPECT_EQ(std::future_status::timeout, written.wait_for(std::chrono::milliseconds(50)));
  quick.WriteLine("two");
  EXPECT_EQ("two   \n", TakeLog());
  const int reader = open(share.c_str(), O_RDONLY);
  written.wait();
  close(reader);
}

#endif

}  // namespace
