#include <fstream>
#include <gtest/gtest.h>

#include "cryptoki/Names.h"
#include "cryptoki/SecretKey.h"

namespace {

TEST(MechanismNameTest, EveryMechanismOfTheListHasItsName) {
  std::ifstream list(TELVO_TEST_DATA "/mechanism_names.txt");
  int rows = 0;
  for (std::string line; std::getline(list, line); ++rows) {
    const std::size_t space = line.find(' ');
    EXPECT_EQ(line.substr(space + 1), MechanismName(static_cast<CK_MECHANISM_TYPE>(std::stoul(line, nullptr, 16))));
  }
  EXPECT_EQ(179, rows);
}

TEST(MechanismNameTest, SelectedRows) {
  EXPECT_EQ("RSA PKCS Key-pair Generation", MechanismName(0));
  EXPECT_EQ("RSA PKCS", MechanismName(1));
  EXPECT_EQ("RC2 Key Generation", MechanismName(0x100));
  EXPECT_EQ("X9 42 DH Generation Parameter", MechanismName(0x2002));
}

TEST(MechanismNameTest, ThePaddedModeOfCdmfAndIdeaHasTheCbcName) {
  EXPECT_EQ("Unknown Mechanism: 0x00000142", MechanismName(CKM_CDMF_CBC));
  EXPECT_EQ("CDMF CBC Mode", MechanismName(CKM_CDMF_CBC_PAD));
  EXPECT_EQ("Unknown Mechanism: 0x00000342", MechanismName(CKM_IDEA_CBC));
  EXPECT_EQ("IDEA CBC Mode", MechanismName(CKM_IDEA_CBC_PAD));
}

TEST(MechanismNameTest, VendorDefinedAndUnknownMechanismsShowTheirNumber) {
  EXPECT_EQ("Mechanism is vendor defined: 0x80000000", MechanismName(0x80000000));
  EXPECT_EQ("Mechanism is vendor defined: 0xFFFFFFFF", MechanismName(0xFFFFFFFF));
  EXPECT_EQ("Unknown Mechanism: 0x0000000D", MechanismName(CKM_RSA_PKCS_PSS));
}

struct KeyTypeCase {
  CK_KEY_TYPE type;
  const char* name;
};

class KeyTypeNameTest : public ::testing::TestWithParam<KeyTypeCase> {};

TEST_P(KeyTypeNameTest, IsReturned) { EXPECT_EQ(GetParam().name, SecretKey().KeyTypeName(GetParam().type)); }

INSTANTIATE_TEST_SUITE_P(Rows, KeyTypeNameTest,
                         ::testing::Values(KeyTypeCase{0x3, "ECDSA Key"}, KeyTypeCase{0x5, "KEA Key"},
                                           KeyTypeCase{0x10, "Generic Secret Key"}, KeyTypeCase{0x11, "RC2 Key"},
                                           KeyTypeCase{0x12, "RC4 Key"}, KeyTypeCase{0x13, "Single DES Key"},
                                           KeyTypeCase{0x14, "Triple DES 16-byte Key"},
                                           KeyTypeCase{0x15, "Triple DES 24-byte Key"}, KeyTypeCase{0x16, "CAST Key"},
                                           KeyTypeCase{0x17, "CAST-3 Key"}, KeyTypeCase{0x18, "CAST-5 / CAST 128 Key"},
                                           KeyTypeCase{0x19, "RC5 Key"}, KeyTypeCase{0x1A, "IDEA Key"},
                                           KeyTypeCase{0x1B, "SKIPJACK Key"}, KeyTypeCase{0x1C, "BATON Key"},
                                           KeyTypeCase{0x1D, "Juniper Key"}, KeyTypeCase{0x1E, "CDMF Key"},
                                           KeyTypeCase{0x1F, "AES Key"}, KeyTypeCase{0x0, "Unknown Key Type"},
                                           KeyTypeCase{0x1, "Unknown Key Type"},
                                           KeyTypeCase{0x20, "Unknown Key Type"}));

TEST(KeyTypeNameVendorTest, AVendorTypeReturnsAnEmptyStringAndIsPrependedToTheStoredName) {
  SecretKey key;
  EXPECT_EQ("", key.KeyTypeName(0x80000001));
  EXPECT_EQ("Vendor Defined Key Type: 0x80000001", key.GetKeyTypeName());
  EXPECT_EQ("", key.KeyTypeName(0xFFFFFFFF));
  EXPECT_EQ("Vendor Defined Key Type: 0xFFFFFFFFVendor Defined Key Type: 0x80000001", key.GetKeyTypeName());
}

}  // namespace
