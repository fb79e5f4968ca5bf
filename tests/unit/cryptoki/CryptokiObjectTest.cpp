// What every object of the token has in common: reading, caching, writing, destroying.
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "cryptoki/CryptokiObject.h"
#include "cryptoki/Data.h"
#include "cryptoki/Session.h"
#include "fixtures/Expect.h"
#include "fixtures/LogFile.h"
#include "module/ScriptedModule.h"

namespace {

using List = std::list<Attribute>;

class CryptokiObjectTest : public LogTest {
 protected:
  CryptokiObjectTest() : m_module(boost::make_shared<ScriptedModule>()), m_token(m_module->InsertToken("Reader A")) {
    CK_SESSION_HANDLE handle = 0;
    m_module->C_OpenSession(0, 6, nullptr, nullptr, &handle);
    m_session = Session(handle);
    m_session.SetCryptoki(m_module);
    m_certificate = m_token.Add(CertificateObject({1, 2}, "My label", Counting(100, 0)));
    m_module->ForgetCalls();
  }

  CryptokiObject Bound(CK_OBJECT_HANDLE handle) {
    CryptokiObject object;
    object.Bind(m_session, handle);
    return object;
  }

  // A certificate as a search returns it, with empty journal and log.
  CryptokiObject Read() {
    CryptokiObject object = Bound(m_certificate);
    object.Retrieve();
    m_module->ForgetCalls();
    TakeLog();
    return object;
  }

  boost::shared_ptr<ScriptedModule> m_module;
  ScriptedToken& m_token;
  Session m_session;
  CK_OBJECT_HANDLE m_certificate = 0;
};

TEST_F(CryptokiObjectTest, DefaultIsEmpty) {
  CryptokiObject object;
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, object.GetHandle());
  EXPECT_EQ(CK_SESSION_HANDLE{0}, object.GetSessionHandle());
  EXPECT_TRUE(object.GetAttributes().empty());
  EXPECT_EQ("", object.GetLabel());
  EXPECT_FALSE(object.IsModifiable() || object.IsPrivate() || object.IsToken() || object.IsExtractable() ||
               object.IsSensitive());
}

TEST_F(CryptokiObjectTest, RetrieveReadsClassAndFlagsInOneCallAndIdAndLabelInTwo) {
  CryptokiObject object = Bound(m_certificate);
  object.Retrieve();
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_CLASS[number], CKA_MODIFIABLE[1], CKA_PRIVATE[1], CKA_TOKEN[1]})",
                   "C_GetAttributeValue(1, 1, {CKA_ID?, CKA_LABEL?})",
                   "C_GetAttributeValue(1, 1, {CKA_ID[2], CKA_LABEL[8]})"}),
            m_module->TakeCalls());
  EXPECT_EQ(CKO_CERTIFICATE, object.GetClass());
  EXPECT_EQ("My label", object.GetLabel());
  EXPECT_TRUE(object.IsModifiable());
  EXPECT_FALSE(object.IsPrivate());
  EXPECT_TRUE(object.IsToken());
  std::vector<CK_ATTRIBUTE_TYPE> types;
  for (const Attribute& attribute : object.GetAttributes()) types.push_back(attribute.GetType());
  EXPECT_EQ((std::vector<CK_ATTRIBUTE_TYPE>{CKA_CLASS, CKA_MODIFIABLE, CKA_PRIVATE, CKA_TOKEN, CKA_ID, CKA_LABEL}),
            types);
}

TEST_F(CryptokiObjectTest, ForADataObjectTheObjectIdIsRead) {
  CryptokiObject object = Bound(m_token.Add(DataObject({5}, "app")));
  object.Retrieve();
  EXPECT_EQ("C_GetAttributeValue(1, 2, {CKA_OBJECT_ID?, CKA_LABEL?})", m_module->TakeCalls()[1]);
}

TEST_F(CryptokiObjectTest, RetrieveAgainForgetsWhatWasReadBefore) {
  CryptokiObject object = Read();
  object.GetAttribute(CKA_VALUE);
  object.Retrieve();
  EXPECT_EQ(6U, object.GetAttributes().size());
}

