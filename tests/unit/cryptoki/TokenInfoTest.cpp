#include <cstring>
#include <gtest/gtest.h>

#include "cryptoki/TokenInfo.h"

namespace {

CK_TOKEN_INFO Record() {
  CK_TOKEN_INFO record = {};
  std::memcpy(record.label, "Label                           ", 32);
  std::memcpy(record.manufacturerID, "Maker                           ", 32);
  std::memcpy(record.model, "Model           ", 16);
  std::memcpy(record.serialNumber, "0123456789ABCDEF", 16);
  std::memcpy(record.utcTime, "2026112112345600", 16);
  return record;
}

TEST(TokenInfoTest, StringsKeepTheirTrailingSpaces) {
  const TokenInfo info(Record());
  EXPECT_EQ("Label                           ", info.GetLabel());
  EXPECT_EQ("Maker                           ", info.GetManufacturer());
  EXPECT_EQ("Model           ", info.GetModel());
}

TEST(TokenInfoTest, TheSerialNumberIsSplitIntoPairs) {
  EXPECT_EQ("01 23 45 67 89 AB CD EF", TokenInfo(Record()).GetSerial());
}

TEST(TokenInfoTest, UtcTimeIsTakenUnchanged) { EXPECT_EQ("2026112112345600", TokenInfo(Record()).GetUtcTime()); }

TEST(TokenInfoTest, StringsEndAtAZeroByteButSerialNumberAndTimeDoNot) {
  CK_TOKEN_INFO record = Record();
  record.label[5] = 0;
  record.manufacturerID[4] = 0;
  record.model[3] = 0;
  record.serialNumber[15] = 0;
  record.utcTime[15] = 0;
  const TokenInfo info(record);
  EXPECT_EQ("Label", info.GetLabel());
  EXPECT_EQ("Make", info.GetManufacturer());
  EXPECT_EQ("Mod", info.GetModel());
  EXPECT_EQ(std::string("01 23 45 67 89 AB CD E\0", 23), info.GetSerial());
  EXPECT_EQ(std::string("202611211234560\0", 16), info.GetUtcTime());
}

TEST(TokenInfoTest, NumbersAreTakenUnchanged) {
  CK_TOKEN_INFO record = Record();
  record.flags = 0x40D;
  record.ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
  record.ulSessionCount = 1;
  record.ulMaxRwSessionCount = 2;
  record.ulRwSessionCount = 3;
  record.ulMaxPinLen = 4;
  record.ulMinPinLen = 5;
  record.ulTotalPublicMemory = CK_UNAVAILABLE_INFORMATION;
  record.ulFreePublicMemory = 6;
  record.ulTotalPrivateMemory = 7;
  record.ulFreePrivateMemory = 8;
  record.hardwareVersion = CK_VERSION{1, 2};
  record.firmwareVersion = CK_VERSION{3, 4};
  const TokenInfo info(record);
  EXPECT_EQ(CK_FLAGS{0x40D}, info.GetFlags());
  EXPECT_EQ(CK_ULONG{0}, info.GetMaxSessionCount());
  EXPECT_EQ(CK_ULONG{1}, info.GetSessionCount());
  EXPECT_EQ(CK_ULONG{2}, info.GetMaxRwSessionCount());
  EXPECT_EQ(CK_ULONG{3}, info.GetRwSessionCount());
  EXPECT_EQ(CK_ULONG{4}, info.GetMaxPinLen());
  EXPECT_EQ(CK_ULONG{5}, info.GetMinPinLen());
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION, info.GetTotalPublicMemory());
  EXPECT_EQ(CK_ULONG{6}, info.GetFreePublicMemory());
  EXPECT_EQ(CK_ULONG{7}, info.GetTotalPrivateMemory());
  EXPECT_EQ(CK_ULONG{8}, info.GetFreePrivateMemory());
  EXPECT_EQ("1.2", info.GetHardwareVersion().ToString());
  EXPECT_EQ("3.4", info.GetFirmwareVersion().ToString());
}

TEST(TokenInfoTest, DefaultIsEmpty) {
  const TokenInfo info;
  EXPECT_EQ("", info.GetLabel());
  EXPECT_EQ("", info.GetSerial());
  EXPECT_EQ(CK_FLAGS{0}, info.GetFlags());
}

TEST(TokenInfoTest, ALabelThatIsANameGivesItsCommonName) {
  CK_TOKEN_INFO record = Record();
  // SEQUENCE { SET { SEQUENCE { OID 2.5.4.3, PrintableString } } } of exactly 32 bytes
  const unsigned char name[] = {0x30, 0x1E, 0x31, 0x1C, 0x30, 0x1A, 0x06, 0x03, 0x55, 0x04, 0x03,
                                0x13, 0x13, 'A',  ' ',  'n',  'a',  'm',  'e',  ' ',  'i',  'n',
                                ' ',  'a',  ' ',  'l',  'a',  'b',  'e',  'l',  '!',  '!'};
  static_assert(sizeof(name) == 32, "fills the field");
  std::memcpy(record.label, name, sizeof(name));
  EXPECT_EQ("A name in a label!!", TokenInfo(record).GetLabel());
}

}  // namespace
