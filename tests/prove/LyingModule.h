// LyingModule: a scripted module that can return wrong numbers: lengths, counts and handles.
#pragma once

#include <functional>
#include <string>

#include "module/ScriptedModule.h"

class LyingModule : public ScriptedModule {
 public:
  // Gets each number that a successful call returns, and may change it. `place` names the number: "C_OpenSession
  // session", "C_GetAttributeValue CKA_ID length". It ends in "asked" when only the length was asked for.
  std::function<void(const std::string& place, CK_ULONG& number)> lie;

  CK_RV C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) override;
  CK_RV C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) override;
  CK_RV C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify,
                      CK_SESSION_HANDLE_PTR session) override;
  CK_RV C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) override;
  CK_RV C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                       CK_OBJECT_HANDLE_PTR object) override;
  CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_ATTRIBUTE_PTR publicAttributes,
                          CK_ULONG publicCount, CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                          CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) override;
  CK_RV C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                            CK_ULONG count) override;
  CK_RV C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                      CK_ULONG_PTR count) override;
  CK_RV C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                 CK_ULONG_PTR digestLen) override;
  CK_RV C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                  CK_ULONG_PTR encryptedLen) override;
  CK_RV C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                  CK_ULONG_PTR dataLen) override;
  CK_RV C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
               CK_ULONG_PTR signatureLen) override;

 private:
  CK_RV Tell(CK_RV result, const char* place, CK_ULONG* number);
  CK_RV TellLength(CK_RV result, const char* entry, const void* out, CK_ULONG* length);
};