TEST_F(CryptokiObjectTest, RetrieveThatFailsPartWayKeepsWhatWasRead) {
  CryptokiObject object = Bound(m_certificate);
  m_module->FailOnCall("C_GetAttributeValue", 2, CKR_DEVICE_ERROR);
  EXPECT_CRYPTOKI_ERROR(CKR_DEVICE_ERROR, object.Retrieve());
  EXPECT_EQ(4U, object.GetAttributes().size());
  EXPECT_EQ(CKO_CERTIFICATE, object.GetClass());
}

TEST_F(CryptokiObjectTest, OneUnreadableAttributeMakesTheObjectUnreadable) {
  m_token.objects[m_certificate].Without(CKA_MODIFIABLE);
  CryptokiObject object = Bound(m_certificate);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_TYPE_INVALID, object.Retrieve());
  EXPECT_TRUE(object.GetAttributes().empty());
}

TEST_F(CryptokiObjectTest, WithoutHandlesOrModuleNothingCanBeReadOrWritten) {
  CryptokiObject noHandle = Bound(0);
  CryptokiObject noModule;
  CryptokiObject noSession = Bound(m_certificate);
  noSession.SetSessionHandle(0);
  const List list = {MakeAttribute(CKA_LABEL, Text("x"))};
  for (CryptokiObject* object : {&noHandle, &noModule, &noSession}) {
    EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object->Retrieve());
    EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object->GetAttribute(CKA_VALUE));
    EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object->Update(list));
    EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object->Destroy());
  }
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(CryptokiObjectTest, GetAttributeAsksTheModuleOnlyTheFirstTime) {
  CryptokiObject object = Read();
  EXPECT_EQ(CK_ULONG{100}, object.GetAttribute(CKA_VALUE).GetLength());
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE?})", "C_GetAttributeValue(1, 1, {CKA_VALUE[100]})"}),
            m_module->TakeCalls());
  EXPECT_EQ(99, object.GetAttribute(CKA_VALUE).GetValue()[99]);
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(CryptokiObjectTest, GetAttributeOfACachedAttributeMakesNoCallEvenWithoutAHandle) {
  CryptokiObject object = Read();
  object.Destroy();
  m_module->ForgetCalls();
  EXPECT_EQ(CK_ULONG{2}, object.GetAttribute(CKA_ID).GetLength());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

TEST_F(CryptokiObjectTest, AnAttributeOfLengthZeroHasNoValue) {
  m_token.objects[m_certificate].With(CKA_VALUE, {});
  const Attribute attribute = Read().GetAttribute(CKA_VALUE);
  EXPECT_EQ(CKA_VALUE, attribute.GetType());
  EXPECT_EQ(CK_ULONG{0}, attribute.GetLength());
  EXPECT_EQ(nullptr, attribute.GetValue());
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE?})", "C_GetAttributeValue(1, 1, {CKA_VALUE[0]})"}),
            m_module->TakeCalls());
}

TEST_F(CryptokiObjectTest, AFailedReadOfAnAttributeCachesNothing) {
  CryptokiObject object = Read();
  m_module->FailOnCall("C_GetAttributeValue", 2, CKR_ATTRIBUTE_SENSITIVE);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_SENSITIVE, object.GetAttribute(CKA_VALUE));
  EXPECT_EQ(6U, object.GetAttributes().size());
  EXPECT_EQ(CK_ULONG{100}, object.GetAttribute(CKA_VALUE).GetLength());
}

TEST_F(CryptokiObjectTest, AnUnavailableLengthWithSuccessIsAnAttributeWithoutValue) {
  CryptokiObject object = Read();
  m_module->falsify = [](CK_ATTRIBUTE& item) { item.ulValueLen = CK_UNAVAILABLE_INFORMATION; };
  const Attribute attribute = object.GetAttribute(CKA_VALUE);
  EXPECT_EQ(nullptr, attribute.GetValue());
  EXPECT_EQ(CK_ULONG{0}, attribute.GetLength());
  EXPECT_EQ((Calls{"C_GetAttributeValue(1, 1, {CKA_VALUE?})", "C_GetAttributeValue(1, 1, {CKA_VALUE?})"}),
            m_module->TakeCalls());
}

TEST_F(CryptokiObjectTest, AnUnavailableLabelLeavesTheRestOfTheObjectReadable) {
  CryptokiObject object = Bound(m_certificate);
  m_module->falsify = [](CK_ATTRIBUTE& item) {
    if (item.type == CKA_LABEL) item.ulValueLen = CK_UNAVAILABLE_INFORMATION;
  };
  object.Retrieve();
  EXPECT_EQ("", object.GetLabel());
  EXPECT_EQ(CK_ULONG{2}, object.GetAttribute(CKA_ID).GetLength());
}

