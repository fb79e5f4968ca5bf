#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>

#include "cryptoki/Slot.h"
#include "fixtures/Expect.h"
#include "module/ScriptedModule.h"

namespace {

class SlotTest : public ::testing::Test {
 protected:
  SlotTest() : m_module(boost::make_shared<ScriptedModule>()), m_slot(SlotInfo(CK_SLOT_INFO{}, 0)) {
    m_module->InsertToken("Reader A");
  }

  static Slot WithFlags(CK_FLAGS flags) {
    CK_SLOT_INFO info = {};
    info.flags = flags;
    return Slot(SlotInfo(info, 0));
  }

  boost::shared_ptr<ScriptedModule> m_module;
  Slot m_slot;
};

TEST_F(SlotTest, SetCryptokiReachesTheToken) {
  m_slot.SetCryptoki(m_module);
  EXPECT_NO_THROW(m_slot.GetToken().GetTokenInfo());
}

TEST_F(SlotTest, SetCryptokiRefusesNull) { EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_slot.SetCryptoki(nullptr)); }

TEST_F(SlotTest, WithoutAModuleNothingCanBeRead) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_slot.IsTokenPresent());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_slot.GetSlotInfo());
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, m_slot.GetToken());
}

TEST_F(SlotTest, IsTokenPresentReadsTheSlotEachTime) {
  m_slot.SetCryptoki(m_module);
  EXPECT_TRUE(m_slot.IsTokenPresent());
  m_module->RemoveToken("Reader A");
  EXPECT_FALSE(m_slot.IsTokenPresent());
  EXPECT_EQ((Calls{"C_GetSlotInfo(0)", "C_GetSlotInfo(0)"}), m_module->TakeCalls());
  EXPECT_STREQ("Reader A", m_slot.GetSlotDescription().c_str());
}

TEST_F(SlotTest, AFailedReadKeepsWhatWasKnown) {
  m_slot.SetCryptoki(m_module);
  m_slot.IsTokenPresent();
  m_module->FailNext("C_GetSlotInfo", CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, m_slot.IsTokenPresent());
  EXPECT_STREQ("Reader A", m_slot.GetSlotDescription().c_str());
}

TEST_F(SlotTest, GetSlotInfoReadsTheSlotAndKeepsItsId) {
  m_slot.SetCryptoki(m_module);
  const SlotInfo& info = m_slot.GetSlotInfo();
  EXPECT_STREQ("Reader A", info.GetDescription().c_str());
  EXPECT_EQ(CK_FLAGS{7}, info.GetFlags());
  EXPECT_EQ(CK_SLOT_ID{0}, info.GetSlotId());
}

TEST_F(SlotTest, GetTokenReadsNothing) {
  m_slot.SetCryptoki(m_module);
  m_slot.GetToken();
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(SlotTest, FlagsAreShownByNameWithASpaceAfterTheLast) {
  EXPECT_EQ("[0x00000007] CKF_HW_SLOT | CKF_REMOVABLE_DEVICE | CKF_TOKEN_PRESENT ", WithFlags(7).FlagsText());
  EXPECT_EQ("[0x00000001] CKF_TOKEN_PRESENT ", WithFlags(1).FlagsText());
  EXPECT_EQ("[0x00000002] CKF_REMOVABLE_DEVICE ", WithFlags(2).FlagsText());
  EXPECT_EQ("[0x00000004] CKF_HW_SLOT ", WithFlags(4).FlagsText());
}

TEST_F(SlotTest, WithoutANamedFlagTheTextThrows) {
  EXPECT_THROW(WithFlags(0).FlagsText(), std::out_of_range);
  EXPECT_THROW(WithFlags(0x80).FlagsText(), std::out_of_range);
}

}  // namespace
