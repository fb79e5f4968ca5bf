// A Windows program that loads telvopkcs11.dll, makes a key and signs with it through the packed table.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "cryptoki/Pkcs11.h"

namespace {

int g_failures = 0;

void Expect(CK_ULONG expected, CK_ULONG actual, const char* what) {
  if (expected == actual) return;
  std::printf("%s: expected 0x%lX, not 0x%lX\n", what, expected, actual);
  ++g_failures;
}

#define EXPECT(expected, call) Expect(expected, call, #call)

CK_UTF8CHAR* Text(const char* text) { return reinterpret_cast<CK_UTF8CHAR*>(const_cast<char*>(text)); }

ExtendedFunctionList* Load(HMODULE module) {
  void* const symbol = reinterpret_cast<void*>(GetProcAddress(module, "C_GetFunctionList"));
  CK_C_GetFunctionList getFunctionList = nullptr;
  std::memcpy(&getFunctionList, &symbol, sizeof getFunctionList);
  CK_FUNCTION_LIST* list = nullptr;
  if (getFunctionList == nullptr || getFunctionList(&list) != CKR_OK) return nullptr;
  return reinterpret_cast<ExtendedFunctionList*>(list);
}

void CheckTable(const ExtendedFunctionList& table) {
  EXPECT(2, table.standard.version.major);
  void* entries[73] = {};
  std::memcpy(entries, reinterpret_cast<const char*>(&table) + 2, sizeof entries);
  for (CK_ULONG i = 0; i < 73; ++i) {
    const bool unused = i >= 68 && i < 72;
    Expect(unused ? 1 : 0, entries[i] == nullptr ? 1 : 0, "entry is null");
  }
}

CK_SESSION_HANDLE CheckSlot(ExtendedFunctionList& table) {
  CK_FUNCTION_LIST& f = table.standard;
  CK_SLOT_ID slots[4] = {};
  CK_ULONG count = 4;
  EXPECT(CKR_OK, f.C_GetSlotList(CK_TRUE, slots, &count));
  EXPECT(1, count);
  CK_SLOT_INFO slot = {};
  EXPECT(CKR_OK, f.C_GetSlotInfo(slots[0], &slot));
  EXPECT(0, static_cast<CK_ULONG>(std::memcmp(slot.slotDescription, "TELVO Reader A 00 00  ", 22)));
  CK_TOKEN_INFO token = {};
  EXPECT(CKR_OK, f.C_GetTokenInfo(slots[0], &token));
  EXPECT(0, static_cast<CK_ULONG>(std::memcmp(token.serialNumber, "A000000000000001", 16)));
  EXPECT(16, token.ulMaxPinLen);
  CK_SESSION_HANDLE session = 0;
  EXPECT(CKR_OK, f.C_OpenSession(slots[0], CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session));
  return session;
}

void CheckLogin(ExtendedFunctionList& table, CK_SESSION_HANDLE session) {
  CK_FUNCTION_LIST& f = table.standard;
  EXPECT(2, table.C_LoginExtended(session, CKU_USER, Text("000000"), 6));
  CK_SESSION_INFO info = {};
  EXPECT(CKR_OK, f.C_GetSessionInfo(session, &info));
  EXPECT(2, info.ulDeviceError & 15);
  EXPECT(CKR_OK, table.C_LoginExtended(session, CKU_USER, Text("123456"), 6));
  EXPECT(CKR_USER_ALREADY_LOGGED_IN, table.C_LoginExtended(session, CKU_USER, Text("123456"), 6));
}

void CheckSignature(CK_FUNCTION_LIST& f, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE publicKey,
                    CK_OBJECT_HANDLE privateKey) {
  CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
  CK_BYTE message[] = "what is signed", signature[256] = {};
  CK_ULONG length = sizeof signature;
  EXPECT(CKR_OK, f.C_SignInit(session, &rsa, privateKey));
  EXPECT(CKR_OK, f.C_Sign(session, message, sizeof message, signature, &length));
  EXPECT(256, length);
  EXPECT(CKR_OK, f.C_VerifyInit(session, &rsa, publicKey));
  EXPECT(CKR_OK, f.C_Verify(session, message, sizeof message, signature, length));
  message[0] ^= 1;
  EXPECT(CKR_OK, f.C_VerifyInit(session, &rsa, publicKey));
  EXPECT(CKR_SIGNATURE_INVALID, f.C_Verify(session, message, sizeof message, signature, length));
  EXPECT(CKR_OK, f.C_Logout(session));
  EXPECT(CKR_USER_NOT_LOGGED_IN, f.C_SignInit(session, &rsa, privateKey));
}

void CheckKeyPair(CK_FUNCTION_LIST& f, CK_SESSION_HANDLE session) {
  CK_BBOOL yes = CK_TRUE;
  CK_ULONG bits = 2048;
  CK_BYTE exponent[] = {1, 0, 1};
  char name[] = "container";
  CK_ATTRIBUTE publicTemplate[] = {{CKA_TOKEN, &yes, 1},
                                   {CKA_VERIFY, &yes, 1},
                                   {CKA_LOCAL, &yes, 1},
                                   {CKA_MODULUS_BITS, &bits, sizeof bits},
                                   {CKA_PUBLIC_EXPONENT, exponent, sizeof exponent},
                                   {CKA_ID, name, 9}};
  CK_ATTRIBUTE privateTemplate[] = {{CKA_TOKEN, &yes, 1},
                                    {CKA_PRIVATE, &yes, 1},
                                    {CKA_SIGN, &yes, 1},
                                    {CKA_MODULUS_BITS, &bits, sizeof bits},
                                    {CKA_ID, name, 9}};
  CK_MECHANISM generate = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
  CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
  EXPECT(CKR_OK,
         f.C_GenerateKeyPair(session, &generate, publicTemplate, 6, privateTemplate, 5, &publicKey, &privateKey));

  CK_ULONG objectClass = 0, read = 0;
  CK_BYTE modulus[256] = {};
  CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                               {CKA_MODULUS_BITS, &read, sizeof read},
                               {CKA_MODULUS, modulus, sizeof modulus}};
  EXPECT(CKR_OK, f.C_GetAttributeValue(session, privateKey, attributes, 3));
  EXPECT(CKO_PRIVATE_KEY, objectClass);
  EXPECT(2048, read);
  EXPECT(4, attributes[1].ulValueLen);
  EXPECT(256, attributes[2].ulValueLen);

