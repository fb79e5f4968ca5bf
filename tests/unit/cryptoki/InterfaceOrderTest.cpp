// The virtual functions of each class: their order and their number. A pointer to a virtual function shows its place:
// it is one plus the offset in the table (Itanium C++ ABI, 2.3).
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <type_traits>
#include <vector>

#include "common/CCSPContextError.h"
#include "context/TELVOCSPContext.h"
#include "context/UnplugThread.h"
#include "cryptoki/Cryptoki.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/CryptokiFunctions.h"
#include "cryptoki/CryptokiObject.h"
#include "cryptoki/CryptokiObjects.h"
#include "cryptoki/Data.h"
#include "cryptoki/Session.h"
#include "dialogs/CVirtualNumBtn.h"
#include "entry/CCSPContextList.h"
#include "log/CCSPLog.h"
#include "objects/C3DESKey.h"
#include "objects/C3DES_112Key.h"
#include "objects/CAES_128Key.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "objects/CDESKey.h"
#include "objects/CImportedPublicKeyList.h"
#include "objects/SHA1MD5Hash.h"
#include "pin/CTELVOPINCache.h"
#include "pin/PINCacheManager.h"
#include "rating/CMyPasswordChecker.h"

namespace {

template <typename Member>
std::uintptr_t PlaceOf(Member member) {
  std::uintptr_t pointer = 0;
  std::memcpy(&pointer, &member, sizeof(pointer));
  return (pointer - 1) / sizeof(void*);
}

using Places = std::vector<std::uintptr_t>;

// The first place after a class's own: where the first virtual function of a derived class goes.
template <typename Class>
struct WithOneMore : Class {
  virtual void Last() {}
};

template <typename Class>
std::uintptr_t PlacesOf() {
  return PlaceOf(&WithOneMore<Class>::Last);
}

// A destructor takes two places.
Places Counted(std::size_t count, std::size_t destructor) {
  Places places;
  for (std::uintptr_t i = 0; places.size() < count; ++i) {
    if (i != destructor && i != destructor + 1) places.push_back(i);
  }
  return places;
}

constexpr std::size_t kNoDestructor = 1000;

TEST(InterfaceOrderTest, OfTheModule) {
  Places places = {PlaceOf(&CryptokiInterface::GetModuleName), PlaceOf(&CryptokiInterface::Unload),
                   PlaceOf(&CryptokiInterface::Load), PlaceOf(&CryptokiInterface::Reinitialize)};
#define ENTRY(name, params, args) places.push_back(PlaceOf(&CryptokiInterface::name));
#include "cryptoki/CryptokiEntries.inc"
  places.push_back(PlaceOf(&CryptokiInterface::C_LoginExtended));
  EXPECT_EQ(73U, places.size());
  EXPECT_EQ(Counted(73, 1), places);
}

TEST(InterfaceOrderTest, OfTheCommonBase) {
  EXPECT_EQ(Counted(4, kNoDestructor),
            (Places{PlaceOf(&ICryptokiSettable::GetCryptoki), PlaceOf(&ICryptokiSettable::GetSessionHandle),
                    PlaceOf(&ICryptokiSettable::SetSessionHandle), PlaceOf(&ICryptokiSettable::SetCryptoki)}));
}

TEST(InterfaceOrderTest, OfCryptoki) {
  EXPECT_EQ((Places{6, 7, 8, 9}), (Places{PlaceOf(&Cryptoki::Initialize), PlaceOf(&Cryptoki::GetInfo),
                                          PlaceOf(&Cryptoki::GetActiveSlots), PlaceOf(&Cryptoki::GetAllSlots)}));
}

TEST(InterfaceOrderTest, OfTheContextError) {
  EXPECT_EQ((Places{2, 3}), (Places{PlaceOf(&CCSPContextError::GetCode), PlaceOf(&CCSPContextError::GetMessage)}));
}

TEST(InterfaceOrderTest, OfAnObject) {
  EXPECT_EQ((Places{6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21}),
            (Places{PlaceOf(&CryptokiObject::Create), PlaceOf(&CryptokiObject::Destroy),
                    PlaceOf(&CryptokiObject::Update), PlaceOf(&CryptokiObject::GetAttributes),
                    PlaceOf(&CryptokiObject::GetAttribute), PlaceOf(&CryptokiObject::GetClass),
                    PlaceOf(&CryptokiObject::GetLabel), PlaceOf(&CryptokiObject::IsModifiable),
                    PlaceOf(&CryptokiObject::IsPrivate), PlaceOf(&CryptokiObject::IsToken),
                    PlaceOf(&CryptokiObject::IsExtractable), PlaceOf(&CryptokiObject::IsSensitive),
                    PlaceOf(&CryptokiObject::GetID), PlaceOf(&CryptokiObject::GetHandle),
                    PlaceOf(&CryptokiObject::SetAttributes), PlaceOf(&CryptokiObject::Retrieve)}));
}

using List = std::list<Attribute>;
using M = Mechanism;

TEST(InterfaceOrderTest, OfASession) {
  using S = Session;
  const Places places = {
      PlaceOf(&S::GetSessionInfo),
      PlaceOf(&S::GetFlags),
      PlaceOf(&S::GetState),
      PlaceOf(&S::IsValid),
      PlaceOf(&S::IsLoggedIn),
      PlaceOf(&S::Login),
      PlaceOf(&S::Logout),
      PlaceOf(&S::SetPIN),
      PlaceOf(&S::InitPIN),
      PlaceOf(&S::FindObjects),
      PlaceOf(&S::FindAllObjects),
      PlaceOf(static_cast<CryptokiObject (S::*)(CryptokiObject&)>(&S::CreateObject)),
      PlaceOf(static_cast<CryptokiObject (S::*)(const List&)>(&S::CreateObject)),
      PlaceOf(&S::GenerateKey),
      PlaceOf(&S::DigestInit),
      PlaceOf(&S::Digest),
      PlaceOf(&S::DigestUpdate),
      PlaceOf(&S::DigestFinal),
      PlaceOf(static_cast<void (S::*)(const M&, const PublicKey&)>(&S::EncryptInit)),
      PlaceOf(static_cast<void (S::*)(const M&, const SecretKey&)>(&S::EncryptInit)),
      PlaceOf(&S::Encrypt),
      PlaceOf(&S::EncryptUpdate),
      PlaceOf(&S::EncryptFinal),
      PlaceOf(static_cast<void (S::*)(const M&, const PrivateKey&)>(&S::DecryptInit)),
      PlaceOf(static_cast<void (S::*)(const M&, const SecretKey&)>(&S::DecryptInit)),
      PlaceOf(&S::Decrypt),
      PlaceOf(&S::DecryptUpdate),
      PlaceOf(&S::DecryptFinal),
      PlaceOf(&S::SignInit),
      PlaceOf(&S::Sign),
      PlaceOf(&S::SignUpdate),
      PlaceOf(&S::SignFinal),
      PlaceOf(&S::SignRecoverInit),
      PlaceOf(&S::SignRecover),
      PlaceOf(static_cast<void (S::*)(const M&, const CryptokiObject&)>(&S::VerifyInit)),
      PlaceOf(static_cast<void (S::*)(const M&, const PublicKey&)>(&S::VerifyInit)),
      PlaceOf(&S::Verify),
      PlaceOf(&S::VerifyUpdate),
      PlaceOf(&S::VerifyFinal),
      PlaceOf(&S::VerifyRecoverInit),
      PlaceOf(&S::VerifyRecover),
      PlaceOf(
          static_cast<void (S::*)(const M&, const PublicKey&, const CryptokiObject&, BYTE*, CK_ULONG*)>(&S::WrapKey)),
      PlaceOf(
          static_cast<void (S::*)(const M&, const SecretKey&, const CryptokiObject&, BYTE*, CK_ULONG*)>(&S::WrapKey)),
      PlaceOf(static_cast<SecretKey (S::*)(const M&, const PrivateKey&, BYTE*, CK_ULONG, const List&)>(&S::UnwrapKey)),
      PlaceOf(static_cast<SecretKey (S::*)(const M&, const SecretKey&, BYTE*, CK_ULONG, const List&)>(&S::UnwrapKey)),
      PlaceOf(&S::GenerateKeyPair),
      PlaceOf(&S::SeedRandom),
      PlaceOf(&S::GenerateRandom),
  };
  Places expected;
  for (std::uintptr_t place = 6; expected.size() < 48; ++place) expected.push_back(place);
  EXPECT_EQ(expected, places);
}

TEST(InterfaceOrderTest, OfAContext) {
  using C = CCSPContext;
  using Hash = boost::shared_ptr<CCSPHash>;
  const Places places = {
      PlaceOf(&C::GetHandle),
      PlaceOf(&C::SetHandle),
      PlaceOf(&C::GetReaderName),
      PlaceOf(&C::GetContainerName),
      PlaceOf(&C::GetTokenName),
      PlaceOf(&C::GetFlags),
      PlaceOf(&C::GetProviderName),
      PlaceOf(&C::GetSession),
      PlaceOf(&C::SetContainer),
      PlaceOf(&C::IsLoggedIn),
      PlaceOf(static_cast<void (C::*)()>(&C::Login)),
      PlaceOf(&C::LoginWithPIN),
      PlaceOf(&C::Logout),
      PlaceOf(&C::CloseSession),
      PlaceOf(&C::AddHash),
      PlaceOf(static_cast<void (C::*)(DWORD)>(&C::RemoveHash)),
      PlaceOf(static_cast<void (C::*)(const Hash&)>(&C::RemoveHash)),
      PlaceOf(&C::GetHash),
      PlaceOf(&C::AddSecretKey),
      PlaceOf(static_cast<void (C::*)(DWORD)>(&C::RemoveSecretKey)),
      PlaceOf(static_cast<void (C::*)(const CCSPSecretKey*)>(&C::RemoveSecretKey)),
      PlaceOf(&C::Reserved),
      PlaceOf(&C::GetSecretKey),
      PlaceOf(&C::GetCertIssuer),
      PlaceOf(&C::GetCertSerialNumber),
      PlaceOf(&C::GetCertSubject),
      PlaceOf(&C::GetCertLabel),
      PlaceOf(&C::WriteCertificate),
      PlaceOf(&C::GenerateRandom),
      PlaceOf(&C::GenerateKeyPair),
      PlaceOf(&C::Sign),
      PlaceOf(&C::Verify),
      PlaceOf(&C::Encrypt),
      PlaceOf(&C::Decrypt),
      PlaceOf(&C::ImportKey),
      PlaceOf(&C::GetImportedPublicKey),
      PlaceOf(&C::DeriveKey),
      PlaceOf(&C::GetTokenInfo),
      PlaceOf(&C::Initialize),
      PlaceOf(&C::DeleteContainer),
      PlaceOf(&C::PropagateCertificate),
      PlaceOf(&C::AddCertificatesToStore),
      PlaceOf(&C::HasCertificate),
      PlaceOf(&C::HasPublicKey),
      PlaceOf(&C::HasPrivateKey),
      PlaceOf(&C::AssignKeyHandles),
      PlaceOf(&C::GetSignatureKeyHandle),
      PlaceOf(&C::GetExchangeKeyHandle),
      PlaceOf(&C::GetDefaultCertificate),
      PlaceOf(&C::GetKeyBits),
      PlaceOf(&C::ExportSessionKey),
      PlaceOf(&C::ExportPublicKey),
  };
  EXPECT_EQ(Counted(52, 0), places);
}

TEST(InterfaceOrderTest, OfTheListOfContexts) {
  EXPECT_EQ((Places{2, 3, 4}), (Places{PlaceOf(&CCSPContextList::AddContext), PlaceOf(&CCSPContextList::RemoveContext),
                                       PlaceOf(&CCSPContextList::FindContext)}));
}

TEST(InterfaceOrderTest, OfAHash) {
  using H = CCSPHash;
  const Places places = {
      PlaceOf(static_cast<H& (H::*)(const H&)>(&H::operator=)),
      PlaceOf(&H::AddData),
      PlaceOf(&H::SetData),
      PlaceOf(&H::GetData),
      PlaceOf(&H::SetOID),
      PlaceOf(&H::GetHash),
      PlaceOf(&H::SetHash),
      PlaceOf(&H::GetName),
      PlaceOf(&H::GetPreSignData),
      PlaceOf(&H::IsFinished),
      PlaceOf(&H::SetFinished),
      PlaceOf(&H::Finish),
      PlaceOf(&H::Compute),
      PlaceOf(&H::GetHashID),
      PlaceOf(&H::GetAlgID),
      PlaceOf(&H::GetHashLength),
      PlaceOf(static_cast<SHA1MD5Hash& (SHA1MD5Hash::*)(const SHA1MD5Hash&)>(&SHA1MD5Hash::operator=)),
  };
  EXPECT_EQ(Counted(17, 1), places);
}

TEST(InterfaceOrderTest, OfASessionKey) {
  using K = CCSPSecretKey;
  const Places places = {
      PlaceOf(&K::GetAlgID),     PlaceOf(&K::SetAlgID),     PlaceOf(&K::GetBlockLength), PlaceOf(&K::SetBlockLength),
      PlaceOf(&K::GetKeyLength), PlaceOf(&K::SetKeyLength), PlaceOf(&K::GetMode),        PlaceOf(&K::SetMode),
      PlaceOf(&K::AddSalt),      PlaceOf(&K::GetSalt),      PlaceOf(&K::SetIV),          PlaceOf(&K::GetIV),
      PlaceOf(&K::GetModeBits),  PlaceOf(&K::SetModeBits),  PlaceOf(&K::GetPermissions), PlaceOf(&K::SetPermissions),
      PlaceOf(&K::GetPadding),   PlaceOf(&K::SetPadding),   PlaceOf(&K::GetKeyID),       PlaceOf(&K::GetObjectHandle),
      PlaceOf(&K::Encrypt),      PlaceOf(&K::Decrypt),      PlaceOf(&K::GetKeyValue),    PlaceOf(&K::DestroyObject),
  };
  EXPECT_EQ(Counted(24, 0), places);
}

TEST(InterfaceOrderTest, OfImportedKeys) {
  EXPECT_EQ((Places{2, 3, 4, 5}),
            (Places{PlaceOf(&ImportedPublicKey::GetPublicKey), PlaceOf(&ImportedPublicKey::SetPublicKey),
                    PlaceOf(&ImportedPublicKey::GetKeyID), PlaceOf(&ImportedPublicKey::SetKeyID)}));
  EXPECT_EQ((Places{2, 3, 4}),
            (Places{PlaceOf(&CImportedPublicKeyList::AddKey), PlaceOf(&CImportedPublicKeyList::RemoveKey),
                    PlaceOf(&CImportedPublicKeyList::GetKey)}));
}

TEST(InterfaceOrderTest, OfAPINCache) {
  EXPECT_EQ((Places{2, 3, 4, 5}),
            (Places{PlaceOf(&CTELVOPINCache::IsPINSet), PlaceOf(&CTELVOPINCache::SetPINCache),
                    PlaceOf(&CTELVOPINCache::GetPINCache), PlaceOf(&CTELVOPINCache::ClearPINCache)}));
}

TEST(InterfaceOrderTest, OfADigitKey) {
  EXPECT_EQ((Places{2, 3}), (Places{PlaceOf(&CVirtualNumBtn::SetLabels), PlaceOf(&CVirtualNumBtn::SetCaption)}));
}

TEST(InterfaceOrderTest, OfAPasswordChecker) { EXPECT_EQ(2U, PlaceOf(&CPasswordChecker::GetStrength)); }

// These numbers of places show that no class has further virtual functions. A destructor takes two places.

TEST(InterfaceEndTest, OfTheClient) {
  EXPECT_EQ(75U, PlacesOf<CryptokiInterface>());
  EXPECT_EQ(75U, PlacesOf<CryptokiFunctions>());
  EXPECT_EQ(4U, PlacesOf<ICryptokiSettable>());
  EXPECT_EQ(10U, PlacesOf<Cryptoki>());
  EXPECT_EQ(10U, PlacesOf<TELVOCryptoki>());
  EXPECT_EQ(54U, PlacesOf<Session>());
  EXPECT_EQ(2U, PlacesOf<Attribute>());
  EXPECT_EQ(2U, PlacesOf<CryptokiObjects>());
}

TEST(InterfaceEndTest, IsTheSameForAllTokenObjects) {
  EXPECT_EQ(22U, PlacesOf<CryptokiObject>());
  EXPECT_EQ(22U, PlacesOf<Data>());
  EXPECT_EQ(22U, PlacesOf<SecretKey>());
  EXPECT_EQ(22U, PlacesOf<PublicKey>());
  EXPECT_EQ(22U, PlacesOf<PrivateKey>());
  EXPECT_EQ(22U, PlacesOf<Certificate>());
}

// The two places after the interface's own are for the list of contexts.
TEST(InterfaceEndTest, OfAContextIsTwoPlacesAfterItsOperations) {
  EXPECT_EQ((Places{54, 55}), (Places{PlaceOf(&CCSPContext::Copy), PlaceOf(&CCSPContext::IsOnlyOwnerOfSession)}));
  EXPECT_EQ(56U, PlacesOf<CCSPContext>());
  EXPECT_EQ(56U, PlacesOf<TELVOCSPContext>());
}

TEST(InterfaceEndTest, OfProcessWideClasses) {
  EXPECT_EQ(4U, PlacesOf<CCSPContextError>());
  EXPECT_EQ(5U, PlacesOf<CCSPContextList>());
  EXPECT_EQ(2U, PlacesOf<CCSPHashFactory>());
  EXPECT_EQ(2U, PlacesOf<CCSPSecretKeyFactory>());
  EXPECT_EQ(2U, PlacesOf<UnplugThread>());
  EXPECT_EQ(2U, PlacesOf<PINCacheManager>());
}

TEST(InterfaceEndTest, OfHashesAndKeys) {
  EXPECT_EQ(18U, PlacesOf<CCSPHash>());
  EXPECT_EQ(18U, PlacesOf<TELVOCSPHash>());
  EXPECT_EQ(19U, PlacesOf<SHA1MD5Hash>());
  EXPECT_EQ(26U, PlacesOf<CCSPSecretKey>());
  EXPECT_EQ(26U, PlacesOf<CDESKey>());
  EXPECT_EQ(26U, PlacesOf<C3DES_112Key>());
  EXPECT_EQ(26U, PlacesOf<C3DESKey>());
  EXPECT_EQ(26U, PlacesOf<CAES_128Key>());
  EXPECT_EQ(6U, PlacesOf<ImportedPublicKey>());
  EXPECT_EQ(5U, PlacesOf<CImportedPublicKeyList>());
}

TEST(InterfaceEndTest, OfPINClasses) {
  EXPECT_EQ(6U, PlacesOf<CTELVOPINCache>());
  EXPECT_EQ(4U, PlacesOf<CVirtualNumBtn>());
  EXPECT_EQ(3U, PlacesOf<CPasswordChecker>());
  EXPECT_EQ(3U, PlacesOf<CMyPasswordChecker>());
}

TEST(InterfaceEndTest, LogsAndErrorsOfTheModuleHaveNoVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic<CCSPLog>::value);
  EXPECT_FALSE(std::is_polymorphic<CryptokiError>::value);
}

}  // namespace
