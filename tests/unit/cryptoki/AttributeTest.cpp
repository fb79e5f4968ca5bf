#include <gtest/gtest.h>
#include <list>
#include <memory>

#include "cryptoki/Attribute.h"
#include "cryptoki/AttributeTemplate.h"
#include "module/ScriptedObjects.h"
#include "platform/HeapWatch.h"

namespace {

Bytes ValueOf(const Attribute& attribute) {
  return Bytes(attribute.GetValue(), attribute.GetValue() + attribute.GetReadableLength());
}

Attribute LengthOnly(CK_ULONG length) { return Attribute(CK_ATTRIBUTE{CKA_LABEL, nullptr, length}); }

class AttributeTest : public ::testing::Test {
 protected:
  BYTE m_bytes[4] = {1, 2, 3, 4};
  Attribute m_attribute{CK_ATTRIBUTE{CKA_ID, m_bytes, 4}};
};

TEST_F(AttributeTest, DefaultIsEmpty) {
  const Attribute attribute;
  EXPECT_EQ(CK_ATTRIBUTE_TYPE{0}, attribute.GetType());
  EXPECT_EQ(nullptr, attribute.GetValue());
  EXPECT_EQ(CK_ULONG{0}, attribute.GetLength());
}

TEST_F(AttributeTest, OwnsACopyOfTheBytes) {
  m_bytes[0] = 9;
  EXPECT_EQ(CKA_ID, m_attribute.GetType());
  EXPECT_EQ((Bytes{1, 2, 3, 4}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, IsConstructedFromTypeAndBytes) {
  const Attribute made(CKA_LABEL, m_bytes, 2);
  m_bytes[0] = 9;
  EXPECT_EQ(CKA_LABEL, made.GetType());
  EXPECT_EQ((Bytes{1, 2}), ValueOf(made));
  EXPECT_EQ(CK_ULONG{2}, made.GetLength());
}

TEST_F(AttributeTest, WithoutBytesItHasATypeButNoValue) {
  for (const Attribute& made : {Attribute(CKA_LABEL, m_bytes, 0), Attribute(CKA_LABEL, nullptr, 2)}) {
    EXPECT_EQ(CKA_LABEL, made.GetType());
    EXPECT_EQ(nullptr, made.GetValue());
    EXPECT_EQ(CK_ULONG{0}, made.GetLength());
  }
}

TEST_F(AttributeTest, ALengthWithoutBytesIsKept) {
  const Attribute attribute = LengthOnly(12);
  EXPECT_EQ(nullptr, attribute.GetValue());
  EXPECT_EQ(CK_ULONG{12}, attribute.GetLength());
  EXPECT_EQ(CK_ULONG{0}, attribute.GetReadableLength());
}

TEST_F(AttributeTest, BytesWithoutAUsableLengthAreNotTaken) {
  EXPECT_EQ(nullptr, Attribute(CK_ATTRIBUTE{CKA_ID, m_bytes, 0}).GetValue());
  EXPECT_EQ(nullptr, Attribute(CK_ATTRIBUTE{CKA_ID, m_bytes, CK_UNAVAILABLE_INFORMATION}).GetValue());
  EXPECT_EQ(CK_UNAVAILABLE_INFORMATION,
            Attribute(CK_ATTRIBUTE{CKA_ID, m_bytes, CK_UNAVAILABLE_INFORMATION}).GetLength());
}

TEST_F(AttributeTest, ACopyIsDeep) {
  const Attribute copy = m_attribute;
  m_attribute.GetValue()[0] = 9;
  EXPECT_EQ((Bytes{1, 2, 3, 4}), ValueOf(copy));
}

TEST_F(AttributeTest, ACopyOfALengthWithoutBytesIsTheSame) {
  const Attribute copy = LengthOnly(12);
  EXPECT_EQ(nullptr, copy.GetValue());
  EXPECT_EQ(CK_ULONG{12}, copy.GetLength());
}

TEST_F(AttributeTest, AssignmentReplacesTheValue) {
  BYTE other[2] = {7, 8};
  m_attribute = Attribute(CK_ATTRIBUTE{CKA_LABEL, other, 2});
  EXPECT_EQ(CKA_LABEL, m_attribute.GetType());
  EXPECT_EQ((Bytes{7, 8}), ValueOf(m_attribute));
  m_attribute = CK_ATTRIBUTE{CKA_ID, m_bytes, 3};
  EXPECT_EQ((Bytes{1, 2, 3}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, AssignmentToItselfKeepsTheValue) {
  const Attribute& same = m_attribute;
  m_attribute = same;
  EXPECT_EQ((Bytes{1, 2, 3, 4}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, AssigningOneWithoutAValueKeepsTheOldBufferWithLengthZero) {
  const BYTE* old = m_attribute.GetValue();
  m_attribute = Attribute();
  EXPECT_EQ(CK_ATTRIBUTE_TYPE{0}, m_attribute.GetType());
  EXPECT_EQ(CK_ULONG{0}, m_attribute.GetLength());
  EXPECT_EQ(old, m_attribute.GetValue());
}

TEST_F(AttributeTest, AssigningARecordWithoutAValueKeepsTheOldBufferToo) {
  const BYTE* old = m_attribute.GetValue();
  m_attribute = CK_ATTRIBUTE{CKA_LABEL, nullptr, 2};
  EXPECT_EQ(CKA_LABEL, m_attribute.GetType());
  EXPECT_EQ(CK_ULONG{2}, m_attribute.GetLength());
  EXPECT_EQ(old, m_attribute.GetValue());
  EXPECT_EQ((Bytes{1, 2}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, WithAGreaterLengthTheOldBufferIsNotReadOrWipedPastItsEnd) {
  m_attribute = LengthOnly(4000);
  EXPECT_EQ(CK_ULONG{4000}, m_attribute.GetLength());
  EXPECT_EQ(CK_ULONG{4}, m_attribute.GetReadableLength());
  const Attribute copy = m_attribute;
  EXPECT_EQ(CK_ULONG{4000}, copy.GetReadableLength());
  EXPECT_EQ(4, copy.GetValue()[3]);
  EXPECT_EQ(0, copy.GetValue()[4]);
  EXPECT_EQ(CK_ULONG{4}, +m_attribute.ToTemplate().ulValueLen);
  m_attribute.Clear();
}

TEST_F(AttributeTest, SetValueReplacesValueAndType) {
  const BYTE value[] = {5, 6};
  m_attribute.SetValue(value, 2, CKA_LABEL);
  EXPECT_EQ(CKA_LABEL, m_attribute.GetType());
  EXPECT_EQ((Bytes{5, 6}), ValueOf(m_attribute));
  m_attribute.SetValue(m_bytes, 1);
  EXPECT_EQ(CKA_LABEL, m_attribute.GetType());
  EXPECT_EQ((Bytes{1}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, SetValueWithLengthZeroOrWithoutBytesChangesNothing) {
  m_attribute.SetValue(m_bytes, 0, CKA_LABEL);
  m_attribute.SetValue(nullptr, 4, CKA_LABEL);
  m_attribute.SetValue(m_bytes, 0);
  m_attribute.SetValue(nullptr, 4);
  EXPECT_EQ(CKA_ID, m_attribute.GetType());
  EXPECT_EQ((Bytes{1, 2, 3, 4}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, SetValueFromItsOwnBytesWorks) {
  m_attribute.SetValue(m_attribute.GetValue() + 1, 2);
  EXPECT_EQ((Bytes{2, 3}), ValueOf(m_attribute));
}

TEST_F(AttributeTest, ClearKeepsTheType) {
  m_attribute.Clear();
  EXPECT_EQ(CKA_ID, m_attribute.GetType());
  EXPECT_EQ(nullptr, m_attribute.GetValue());
  EXPECT_EQ(CK_ULONG{0}, m_attribute.GetLength());
}

TEST_F(AttributeTest, ClearWipesTheBytes) {
  const HeapWatch watch(m_attribute.GetValue(), 4);
  m_attribute.Clear();
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(AttributeTest, DestructionWipesTheBytes) {
  auto attribute = std::make_unique<Attribute>(m_attribute);
  const HeapWatch watch(attribute->GetValue(), 4);
  attribute.reset();
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(AttributeTest, SetValueWipesTheBytesThatItReplaces) {
  const HeapWatch watch(m_attribute.GetValue(), 4);
  m_attribute.SetValue(m_bytes, 2);
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(AttributeTest, AssignmentWipesTheBytesThatItReplaces) {
  const HeapWatch watch(m_attribute.GetValue(), 4);
  m_attribute = CK_ATTRIBUTE{CKA_ID, m_bytes, 1};
  EXPECT_TRUE(watch.WasReleased());
  EXPECT_TRUE(watch.WasWiped());
}

TEST_F(AttributeTest, AllBytesAreWipedEvenAfterTheLengthBecameSmaller) {
  m_attribute = LengthOnly(1);
  const HeapWatch watch(m_attribute.GetValue(), 4);
  m_attribute.Clear();
  EXPECT_TRUE(watch.WasWiped());
}

TEST(AttributeTemplateTest, PointsIntoTheListInItsOrder) {
  const std::list<Attribute> list = {MakeAttribute(CKA_LABEL, Text("ab")), MakeAttribute(CKA_ID, {1})};
  AttributeTemplate items(list);
  ASSERT_EQ(CK_ULONG{2}, items.Count());
  EXPECT_EQ(CKA_LABEL, +items.Data()[0].type);
  EXPECT_EQ(list.front().GetValue(), items.Data()[0].pValue);
  EXPECT_EQ(CK_ULONG{2}, +items.Data()[0].ulValueLen);
  EXPECT_EQ(CKA_ID, +items.Data()[1].type);
}

TEST(AttributeTemplateTest, OfAnEmptyListIsNull) {
  AttributeTemplate items(std::list<Attribute>{});
  EXPECT_EQ(nullptr, items.Data());
  EXPECT_EQ(CK_ULONG{0}, items.Count());
}

}  // namespace
