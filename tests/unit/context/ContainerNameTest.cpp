#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "context/ContainerName.h"
#include "fixtures/LogFile.h"

namespace {

using ContainerNameTest = LogTest;

// Reader and container, with a bar between.
std::string Parsed(const char* name) {
  std::string reader = "old";
  std::string container = "old";
  ParseContainerName(name, reader, container);
  return reader + "|" + container;
}

std::string NameOf(const std::vector<BYTE>& id) { return IdToContainerName(id.data(), static_cast<DWORD>(id.size())); }

TEST_F(ContainerNameTest, ANullNameHasNoReaderAndNoContainer) { EXPECT_EQ("|", Parsed(nullptr)); }
TEST_F(ContainerNameTest, AnEmptyNameHasNoReaderAndNoContainer) { EXPECT_EQ("|", Parsed("")); }
TEST_F(ContainerNameTest, APlainNameIsTheContainer) { EXPECT_EQ("|name", Parsed("name")); }
TEST_F(ContainerNameTest, ReaderAndContainerAreSplit) { EXPECT_EQ("reader|name", Parsed("\\\\.\\reader\\name")); }
TEST_F(ContainerNameTest, ATrailingBackslashNamesOnlyTheReader) { EXPECT_EQ("reader|", Parsed("\\\\.\\reader\\")); }

TEST_F(ContainerNameTest, TheContainerBeginsAfterTheLastBackslash) {
  EXPECT_EQ("reader|b", Parsed("\\\\.\\reader\\a\\b"));
  EXPECT_EQ("reader|c", Parsed("\\\\.\\reader\\a\\b\\c"));
}

TEST_F(ContainerNameTest, WithoutABackslashAfterItTheReaderReachesToTheEnd) {
  EXPECT_EQ("reader|", Parsed("\\\\.\\reader"));
}

TEST_F(ContainerNameTest, TheReaderMarkAloneIsAnEmptyReader) {
  EXPECT_EQ("|", Parsed("\\\\."));
  EXPECT_EQ("|", Parsed("\\\\.\\"));
  EXPECT_EQ("|", Parsed("\\\\.\\\\"));
}

TEST_F(ContainerNameTest, ALongReaderIsCutTo255Characters) {
  const std::string name = "\\\\.\\" + std::string(300, 'r') + "\\c";
  EXPECT_EQ(std::string(255, 'r') + "|c", Parsed(name.c_str()));
}

TEST_F(ContainerNameTest, ANameOfAMillionCharactersIsParsed) {
  const std::string name(1000000, 'n');
  EXPECT_EQ("|" + name, Parsed(name.c_str()));
}

TEST_F(ContainerNameTest, ABackslashElsewhereBelongsToTheContainer) { EXPECT_EQ("|a\\b", Parsed("a\\b")); }

TEST_F(ContainerNameTest, TheLogonPrefixIsRemovedAfterAReader) {
  EXPECT_EQ("Reader A|1234", Parsed("\\\\.\\Reader A\\SmartcardLogon-1234"));
}

TEST_F(ContainerNameTest, TheUserPrefixIsRemovedWhateverItsCase) { EXPECT_EQ("|X", Parsed("smartcarduser-X")); }
TEST_F(ContainerNameTest, APrefixInTheMiddleIsRemoved) { EXPECT_EQ("|ABCX", Parsed("ABCSmartcardUser-X")); }

TEST_F(ContainerNameTest, OnlyTheFirstOfTwoPrefixesIsRemoved) {
  EXPECT_EQ("|SmartcardLogon-A", Parsed("SmartcardLogon-SmartcardLogon-A"));
  EXPECT_EQ("|SmartcardLogon-A", Parsed("SmartcardUser-SmartcardLogon-A"));
}

TEST_F(ContainerNameTest, AnIncompletePrefixStays) { EXPECT_EQ("|SmartcardLogon", Parsed("SmartcardLogon")); }

TEST_F(ContainerNameTest, ARewrittenNameIsLogged) {
  Parsed("SmartcardLogon-1234");
  EXPECT_EQ(Value("\tModified Container Name: ", "1234"), TakeLog());
}

TEST_F(ContainerNameTest, AnUnchangedNameIsNotLogged) {
  Parsed("1234");
  EXPECT_EQ("", TakeLog());
}

TEST_F(ContainerNameTest, ANameThatIsOnlyAPrefixBecomesEmpty) {
  EXPECT_EQ("|", Parsed("SmartcardUser-"));
  EXPECT_EQ(Value("\tModified Container Name: ", ""), TakeLog());
}

TEST_F(ContainerNameTest, AnEmptyIdentifierGivesAnEmptyName) {
  EXPECT_EQ("", IdToContainerName(nullptr, 5));
  const BYTE byte = 0x41;
  EXPECT_EQ("", IdToContainerName(&byte, 0));
}

TEST_F(ContainerNameTest, PrintableBytesAreTheName) { EXPECT_EQ("ABC", NameOf({0x41, 0x42, 0x43})); }
TEST_F(ContainerNameTest, TheLimitsOfPrintableBytesAre33And126) {
  EXPECT_EQ("!~", NameOf({33, 126}));
  EXPECT_EQ("20", NameOf({32}));
  EXPECT_EQ("7F", NameOf({127}));
}

TEST_F(ContainerNameTest, ASpaceMakesTheNameHexadecimal) { EXPECT_EQ("412043", NameOf({0x41, 0x20, 0x43})); }
TEST_F(ContainerNameTest, AZeroByteEndsTheName) { EXPECT_EQ("A", NameOf({0x41, 0x00, 0x42})); }
TEST_F(ContainerNameTest, BytesAfterAZeroByteDoNotMatter) { EXPECT_EQ("A", NameOf({0x41, 0x00, 0xFF})); }
TEST_F(ContainerNameTest, ALeadingZeroByteMakesTheNameHexadecimal) { EXPECT_EQ("0041", NameOf({0x00, 0x41})); }

TEST_F(ContainerNameTest, TheHexadecimalFormIncludesTheBytesAfterAZeroByte) {
  EXPECT_EQ("410A0042FF", NameOf({0x41, 0x0A, 0x00, 0x42, 0xFF}));
}

}  // namespace
