// What the log writes: items, rows of bytes and dumps; and when an object stops writing.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <vector>

#include "common/FormatNumber.h"
#include "fixtures/LogFile.h"
#include "log/CCSPLog.h"
#include "log/Logs.h"
#include "platform/FailedAllocation.h"
#include "platform/LogLockWatch.h"

namespace {

#if defined(_WIN32)
#define LINE_END "\r\n"
#else
#define LINE_END "\n"
#endif

std::string WithZero(const char* text, std::size_t length) { return std::string(text, length); }

class CCSPLogTest : public LogTest {
 protected:
  CCSPLog m_log{1000};
};

TEST_F(CCSPLogTest, WriteLinePutsThreeSpacesBeforeTheLineEnd) {
  m_log.WriteLine("abc");
  EXPECT_EQ("abc   " LINE_END, LogBytes());
}

TEST_F(CCSPLogTest, WriteWithoutNewlineEndsInAZeroByteAndTheNextItemFollowsIt) {
  m_log.Write("a", "b", false);
  m_log.Write("c", "d", true);
  EXPECT_EQ(WithZero("a b \0c d " LINE_END, sizeof("a b \0c d " LINE_END) - 1), LogBytes());
}

TEST_F(CCSPLogTest, ALineEndInsideAStringIsWrittenLikeTheFinalOne) {
  m_log.WriteLine("\nCPHashData");
  EXPECT_EQ(LINE_END "CPHashData   " LINE_END, LogBytes());
}

TEST_F(CCSPLogTest, WriteHexShowsUpperCaseDigitsWithoutLeadingZeros) {
  m_log.WriteHex("x", 255, true);
  m_log.WriteHex("x", 0, true);
  EXPECT_EQ("x FF \nx 0 \n", TakeLog());
}

TEST_F(CCSPLogTest, WriteFormattedUsesTheGivenFormat) {
  m_log.WriteFormatted("x", 255, "%08X", true);
  m_log.WriteFormatted("x", 0xABCDEF01, "%08x", true);
  m_log.WriteFormatted("x", 12, "%d", true);
  EXPECT_EQ("x 000000FF \nx abcdef01 \nx 12 \n", TakeLog());
}

TEST_F(CCSPLogTest, WriteDecimalShowsTheWholeUnsignedRange) {
  m_log.WriteDecimal("n", 4294967295U, false);
  EXPECT_EQ(WithZero("n 4294967295 \0", 14), TakeLog());
}

TEST_F(CCSPLogTest, WriteBytesPutsASpaceAfterEachByte) {
  const BYTE data[] = {0x00, 0x9A, 0xFF};
  m_log.WriteBytes("PlainText: ", data, sizeof(data), true);
  m_log.WriteBytes("again", data, 1, false);
  EXPECT_EQ("PlainText: 00 9A FF \nagain00 ", TakeLog());
}

TEST_F(CCSPLogTest, WriteBytesOfNoBytesWritesTheLabelAndOptionallyALineEnd) {
  m_log.WriteBytes("label", nullptr, 0, false);
  EXPECT_EQ("label", TakeLog());
  m_log.WriteBytes("label", nullptr, 0, true);
  EXPECT_EQ("label\n", TakeLog());
}

TEST_F(CCSPLogTest, DumpOfSixteenBytesIsOneFullRow) {
  m_log.WriteHexDump(reinterpret_cast<const BYTE*>("0123456789abcdef"), 16);
  EXPECT_EQ("30313233343536373839616263646566\t0123456789abcdef\n", TakeLog());
}

TEST_F(CCSPLogTest, DumpOfSeventeenBytesEndsInAnUnpaddedRowOfOneByte) {
  m_log.WriteHexDump(reinterpret_cast<const BYTE*>("0123456789abcdefg"), 17);
  EXPECT_EQ("30313233343536373839616263646566\t0123456789abcdef\n67\tg\n", TakeLog());
}

TEST_F(CCSPLogTest, DumpOfNoBytesCreatesTheFileAndWritesNothing) {
  ASSERT_FALSE(std::filesystem::exists(m_logFile));
  m_log.WriteHexDump(nullptr, 0);
  EXPECT_TRUE(std::filesystem::exists(m_logFile));
  EXPECT_EQ("", LogBytes());
}

TEST_F(CCSPLogTest, DumpShowsADotForSpacesAndUnprintableBytes) {
  const BYTE data[] = {0x20, 0x21, 0x25, 0x7E, 0x7F, 0x00, 0x80, 0xFF};
  m_log.WriteHexDump(data, sizeof(data));
  EXPECT_EQ("2021257E7F0080FF\t.!%~....\n", TakeLog());
}

TEST_F(CCSPLogTest, WriteTLVWritesHeadingPartsAndBytes) {
  const BYTE value[] = {1, 2};
  m_log.WriteTLV("Heading", 0x30, 2, nullptr);
  EXPECT_EQ(Line("Heading") + WithZero("Tag 30 \0 Length 2 \0 Value 0 \n", 29), TakeLog());
  m_log.WriteTLV("Heading", 0x30, 2, value);
  const std::string address = FormatNumber("%X", static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(value)));
  EXPECT_EQ(Line("Heading") + WithZero("Tag 30 \0 Length 2 \0", 19) + Value(" Value", address) + "01 02 \n", TakeLog());
}