  CK_OBJECT_HANDLE found[4] = {};
  CK_ULONG count = 0;
  EXPECT(CKR_OK, f.C_FindObjectsInit(session, nullptr, 0));
  EXPECT(CKR_OK, f.C_FindObjects(session, found, 4, &count));
  EXPECT(CKR_OK, f.C_FindObjectsFinal(session));
  EXPECT(2, count);
  CheckSignature(f, session, publicKey, privateKey);
}

void CheckSingleDes(CK_FUNCTION_LIST& f, CK_SESSION_HANDLE session) {
  CK_ULONG objectClass = CKO_SECRET_KEY, type = CKK_DES;
  CK_BBOOL yes = CK_TRUE;
  CK_BYTE value[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  CK_ATTRIBUTE attributes[] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                               {CKA_KEY_TYPE, &type, sizeof type},
                               {CKA_ENCRYPT, &yes, 1},
                               {CKA_VALUE, value, sizeof value}};
  CK_OBJECT_HANDLE key = 0;
  EXPECT(CKR_OK, f.C_CreateObject(session, attributes, 4, &key));
  CK_MECHANISM ecb = {CKM_DES_ECB, nullptr, 0};
  CK_BYTE data[] = {'N', 'o', 'w', ' ', 'i', 's', ' ', 't'}, encrypted[8] = {};
  CK_ULONG length = sizeof encrypted;
  EXPECT(CKR_OK, f.C_EncryptInit(session, &ecb, key));
  EXPECT(CKR_OK, f.C_Encrypt(session, data, sizeof data, encrypted, &length));
  const CK_BYTE expected[] = {0x3F, 0xA4, 0x0E, 0x8A, 0x98, 0x4D, 0x48, 0x15};
  EXPECT(0, static_cast<CK_ULONG>(std::memcmp(expected, encrypted, sizeof expected)));
  EXPECT(CKR_OK, f.C_DestroyObject(session, key));
}

}  // namespace

int main() {
  for (int round = 0; round < 2; ++round) {
    const HMODULE module = LoadLibraryA("telvopkcs11.dll");
    ExtendedFunctionList* const table = module == nullptr ? nullptr : Load(module);
    if (table == nullptr) {
      std::printf("telvopkcs11.dll cannot be loaded, error %lu\n", GetLastError());
      return 1;
    }
    CheckTable(*table);
    EXPECT(CKR_OK, table->standard.C_Initialize(nullptr));
    const CK_SESSION_HANDLE session = CheckSlot(*table);
    CheckSingleDes(table->standard, session);
    if (round == 0) {
      CheckLogin(*table, session);
      CheckKeyPair(table->standard, session);
    }
    // Unloads the module while it is running, as a program may when it ends a part of itself. The second round finds
    // everything unchanged.
    FreeLibrary(module);
    EXPECT(0, GetModuleHandleA("telvopkcs11.dll") == nullptr ? 0 : 1);
  }
  std::printf("%s\n", g_failures == 0 ? "all well" : "failed");
  return g_failures == 0 ? 0 : 1;
}