TEST_F(CryptokiObjectTest, ALongerSecondLengthIsLimitedToTheAllocatedMemory) {
  CryptokiObject object = Read();
  m_module->falsify = [](CK_ATTRIBUTE& item) {
    if (item.pValue != nullptr) item.ulValueLen = 5000;
  };
  EXPECT_EQ(CK_ULONG{100}, object.GetAttribute(CKA_VALUE).GetLength());
}

TEST_F(CryptokiObjectTest, AShorterSecondLengthIsUsed) {
  CryptokiObject object = Read();
  m_module->falsify = [](CK_ATTRIBUTE& item) {
    if (item.pValue != nullptr) item.ulValueLen = 7;
  };
  EXPECT_EQ(CK_ULONG{7}, object.GetAttribute(CKA_VALUE).GetLength());
}

TEST_F(CryptokiObjectTest, ATooLongLengthOfAFixedValueIsLimitedToItsField) {
  CryptokiObject object = Bound(m_certificate);
  m_module->falsify = [](CK_ATTRIBUTE& item) {
    if (item.type == CKA_MODIFIABLE) item.ulValueLen = 100000;
  };
  object.Retrieve();
  EXPECT_EQ(CK_ULONG{1}, object.GetAttribute(CKA_MODIFIABLE).GetLength());
}

TEST_F(CryptokiObjectTest, AValueOfMoreThanSixteenMebibytesIsAGeneralError) {
  CryptokiObject object = Read();
  m_module->falsify = [](CK_ATTRIBUTE& item) { item.ulValueLen = 16 * 1024 * 1024 + 1; };
  EXPECT_CRYPTOKI_ERROR(CKR_GENERAL_ERROR, object.GetAttribute(CKA_VALUE));
  m_module->falsify = [](CK_ATTRIBUTE& item) {
    if (item.pValue == nullptr) item.ulValueLen = 16 * 1024 * 1024;
  };
  EXPECT_EQ(CK_ULONG{100}, object.GetAttribute(CKA_VALUE).GetLength());
}

TEST_F(CryptokiObjectTest, GetIdAsksForTheLengthWithANullBuffer) {
  CryptokiObject object = Read();
  CK_ULONG length = 77;
  object.GetID(nullptr, &length);
  EXPECT_EQ(CK_ULONG{2}, length);
}

TEST_F(CryptokiObjectTest, GetIdCopiesAndLeavesTheLengthAlone) {
  CryptokiObject object = Read();
  BYTE id[10] = {};
  CK_ULONG length = sizeof(id);
  object.GetID(id, &length);
  EXPECT_EQ(CK_ULONG{10}, length);
  EXPECT_EQ(1, id[0]);
  EXPECT_EQ(2, id[1]);
}

TEST_F(CryptokiObjectTest, GetIdWithATooSmallBufferReturnsTheNeededLength) {
  CryptokiObject object = Read();
  BYTE id[1] = {0xEE};
  CK_ULONG length = 1;
  EXPECT_CRYPTOKI_ERROR(CKR_BUFFER_TOO_SMALL, object.GetID(id, &length));
  EXPECT_EQ(CK_ULONG{2}, length);
  EXPECT_EQ(0xEE, id[0]);
}

TEST_F(CryptokiObjectTest, GetIdFailsUnlessTheIdWasRead) {
  CryptokiObject object;
  CK_ULONG length = 0;
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object.GetID(nullptr, &length));
  object.SetAttributes({MakeAttribute(CKA_LABEL, Text("x"))});
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_TYPE_INVALID, object.GetID(nullptr, &length));
}

TEST_F(CryptokiObjectTest, DestroyForgetsTheHandle) {
  CryptokiObject object = Read();
  object.Destroy();
  EXPECT_EQ(Calls{"C_DestroyObject(1, 1)"}, m_module->TakeCalls());
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, object.GetHandle());
  EXPECT_EQ(6U, object.GetAttributes().size());
}

TEST_F(CryptokiObjectTest, ARefusedDestroyForgetsTheHandleToo) {
  CryptokiObject object = Read();
  m_module->FailNext("C_DestroyObject", CKR_TOKEN_WRITE_PROTECTED);
  EXPECT_CRYPTOKI_ERROR(CKR_TOKEN_WRITE_PROTECTED, object.Destroy());
  EXPECT_EQ(CK_OBJECT_HANDLE{0}, object.GetHandle());
}

