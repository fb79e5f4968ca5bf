#include <gtest/gtest.h>

#include "cryptoki/Mechanism.h"

namespace {

CK_BYTE g_iv[] = {1, 2, 3, 4, 5, 6, 7, 8};

TEST(MechanismTest, DefaultHasNoParameter) {
  const Mechanism mechanism;
  EXPECT_EQ(nullptr, mechanism.GetParameter().get());
  EXPECT_EQ(0U, mechanism.GetParameterLength());
  EXPECT_EQ("", mechanism.GetName());
}

TEST(MechanismTest, IsConstructedFromTheTokensMechanismInfo) {
  CK_MECHANISM_INFO info = {};
  info.ulMinKeySize = 512;
  info.ulMaxKeySize = 4096;
  info.flags = CKF_SIGN;
  const Mechanism mechanism(info, CKM_RSA_PKCS);
  EXPECT_EQ(CKM_RSA_PKCS, mechanism.GetType());
  EXPECT_EQ(CK_ULONG{512}, +mechanism.GetInfo().ulMinKeySize);
  EXPECT_EQ(CK_ULONG{4096}, +mechanism.GetInfo().ulMaxKeySize);
  EXPECT_EQ(CK_FLAGS{CKF_SIGN}, +mechanism.GetInfo().flags);
}

TEST(MechanismTest, CopiesTheBytesOfAParameter) {
  const Mechanism mechanism(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  EXPECT_EQ(CKM_DES_CBC, mechanism.GetType());
  ASSERT_EQ(8U, mechanism.GetParameterLength());
  EXPECT_NE(g_iv, mechanism.GetParameter().get());
  EXPECT_EQ(8, mechanism.GetParameter()[7]);
}

TEST(MechanismTest, AnAddressWithoutLengthIsNoParameter) {
  EXPECT_EQ(nullptr, Mechanism(CK_MECHANISM{CKM_DES_CBC, g_iv, 0}).GetParameter().get());
}

TEST(MechanismTest, ALengthWithoutAddressIsKeptWithoutBytes) {
  const Mechanism mechanism(CK_MECHANISM{CKM_DES_CBC, nullptr, 8});
  EXPECT_EQ(nullptr, mechanism.GetParameter().get());
  EXPECT_EQ(8U, mechanism.GetParameterLength());
}

TEST(MechanismTest, ACopySharesTheParameter) {
  const Mechanism mechanism(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  const Mechanism copy = mechanism;
  EXPECT_EQ(mechanism.GetParameter().get(), copy.GetParameter().get());
  EXPECT_EQ(8U, copy.GetParameterLength());
}

TEST(MechanismTest, AssignmentSharesTheParameter) {
  const Mechanism source(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  Mechanism target(CKM_RSA_PKCS);
  target = source;
  EXPECT_EQ(CKM_DES_CBC, target.GetType());
  EXPECT_EQ(source.GetParameter().get(), target.GetParameter().get());
  EXPECT_EQ(8U, target.GetParameterLength());
}

TEST(MechanismTest, AssigningOneWithoutAParameterKeepsTheOldBytesWithLengthZero) {
  Mechanism target(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  target = Mechanism(CKM_DES_ECB);
  EXPECT_EQ(CKM_DES_ECB, target.GetType());
  EXPECT_EQ(0U, target.GetParameterLength());
  EXPECT_NE(nullptr, target.GetParameter().get());
}

TEST(MechanismTest, AssignmentToItselfKeepsTheParameter) {
  Mechanism mechanism(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  const Mechanism& same = mechanism;
  mechanism = same;
  EXPECT_EQ(8U, mechanism.GetParameterLength());
}

TEST(MechanismTest, IsPassedToTheModuleWithOrWithoutItsParameter) {
  const Mechanism mechanism(CK_MECHANISM{CKM_DES_CBC, g_iv, sizeof(g_iv)});
  const CK_MECHANISM with = mechanism.WithParameter();
  EXPECT_EQ(CKM_DES_CBC, +with.mechanism);
  EXPECT_EQ(mechanism.GetParameter().get(), with.pParameter);
  EXPECT_EQ(CK_ULONG{8}, +with.ulParameterLen);
  const CK_MECHANISM without = mechanism.TypeOnly();
  EXPECT_EQ(CKM_DES_CBC, +without.mechanism);
  EXPECT_EQ(nullptr, without.pParameter);
  EXPECT_EQ(CK_ULONG{0}, +without.ulParameterLen);
}

}  // namespace
