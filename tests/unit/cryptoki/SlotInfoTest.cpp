#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "cryptoki/SlotInfo.h"

namespace {

const std::string kZeros(32, '\0');

CK_SLOT_INFO RecordOf(const std::string& description) {
  CK_SLOT_INFO record = {};
  std::fill(std::begin(record.slotDescription), std::end(record.slotDescription), ' ');
  std::copy(description.begin(), description.end(), record.slotDescription);
  std::fill(std::begin(record.manufacturerID), std::end(record.manufacturerID), ' ');
  std::memcpy(record.manufacturerID, "Maker", 5);
  return record;
}

TEST(SlotInfoTest, DescriptionLosesItsTrailingSpacesAndGetsThirtyTwoZeros) {
  EXPECT_EQ("TELVO Reader A" + kZeros, SlotInfo(RecordOf("TELVO Reader A"), 0).GetDescription());
}

TEST(SlotInfoTest, ANameOfFortyCharactersIsCutToThirtyTwo) {
  EXPECT_EQ(
      "0123456789012345678901234567890"
      "1" +
          kZeros,
      SlotInfo(RecordOf("0123456789012345678901234567890123456789"), 0).GetDescription());
}

TEST(SlotInfoTest, ADescriptionOfSpacesKeepsOne) {
  EXPECT_EQ(" " + kZeros, SlotInfo(RecordOf(""), 0).GetDescription());
}

TEST(SlotInfoTest, ATrailingZeroByteIsNotASpace) {
  CK_SLOT_INFO record = RecordOf("abc");
  record.slotDescription[31] = 0;
  EXPECT_EQ(64U, SlotInfo(record, 0).GetDescription().size());
  EXPECT_EQ("abc    ", SlotInfo(record, 0).GetDescription().substr(0, 7));
}

TEST(SlotInfoTest, ManufacturerKeepsItsSpaces) {
  EXPECT_EQ("Maker" + std::string(27, ' ') + kZeros, SlotInfo(RecordOf("x"), 0).GetManufacturer());
}

TEST(SlotInfoTest, FlagsVersionsAndIdAreCopied) {
  CK_SLOT_INFO record = RecordOf("x");
  record.flags = 5;
  record.hardwareVersion = CK_VERSION{1, 2};
  record.firmwareVersion = CK_VERSION{3, 4};
  const SlotInfo info(record, 77);
  EXPECT_EQ(CK_FLAGS{5}, info.GetFlags());
  EXPECT_EQ("1.2", info.GetHardwareVersion().ToString());
  EXPECT_EQ("3.4", info.GetFirmwareVersion().ToString());
  EXPECT_EQ(CK_SLOT_ID{77}, info.GetSlotId());
}

}  // namespace