TEST_F(CryptokiObjectTest, CreatePassesOneExtraEmptyAttributeToTheModule) {
  CryptokiObject object = Read();
  CryptokiObject created = object.Create({MakeAttribute(CKA_LABEL, Text("x"))});
  EXPECT_EQ(Calls{"C_CreateObject(1, {CKA_LABEL=78, CKA_CLASS=null of 0})"}, m_module->TakeCalls());
  EXPECT_EQ(CK_OBJECT_HANDLE{2}, created.GetHandle());
  EXPECT_EQ(CK_SESSION_HANDLE{1}, created.GetSessionHandle());
  EXPECT_EQ(nullptr, created.GetCryptoki());
}

TEST_F(CryptokiObjectTest, CreateWithoutAModuleIsABadArgument) {
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, CryptokiObject().Create({}));
}

TEST_F(CryptokiObjectTest, CreateThrowsTheModulesFailure) {
  CryptokiObject object = Read();
  m_module->FailNext("C_CreateObject", CKR_TEMPLATE_INCONSISTENT);
  EXPECT_CRYPTOKI_ERROR(CKR_TEMPLATE_INCONSISTENT, object.Create({}));
}

TEST_F(CryptokiObjectTest, UpdateChangesTheTokenAndTheCachedAttributes) {
  CryptokiObject object = Bound(m_certificate);
  object.Retrieve();
  m_module->ForgetCalls();
  TakeLog();
  object.Update({MakeAttribute(CKA_LABEL, Text("New"))});
  EXPECT_EQ(Calls{"C_SetAttributeValue(1, 1, {CKA_LABEL=4E6577})"}, m_module->TakeCalls());
  EXPECT_EQ("New", object.GetLabel());
  EXPECT_EQ(CK_ULONG{3}, object.GetAttribute(CKA_LABEL).GetLength());
  const std::string prefix = "CryptokiObject::Update - ";
  std::string expected = Line(prefix + "Entry") + Line(prefix + "SetAttributeValue") +
                         Line(prefix + "AfterSetAttributeValue") + Line(prefix + "for 1");
  for (int i = 0; i < 6; ++i) expected += Line(prefix + "for 2");
  expected += Line(prefix + "if") + Line(prefix + "before Switch") + Line(prefix + "Exit");
  EXPECT_EQ(expected, TakeLog());
}

TEST_F(CryptokiObjectTest, UpdateOfAnUncachedAttributeChangesTheTokenOnly) {
  CryptokiObject object = Read();
  object.Update({MakeAttribute(CKA_SUBJECT, {9})});
  EXPECT_EQ(Bytes{9}, m_token.objects[m_certificate].attributes[CKA_SUBJECT]);
  EXPECT_EQ(6U, object.GetAttributes().size());
}

TEST_F(CryptokiObjectTest, UpdateStoresAFlagAsTrueOnlyForTheByteOne) {
  CryptokiObject object = Read();
  object.GetAttributes().push_back(MakeAttribute(CKA_SENSITIVE, {0}));
  object.GetAttributes().push_back(MakeAttribute(CKA_EXTRACTABLE, {0}));
  object.Update({MakeAttribute(CKA_MODIFIABLE, {2}), MakeAttribute(CKA_TOKEN, {0}), MakeAttribute(CKA_PRIVATE, {1}),
                 MakeAttribute(CKA_SENSITIVE, {1}), MakeAttribute(CKA_EXTRACTABLE, {1})});
  EXPECT_FALSE(object.IsModifiable());
  EXPECT_FALSE(object.IsToken());
  EXPECT_TRUE(object.IsPrivate());
  EXPECT_TRUE(object.IsSensitive());
  EXPECT_TRUE(object.IsExtractable());
}

TEST_F(CryptokiObjectTest, UpdateOfAnUncachedFlagLeavesItsFieldAlone) {
  CryptokiObject object = Read();
  object.Update({MakeAttribute(CKA_SENSITIVE, {1})});
  EXPECT_FALSE(object.IsSensitive());
}

