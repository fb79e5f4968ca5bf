// The disk of the log is full.
#include <gtest/gtest.h>
#include <vector>

#include "BadLuckTest.h"
#include "fixtures/Renew.h"
#include "log/Logs.h"

#if !defined(_WIN32)
#include <csignal>
#include <sys/resource.h>
#endif

namespace {

class FullDiskTest : public BadLuckTest {
 protected:
  void LogTo(const std::string& file) {
    m_registry.SetText(kProductKey, "CSPDIR", file);
    RestartLogs();
  }

  // What an application gets from the acquire to the release: the answers and the signature.
  std::vector<std::string> WorkOfAnApplication() {
    HCRYPTPROV provider = 0;
    std::vector<std::string> answers;
    answers.push_back(Acquire("one", CRYPT_SILENT, provider));
    answers.push_back(Sign(provider));
    answers.push_back(GivePIN(provider, "1234"));
    answers.push_back(Sign(provider));
    answers.emplace_back(m_signature.begin(), m_signature.end());
    answers.push_back(Answer(CPGenKey(provider, 0x12345, 0, nullptr)));
    answers.push_back(Answer(CPReleaseContext(provider, 0)));
    Renew(g_pinCacheManager);
    return answers;
  }
};

// The device of Linux on which each write fails for want of room; Wine reaches it, too.
#if defined(_WIN32)
const char kFullDisk[] = "Z:\\dev\\full";
#else
const char kFullDisk[] = "/dev/full";
#endif

TEST_F(FullDiskTest, TheCallsAnswerAsWithRoom) {
  InsertCard("Reader A");
  const std::vector<std::string> withRoom = WorkOfAnApplication();
  EXPECT_EQ("done", withRoom[0]);
  EXPECT_EQ("80090022", withRoom[1]);
  EXPECT_EQ("done", withRoom[3]);
  EXPECT_NE("", TakeLog());
  LogTo(kFullDisk);
  EXPECT_EQ(withRoom, WorkOfAnApplication());
  EXPECT_EQ("", TakeLog());
}

#if !defined(_WIN32)
// A limit on the size of files, which ends with the object.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : m_before(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &m_limit);
    const rlimit limit = {bytes, m_limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_limit);
    std::signal(SIGXFSZ, m_before);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*m_before)(int);
  rlimit m_limit = {};
};

TEST_F(FullDiskTest, AnItemIsCutWhereTheRoomEndsAndTheLogGoesOnWhenThereIsRoomAgain) {
  g_entryLog.WriteLine("one");
  {
    const FileSizeLimit limit(10);
    g_entryLog.WriteLine("two");
    g_entryLog.WriteLine("three");
  }
  g_entryLog.WriteLine("four");
  EXPECT_EQ("one   \ntwofour   \n", TakeLog());
}
#endif

}  // namespace
