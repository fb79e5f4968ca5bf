#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Presence.h"
#include "TokenTest.h"

namespace softtoken {
namespace {

using testing::TemporaryFolder;
using testing::WriteFile;

ReaderStatus NoReaders() {
  return [](const std::string&) { return std::nullopt; };
}

TEST(PresenceTest, AlwaysIsOneInsertion) {
  SlotSettings slot;
  slot.presence = PresenceKind::Always;
  const auto presence = MakePresence(slot, NoReaders());
  const Insertion first = presence->Look(Freshness::Now);
  EXPECT_TRUE(first.has_value());
  EXPECT_EQ(first, presence->Look(Freshness::Now));
}

TEST(PresenceTest, NeverHasNoInsertion) {
  SlotSettings slot;
  slot.presence = PresenceKind::Never;
  EXPECT_FALSE(MakePresence(slot, NoReaders())->Look(Freshness::Now).has_value());
}

TEST(PresenceTest, ACountedCardIsPulledAfterItsLastLook) {
  SlotSettings slot;
  slot.presence = PresenceKind::Looks;
  slot.presenceLooks = 2;
  const auto presence = MakePresence(slot, NoReaders());
  const Insertion first = presence->Look(Freshness::Now);
  EXPECT_TRUE(first.has_value());
  EXPECT_EQ(first, presence->Look(Freshness::Recent));
  EXPECT_FALSE(presence->Look(Freshness::Now).has_value());
  EXPECT_FALSE(presence->Look(Freshness::Recent).has_value());
  EXPECT_FALSE(MakePresence(slot, NoReaders())->Look(Freshness::Now).has_value());  // when the module starts again
}

class FilePresenceTest : public ::testing::Test {
 protected:
  FilePresenceTest() {
    SlotSettings slot;
    slot.presence = PresenceKind::File;
    slot.presenceFile = Path();
    m_presence = MakePresence(slot, NoReaders());
  }

  std::string Path() const { return m_folder.Path() + "/card"; }
  Insertion Look() const { return m_presence->Look(Freshness::Recent); }

  const TemporaryFolder m_folder;
  std::unique_ptr<Presence> m_presence;
};

TEST_F(FilePresenceTest, TheCardIsInWhileTheFileExists) {
  EXPECT_FALSE(Look().has_value());
  WriteFile(Path(), "");
  EXPECT_TRUE(Look().has_value());
  EXPECT_EQ(Look(), Look());
  ASSERT_EQ(0, std::remove(Path().c_str()));
  EXPECT_FALSE(Look().has_value());
}

TEST_F(FilePresenceTest, ATouchedFileIsANewInsertion) {
  WriteFile(Path(), "");
  const Insertion before = Look();
  const timespec times[2] = {{1000, 0}, {1000, 1}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, Path().c_str(), times, 0));
  EXPECT_TRUE(Look().has_value());
  EXPECT_NE(before, Look());
}

TEST_F(FilePresenceTest, AReplacedFileIsANewInsertion) {
  WriteFile(Path(), "");
  const timespec times[2] = {{1000, 0}, {1000, 0}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, Path().c_str(), times, 0));
  const Insertion before = Look();
  WriteFile(Path() + ".new", "");
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, (Path() + ".new").c_str(), times, 0));
  ASSERT_EQ(0, std::rename((Path() + ".new").c_str(), Path().c_str()));
  EXPECT_NE(before, Look());
}

class ReaderPresenceTest : public ::testing::Test {
 protected:
  ReaderPresenceTest() {
    SlotSettings slot;
    slot.presence = PresenceKind::Reader;
    slot.reader = "TELVO Reader A 00 00";
    m_presence = MakePresence(
        slot,
        [this](const std::string& reader) {
          m_asked.push_back(reader);
          return m_state;
        },
        [this] { return m_time; });
  }

  Insertion Look(Freshness freshness = Freshness::Now) const { return m_presence->Look(freshness); }

  std::optional<std::uint32_t> m_state;
  std::chrono::steady_clock::time_point m_time;
  std::vector<std::string> m_asked;
  std::unique_ptr<Presence> m_presence;
};

TEST_F(ReaderPresenceTest, AsksForTheReaderOfTheSlot) {
  Look();
  EXPECT_EQ(std::vector<std::string>{"TELVO Reader A 00 00"}, m_asked);
}

TEST_F(ReaderPresenceTest, AMissingOrEmptyReaderHasNoCard) {
  EXPECT_FALSE(Look().has_value());
  m_state = 0x00020012;
  EXPECT_FALSE(Look().has_value());
}

TEST_F(ReaderPresenceTest, ACardInUseIsTheSameInsertion) {
  m_state = 0x00010022;
  const Insertion before = Look();
  EXPECT_TRUE(before.has_value());
  m_state = 0x00010122;
  EXPECT_EQ(before, Look());
}

TEST_F(ReaderPresenceTest, ACardThatWasPulledMeanwhileIsANewInsertion) {
  m_state = 0x00010022;
  const Insertion before = Look();
  m_state = 0x00030022;
  EXPECT_TRUE(Look().has_value());
  EXPECT_NE(before, Look());
}

TEST_F(ReaderPresenceTest, ARecentAnswerIsReusedForLessThan20Milliseconds) {
  m_state = 0x00010022;
  const Insertion before = Look(Freshness::Recent);
  m_state = 0x00020012;
  m_time += std::chrono::milliseconds(19);
  EXPECT_EQ(before, Look(Freshness::Recent));
  EXPECT_EQ(1u, m_asked.size());
  m_time += std::chrono::milliseconds(1);
  EXPECT_FALSE(Look(Freshness::Recent).has_value());
  EXPECT_EQ(2u, m_asked.size());
}

TEST_F(ReaderPresenceTest, FreshnessNowAlwaysAsksTheReader) {
  m_state = 0x00010022;
  Look(Freshness::Recent);
  m_state = 0x00020012;
  EXPECT_FALSE(Look(Freshness::Now).has_value());
}

}  // namespace
}  // namespace softtoken