TEST_F(CryptokiObjectTest, UpdateReachesEveryCachedAttributeOfTheType) {
  CryptokiObject object = Read();
  object.SetAttributes({MakeAttribute(CKA_ID, {1}), MakeAttribute(CKA_LABEL, Text("a")), MakeAttribute(CKA_ID, {1})});
  object.Update({MakeAttribute(CKA_ID, {5, 6})});
  EXPECT_EQ(CK_ULONG{2}, object.GetAttributes().front().GetLength());
  EXPECT_EQ(CK_ULONG{2}, object.GetAttributes().back().GetLength());
  const std::string prefix = "CryptokiObject::Update - ";
  const std::string hit = Line(prefix + "for 2") + Line(prefix + "if") + Line(prefix + "before Switch");
  EXPECT_EQ(Line(prefix + "Entry") + Line(prefix + "SetAttributeValue") + Line(prefix + "AfterSetAttributeValue") +
                Line(prefix + "for 1") + hit + Line(prefix + "for 2") + hit + Line(prefix + "Exit"),
            TakeLog());
}

TEST_F(CryptokiObjectTest, TheFirstOfTwoCachedAttributesOfOneTypeIsFound) {
  CryptokiObject object;
  object.SetAttributes({MakeAttribute(CKA_ID, {1}), MakeAttribute(CKA_ID, {2, 2})});
  CK_ULONG length = 0;
  object.GetID(nullptr, &length);
  EXPECT_EQ(CK_ULONG{1}, length);
  EXPECT_EQ(1, object.GetAttribute(CKA_ID).GetValue()[0]);
}

TEST_F(CryptokiObjectTest, UpdateWithoutAHandleLogsOnlyItsFirstLine) {
  CryptokiObject object = Bound(0);
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object.Update({MakeAttribute(CKA_ID, {1})}));
  EXPECT_EQ(Line("CryptokiObject::Update - Entry"), TakeLog());
}

TEST_F(CryptokiObjectTest, UpdateWithAnEmptyListIsABadArgument) {
  CryptokiObject object = Read();
  EXPECT_CRYPTOKI_ERROR(CKR_ARGUMENTS_BAD, object.Update({}));
  EXPECT_EQ(Line("CryptokiObject::Update - Entry") + Line("CryptokiObject::Update - attrList.size() == 0"), TakeLog());
}

TEST_F(CryptokiObjectTest, ARefusedUpdateLeavesTheCachedAttributesUnchanged) {
  CryptokiObject object = Read();
  m_module->FailNext("C_SetAttributeValue", CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_CRYPTOKI_ERROR(CKR_ATTRIBUTE_READ_ONLY, object.Update({MakeAttribute(CKA_LABEL, Text("New"))}));
  EXPECT_EQ("My label", object.GetLabel());
  EXPECT_EQ(CK_ULONG{8}, object.GetAttribute(CKA_LABEL).GetLength());
  EXPECT_EQ(Line("CryptokiObject::Update - Entry") + Line("CryptokiObject::Update - SetAttributeValue") +
                Line("CryptokiObject::Update - AfterSetAttributeValue") + Line("CryptokiObject::Update - throw error"),
            TakeLog());
}

TEST_F(CryptokiObjectTest, ACopyHasItsOwnAttributesAndTheSameHandles) {
  CryptokiObject object = Read();
  CryptokiObject copy = object;
  CryptokiObject assigned;
  assigned = object;
  object.GetAttributes().back().GetValue()[0] = 'X';
  EXPECT_EQ('M', copy.GetAttributes().back().GetValue()[0]);
  EXPECT_EQ('M', assigned.GetAttributes().back().GetValue()[0]);
  EXPECT_EQ(object.GetHandle(), copy.GetHandle());
  EXPECT_EQ(object.GetHandle(), assigned.GetHandle());
  EXPECT_EQ(m_module, copy.GetCryptoki());
  EXPECT_EQ("My label", assigned.GetLabel());
}

TEST_F(CryptokiObjectTest, AssignmentRemovesTheBytesOfTheReplacedAttributes) {
  CryptokiObject target;
  target.SetAttributes({MakeAttribute(CKA_ID, {1, 2, 3})});
  CryptokiObject source;
  source.GetAttributes().emplace_back();
  target = source;
  EXPECT_EQ(nullptr, target.GetAttributes().front().GetValue());
}

TEST_F(CryptokiObjectTest, DestroyingTheWrapperKeepsTheTokenObject) {
  { const CryptokiObject object = Read(); }
  EXPECT_EQ(1U, m_token.objects.size());
  EXPECT_EQ(Calls{}, m_module->TakeCalls());
}

}  // namespace
