// The log's disk is full.
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

  // What an application gets from acquiring a context to releasing it: the results and the signature.
  std::vector<std::string> WorkOfAnApplication() {
    HCRYPTPROV provider = 0;
    std::vector<std::string> results;
    results.push_back(Acquire("one", CRYPT_SILENT, provider));
    results.push_back(Sign(provider));
    results.push_back(GivePIN(provider, "1234"));
    results.push_back(Sign(provider));
    results.emplace_back(m_signature.begin(), m_signature.end());
    results.push_back(Answer(CPGenKey(provider, 0x12345, 0, nullptr)));
    results.push_back(Answer(CPReleaseContext(provider, 0)));
    Renew(g_pinCacheManager);
    return results;
  }
};

// The Linux device on which every write fails because it is full. Wine can write to it, too.
#if defined(_WIN32)
const char kFullDisk[] = "Z:\\dev\\full";
#else
const char kFullDisk[] = "/dev/full";
#endif

TEST_F(FullDiskTest, TheCallsReturnTheSameAsWithFreeSpace) {
  InsertCard("Reader A");
  const std::vector<std::string> withFreeSpace = WorkOfAnApplication();
  EXPECT_EQ("done", withFreeSpace[0]);
  EXPECT_EQ("80090022", withFreeSpace[1]);
  EXPECT_EQ("done", withFreeSpace[3]);
  EXPECT_NE("", TakeLog());
  LogTo(kFullDisk);
  EXPECT_EQ(withFreeSpace, WorkOfAnApplication());
  EXPECT_EQ("", TakeLog());
}

#if !defined(_WIN32)
// Limits the size of files while the object lives.
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

TEST_F(FullDiskTest, AnItemIsCutOffWhenSpaceRunsOutAndTheLogContinuesLater) {
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
