#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>

#include "CardFile.h"
#include "TokenTest.h"

namespace softtoken {
namespace {

using testing::TemporaryFolder;
using testing::WriteFile;

constexpr char kSerial[] = "A000000000000001";

class CardFileTest : public ::testing::Test {
 protected:
  CardFileTest() { m_file.Make(MakeSecret("1234"), MakeSecret("98765")); }

  PinCheck Offer(const std::string& pin, PinOwner owner = PinOwner::User) const {
    return m_file.Offer(owner, testing::BytesOf(pin), pin.size());
  }

  std::string Content() const {
    std::ifstream file(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string Path() const { return m_folder.Path() + '/' + kSerial + ".card"; }

  const TemporaryFolder m_folder;
  const CardFile m_file{m_folder.Path(), kSerial, 3};
};

TEST_F(CardFileTest, TheRightPinIsAccepted) {
  EXPECT_TRUE(Offer("1234").right);
  EXPECT_EQ(3u, Offer("1234").triesLeft);
  EXPECT_TRUE(Offer("98765", PinOwner::SecurityOfficer).right);
}

TEST_F(CardFileTest, EachWrongPinCostsATryAndTheLastOneLocks) {
  EXPECT_EQ(2u, Offer("0000").triesLeft);
  EXPECT_EQ(1u, Offer("123").triesLeft);
  EXPECT_EQ(0u, Offer("").triesLeft);
  EXPECT_FALSE(Offer("1234").right) << "the PIN is locked";
  EXPECT_EQ(3u, m_file.WrongTries(PinOwner::User));
  EXPECT_EQ(0u, m_file.WrongTries(PinOwner::SecurityOfficer));
}

TEST_F(CardFileTest, TheRightPinRestoresTheTries) {
  Offer("0000");
  Offer("0000");
  EXPECT_TRUE(Offer("1234").right);
  EXPECT_EQ(0u, m_file.WrongTries(PinOwner::User));
}

TEST_F(CardFileTest, ANewPinHasAllItsTries) {
  for (int i = 0; i < 3; ++i) Offer("0000");
  m_file.Set(PinOwner::User, MakeSecret("5555"));
  EXPECT_FALSE(Offer("1234").right);
  EXPECT_TRUE(Offer("5555").right);
}

TEST_F(CardFileTest, AChangeNeedsTheOldPin) {
  const std::string wrong = "0000", right = "1234";
  EXPECT_EQ(2u, m_file.Change(PinOwner::User, testing::BytesOf(wrong), 4, MakeSecret("5555")).triesLeft);
  EXPECT_TRUE(Offer("1234").right);
  EXPECT_TRUE(m_file.Change(PinOwner::User, testing::BytesOf(right), 4, MakeSecret("5555")).right);
  EXPECT_TRUE(Offer("5555").right);
}

TEST_F(CardFileTest, FewerTriesInTheSettingsLockAtOnce) {
  Offer("0000");
  const CardFile strict(m_folder.Path(), kSerial, 1);
  EXPECT_EQ(1u, strict.WrongTries(PinOwner::User));
  EXPECT_FALSE(strict.Offer(PinOwner::User, testing::BytesOf(std::string("1234")), 4).right);
}

TEST_F(CardFileTest, TheFileContainsNeitherPin) {
  m_file.Set(PinOwner::User, MakeSecret("secret-pin"));
  EXPECT_EQ(std::string::npos, Content().find("secret-pin"));
  EXPECT_EQ(std::string::npos, Content().find("98765"));
}

TEST_F(CardFileTest, TheSamePinHasDifferentDigestsAndEachCardItsOwnKey) {
  const CardFile other(m_folder.Path(), "A000000000000002", 3);
  other.Make(MakeSecret("1234"), MakeSecret("1234"));
  EXPECT_NE(m_file.StoreKey(), other.StoreKey());
  EXPECT_EQ(64u, other.StoreKey().size());
  EXPECT_EQ(32u, other.StoreName().size());
  std::ifstream file(m_folder.Path() + "/A000000000000002.card");
  std::string line, user, so;
  while (std::getline(file, line)) {
    if (line.rfind("user ", 0) == 0) user = line.substr(5);
    if (line.rfind("so ", 0) == 0) so = line.substr(3);
  }
  ASSERT_EQ(user.size(), so.size());
  EXPECT_NE(user, so);
}

TEST_F(CardFileTest, OnlyTheUserMayReadIt) {
  struct stat status = {};
  ASSERT_EQ(0, ::stat(Path().c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 0777u);
}

TEST_F(CardFileTest, TriesOfSeveralThreadsAllCount) {
  const CardFile patient(m_folder.Path(), kSerial, 15);
  const auto offer = [&] {
    for (int i = 0; i < 5; ++i) patient.Offer(PinOwner::User, testing::BytesOf(std::string("0000")), 4);
  };
  std::thread first(offer), second(offer);
  first.join();
  second.join();
  EXPECT_EQ(10u, patient.WrongTries(PinOwner::User));
}

TEST_F(CardFileTest, ATruncatedFileIsRefused) {
  const std::string good = Content();
  for (std::size_t length = 0; length + 1 < good.size(); ++length) {
    WriteFile(Path(), good.substr(0, length));
    EXPECT_THROW(m_file.WrongTries(PinOwner::User), std::runtime_error) << length << " bytes";
  }
}

TEST_F(CardFileTest, AMissingFileIsReported) {
  const CardFile missing(m_folder.Path(), "A000000000000009", 3);
  EXPECT_FALSE(missing.Exists());
  EXPECT_THROW(missing.StoreName(), std::runtime_error);
}

}  // namespace
}  // namespace softtoken
