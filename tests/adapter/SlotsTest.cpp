// Slots and tokens as the provider sees them.
#include "AdapterTest.h"

namespace adapter::testing {
namespace {

using scripted::ScriptedSlot;

class SlotsTest : public AdapterTest {
 protected:
  static ScriptedSlot MakeSlot(CK_SLOT_ID id, const std::string& description,
                               const std::string& serial = "0000000000000001") {
    ScriptedSlot slot;
    slot.id = id;
    slot.description = description;
    slot.serial = serial;
    slot.label = "Card " + std::to_string(id);
    return slot;
  }
  CK_TOKEN_INFO Token(CK_SLOT_ID slot) {
    CK_TOKEN_INFO info = {};
    EXPECT_EQ(CKR_OK, Call<&Adapter::C_GetTokenInfo>(slot, &info));
    return info;
  }
  std::string Serial(CK_SLOT_ID slot) {
    const CK_TOKEN_INFO info = Token(slot);
    return {reinterpret_cast<const char*>(info.serialNumber), sizeof info.serialNumber};
  }
};

using Ids = std::vector<CK_SLOT_ID>;

TEST_F(SlotsTest, HaveIdsFromZeroAndKeepThemWhenTheModulesListChanges) {
  module.slots = {MakeSlot(0x700000001, "A"), MakeSlot(9, "B")};
  Start();
  EXPECT_EQ((Ids{0, 1}), Slots(true));
  module.slots = {MakeSlot(5, "C"), MakeSlot(9, "B")};
  EXPECT_EQ((Ids{1, 2}), Slots(true));
  EXPECT_EQ("B", SlotName(1));
  EXPECT_EQ("C", SlotName(2));
  CK_SLOT_INFO info = {};
  EXPECT_EQ(CKR_SLOT_ID_INVALID, Call<&Adapter::C_GetSlotInfo>(CK_SLOT_ID{0}, &info));
}

// SoftHSM2 while another process logs in.
TEST_F(SlotsTest, KeepATokenThatFailsBriefly) {
  module.slots = {MakeSlot(1, "A")};
  module.slots[0].failures = 3;
  Start();
  EXPECT_EQ((Ids{0}), Slots(true));
}

TEST_F(SlotsTest, HaveNoTokenIfItKeepsFailing) {
  module.slots = {MakeSlot(1, "A")};
  module.slots[0].failures = 1000000;
  Start();
  EXPECT_EQ(Ids{}, Slots(true));
}

TEST_F(SlotsTest, HaveNamesThatAreUniqueAndNotEmpty) {
  module.slots = {MakeSlot(1, "Reader"), MakeSlot(2, "Reader"), MakeSlot(3, ""),
                  MakeSlot(4, std::string("Linux\0\0x", 8)), MakeSlot(5, "Reader")};
  Start();
  Slots(true);
  EXPECT_EQ("Reader", SlotName(0));
  EXPECT_EQ("Reader (2)", SlotName(1));
  EXPECT_EQ("Token slot 3", SlotName(2));
  EXPECT_EQ("Linux", SlotName(3));
  EXPECT_EQ("Reader (3)", SlotName(4));
}

TEST_F(SlotsTest, TakeNamesFromTheSettings) {
  settings.names = {{"0000000000000007", "", "Desk reader"}, {"", "Card 2", "Door reader"}};
  module.slots = {MakeSlot(1, "A", "0000000000000007"), MakeSlot(2, "B"), MakeSlot(3, "C")};
  Start();
  Slots(true);
  EXPECT_EQ("Desk reader", SlotName(0));
  EXPECT_EQ("Door reader", SlotName(1));
  EXPECT_EQ("C", SlotName(2));
}

TEST_F(SlotsTest, AreFilteredByLabelSerialAndReader) {
  module.slots = {MakeSlot(1, "A", "0000000000000007"), MakeSlot(2, "B", "0000000000000008")};
  for (const auto filter : {&Settings::label, &Settings::serial, &Settings::reader}) {
    settings = Settings();
    settings.*filter = filter == &Settings::label ? "Card 2" : filter == &Settings::serial ? "0000000000000008" : "B";
    Start();
    EXPECT_EQ(Ids{1}, Slots(true));
    EXPECT_EQ(Ids{1}, Slots(false));
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(CKR_SLOT_ID_INVALID,
              Call<&Adapter::C_OpenSession>(CK_SLOT_ID{0}, kReadWrite, nullptr, nullptr, &session));
    Stop();
  }
}

TEST_F(SlotsTest, WithoutAUsableTokenAreEmpty) {
  module.slots = {MakeSlot(1, "A"), MakeSlot(2, "B"), MakeSlot(3, "C")};
  module.slots[1].initialised = false;
  module.slots[2].tokenIn = false;
  Start();
  EXPECT_EQ(Ids{0}, Slots(true));
  EXPECT_EQ((Ids{0, 1, 2}), Slots(false));
  CK_SLOT_INFO info = {};
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GetSlotInfo>(CK_SLOT_ID{1}, &info));
  EXPECT_EQ(0U, info.flags & CKF_TOKEN_PRESENT);
  CK_TOKEN_INFO token = {};
  EXPECT_EQ(CKR_TOKEN_NOT_PRESENT, Call<&Adapter::C_GetTokenInfo>(CK_SLOT_ID{1}, &token));
}

TEST_F(SlotsTest, GiveTokensWithoutASerialNumberAStableOne) {
  module.slots = {MakeSlot(1, "A", "0000000000000000"), MakeSlot(2, "B", ""), MakeSlot(3, "C", "123")};
  Start();
  const std::string first = Serial(0), second = Serial(1);
  EXPECT_EQ(16U, first.find_first_not_of("0123456789ABCDEF") == std::string::npos ? first.size() : 0);
  EXPECT_NE(std::string(16, '0'), first);
  EXPECT_NE(first, second);
  EXPECT_EQ("123             ", Serial(2));
  Stop();
  Start();
  EXPECT_EQ(first, Serial(0));
}

TEST_F(SlotsTest, ReportWhichTokenWasInsertedOrRemoved) {
  module.slots = {MakeSlot(1, "A"), MakeSlot(2, "B")};
  module.slots[1].tokenIn = false;
  Start();
  CK_SLOT_ID slot = 99;
  const auto ask = [&] { return Call<&Adapter::C_WaitForSlotEvent>(CK_FLAGS{CKF_DONT_BLOCK}, &slot, nullptr); };
  EXPECT_EQ(CKR_NO_EVENT, ask());
  module.slots[1].tokenIn = true;
  EXPECT_EQ(CKR_OK, ask());
  EXPECT_EQ(1U, slot);
  EXPECT_EQ(CKR_NO_EVENT, ask());
  module.slots[0].tokenIn = false;
  EXPECT_EQ(CKR_OK, ask());
  EXPECT_EQ(0U, slot);
}

TEST_F(SlotsTest, OfferSignaturesWithEveryDigestIfTheTokenSignsAtAll) {
  module.mechanisms = {CKM_RSA_X_509};
  Start();
  CK_MECHANISM_TYPE list[100] = {};
  CK_ULONG count = 100;
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GetMechanismList>(CK_SLOT_ID{0}, list, &count));
  const std::vector<CK_MECHANISM_TYPE> offered(list, list + count);
  const auto has = [&](CK_MECHANISM_TYPE type) { return std::count(offered.begin(), offered.end(), type) == 1; };
  EXPECT_TRUE(has(CKM_RSA_PKCS) && has(CKM_SHA512_RSA_PKCS) && has(CKM_DES_CBC) && has(CKM_SHA_1));
  EXPECT_FALSE(has(CKM_RSA_PKCS_KEY_PAIR_GEN));
  CK_MECHANISM_INFO info = {};
  ASSERT_EQ(CKR_OK, Call<&Adapter::C_GetMechanismInfo>(CK_SLOT_ID{0}, CK_MECHANISM_TYPE{CKM_SHA1_RSA_PKCS}, &info));
  EXPECT_EQ(1024U, info.ulMinKeySize);
  EXPECT_EQ(CK_FLAGS{CKF_HW | CKF_SIGN | CKF_VERIFY}, info.flags & ~CK_FLAGS{CKF_DECRYPT});
  EXPECT_EQ(CKR_MECHANISM_INVALID,
            Call<&Adapter::C_GetMechanismInfo>(CK_SLOT_ID{0}, CK_MECHANISM_TYPE{CKM_RSA_PKCS_PSS}, &info));
}

}  // namespace
}  // namespace adapter::testing