TEST_F(CCSPLogTest, AnObjectAtItsLimitWritesNothingMoreByAnyOperation) {
  const BYTE data[] = {1};
  CCSPLog small(2);
  small.WriteLine("one");
  small.Write("two", "2", true);
  small.WriteLine("three");
  small.WriteHex("four", 4, true);
  small.WriteBytes("five", data, 1, true);
  small.WriteHexDump(data, 1);
  EXPECT_EQ("one   \ntwo 2 \n", TakeLog());
}

TEST_F(CCSPLogTest, OtherObjectsKeepWritingWhenOneReachesItsLimit) {
  CCSPLog small(1);
  small.WriteLine("one");
  small.WriteLine("two");
  m_log.WriteLine("other");
  EXPECT_EQ(Line("one") + Line("other"), TakeLog());
}

TEST_F(CCSPLogTest, BytesAndDumpsDoNotCountTowardsTheLimit) {
  const BYTE data[] = {1};
  CCSPLog small(1);
  for (int i = 0; i < 3; ++i) {
    small.WriteBytes("b", data, 1, true);
    small.WriteHexDump(data, 1);
  }
  TakeLog();
  small.WriteLine("still there");
  EXPECT_EQ(Line("still there"), TakeLog());
}

TEST_F(CCSPLogTest, AnItemThatCouldNotBeWrittenIsNotCounted) {
  m_registry.SetText(kProductKey, "CSPDIR", m_folder.File("later/csp.log"));
  CCSPLog small(1);
  small.WriteLine("lost");
  std::filesystem::create_directory(m_folder.File("later"));
  small.WriteLine("kept");
  small.WriteLine("too many");
  EXPECT_EQ("kept   " LINE_END, ReadFile(m_folder.File("later/csp.log")));
}

TEST_F(CCSPLogTest, AMegabyteIsDumpedWhole) {
  const std::vector<BYTE> data(1024 * 1024, 0x41);
  m_log.WriteHexDump(data.data(), static_cast<DWORD>(data.size()));
  std::string expected;
  for (int i = 0; i < 65536; ++i) expected += "41414141414141414141414141414141\tAAAAAAAAAAAAAAAA\n";
  EXPECT_TRUE(expected == TakeLog());
  m_log.WriteBytes("", data.data(), static_cast<DWORD>(data.size()), false);
  EXPECT_EQ(3U * 1024U * 1024U, TakeLog().size());
}

TEST_F(CCSPLogTest, ItemsOfTwoThreadsStayWhole) {
  const auto write = [this](const char* text) {
    for (int i = 0; i < 200; ++i) m_log.WriteLine(text);
  };
  std::thread other(write, "of the other thread");
  write("of this thread");
  other.join();
  std::istringstream log(TakeLog());
  int lines = 0;
  for (std::string line; std::getline(log, line); ++lines) {
    EXPECT_TRUE(line == "of this thread   " || line == "of the other thread   ") << line;
  }
  EXPECT_EQ(400, lines);
}

TEST_F(CCSPLogTest, AnItemIsInTheFileBeforeTheLockIsReleased) {
  std::string beforeTheUnlock;
  const LogLockWatch watch([&] { beforeTheUnlock = TakeLog(); });
  m_log.WriteLine("line");
  EXPECT_EQ("line   \n", beforeTheUnlock);
  m_log.WriteBytes("bytes ", reinterpret_cast<const BYTE*>("A"), 1, true);
  EXPECT_EQ("bytes 41 \n", beforeTheUnlock);
  m_log.WriteHexDump(reinterpret_cast<const BYTE*>("A"), 1);
  EXPECT_EQ("41\tA\n", beforeTheUnlock);
}

TEST_F(CCSPLogTest, WithoutTheLockAnItemIsWrittenAndNothingIsReleased) {
  std::promise<void> isTaken;
  std::promise<void> mayGo;
  std::thread other([&] {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, "telvocsp-log");
    WaitForSingleObject(mutex, INFINITE);
    isTaken.set_value();
    mayGo.get_future().wait();
    ReleaseMutex(mutex);
    CloseHandle(mutex);
  });
  isTaken.get_future().wait();
  {
    int releases = 0;
    const LogLockWatch watch([&] { ++releases; });
    m_log.WriteLine("line");
    EXPECT_EQ(0, releases);
  }
  EXPECT_EQ("line   \n", TakeLog());
  mayGo.set_value();
  other.join();
}

#if !defined(_WIN32)
TEST_F(CCSPLogTest, AFullDiskMakesItemsVanish) {
  m_registry.SetText(kProductKey, "CSPDIR", "/dev/full");
  CCSPLog log(10);
  log.WriteLine("lost");
  log.WriteBytes("lost", reinterpret_cast<const BYTE*>("x"), 1, true);
  log.WriteHexDump(reinterpret_cast<const BYTE*>("x"), 1);
  EXPECT_EQ("", TakeLog());
}
#endif

// Destructors log, too, and an exception that leaves a destructor ends the process.
TEST_F(CCSPLogTest, AnItemIsLostWithoutAnExceptionWhenMemoryRunsOut) {
  const std::string text(1000, 'x');
  const auto* const bytes = reinterpret_cast<const BYTE*>(text.data());
  const std::function<void()> items[] = {
      [&] { m_log.WriteLine(text.c_str()); }, [&] { m_log.WriteHex(text.c_str(), 1, true); },
      [&] { m_log.WriteBytes(text.c_str(), bytes, 1000, true); }, [&] { m_log.WriteHexDump(bytes, 1000); },
      [&] { m_log.WriteTLV(text.c_str(), 1, 1000, bytes); }};
  for (const auto& write : items) {
    const auto allocations = [&write](long failing) {
      const FailedAllocation failure(failing);
      write();
      return failure.Count();
    };
    const long all = allocations(0);
    for (long n = 1; n <= all; ++n) EXPECT_NO_THROW(allocations(n));
    TakeLog();
    write();
    EXPECT_NE("", TakeLog()) << "the log still writes";
  }
}

TEST_F(CCSPLogTest, AnObjectThatIsNotConstructedYetWritesNothing) {
  const BYTE data[] = {1};
  alignas(CCSPLog) unsigned char memory[sizeof(CCSPLog)] = {};
  auto& log = reinterpret_cast<CCSPLog&>(memory);
  log.WriteLine("x");
  log.WriteHex("x", 1, true);
  log.WriteBytes("x", data, 1, true);
  log.WriteHexDump(data, 1);
  EXPECT_FALSE(std::filesystem::exists(m_logFile));
}

TEST_F(CCSPLogTest, TheTwelveObjectsHaveTheirLimits) {
  for (const CCSPLog* log : {&g_pinCacheLog, &g_entryLog, &g_changePwdLog, &g_contextLog, &g_loginLog, &g_secretKeyLog,
                             &g_cryptokiLog, &g_unusedLog, &g_objectLog, &g_sessionLog, &g_certificateLog}) {
    EXPECT_EQ(200000U, log->GetLineLimit());
  }
  EXPECT_EQ(2147483647U, g_hashLog.GetLineLimit());
}

TEST(ReportStreamStateTest, NamesEachBitOnItsOwnLine) {
  std::ostringstream errors;
  std::stringstream stream;
  stream.setstate(std::ios::eofbit | std::ios::failbit | std::ios::badbit);
  ReportStreamState(stream, errors);
  EXPECT_EQ("EOF BIT\nFAIL BIT\nBAD BIT\n", errors.str());
}

TEST(ReportStreamStateTest, WritesNothingForAGoodStream) {
  std::ostringstream errors;
  ReportStreamState(std::stringstream(), errors);
  EXPECT_EQ("", errors.str());
}

}  // namespace
