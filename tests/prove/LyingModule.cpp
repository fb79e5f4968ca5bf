#include "LyingModule.h"

#include <cstring>

#include "module/Journal.h"

CK_RV LyingModule::Tell(CK_RV result, const char* place, CK_ULONG* number) {
  if (result == CKR_OK && lie) lie(place, *number);
  return result;
}

CK_RV LyingModule::TellLength(CK_RV result, const char* entry, const void* out, CK_ULONG* length) {
  return Tell(result, (std::string(entry) + " length" + (out == nullptr ? " asked" : "")).c_str(), length);
}

CK_RV LyingModule::C_GetSlotList(CK_BBOOL tokenPresent, CK_SLOT_ID_PTR slotList, CK_ULONG_PTR count) {
  const CK_RV result = ScriptedModule::C_GetSlotList(tokenPresent, slotList, count);
  if (slotList != nullptr) {
    const CK_ULONG slots = result == CKR_OK ? *count : 0;
    for (CK_ULONG i = 0; i < slots; ++i) Tell(result, "C_GetSlotList slot", &slotList[i]);
  }
  return Tell(result, slotList == nullptr ? "C_GetSlotList count asked" : "C_GetSlotList count", count);
}

CK_RV LyingModule::C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR info) {
  const CK_RV result = ScriptedModule::C_GetTokenInfo(slot, info);
  Tell(result, "C_GetTokenInfo ulMinPinLen", &info->ulMinPinLen);
  Tell(result, "C_GetTokenInfo ulMaxSessionCount", &info->ulMaxSessionCount);
  return Tell(result, "C_GetTokenInfo ulMaxPinLen", &info->ulMaxPinLen);
}

CK_RV LyingModule::C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, CK_VOID_PTR application, CK_NOTIFY notify,
                                 CK_SESSION_HANDLE_PTR session) {
  return Tell(ScriptedModule::C_OpenSession(slot, flags, application, notify, session), "C_OpenSession session",
              session);
}

CK_RV LyingModule::C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO_PTR info) {
  const CK_RV result = ScriptedModule::C_GetSessionInfo(session, info);
  return Tell(result, "C_GetSessionInfo ulDeviceError", &info->ulDeviceError);
}

CK_RV LyingModule::C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE_PTR attributes, CK_ULONG count,
                                  CK_OBJECT_HANDLE_PTR object) {
  return Tell(ScriptedModule::C_CreateObject(session, attributes, count, object), "C_CreateObject object", object);
}

CK_RV LyingModule::C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism,
                                     CK_ATTRIBUTE_PTR publicAttributes, CK_ULONG publicCount,
                                     CK_ATTRIBUTE_PTR privateAttributes, CK_ULONG privateCount,
                                     CK_OBJECT_HANDLE_PTR publicKey, CK_OBJECT_HANDLE_PTR privateKey) {
  const CK_RV result = ScriptedModule::C_GenerateKeyPair(session, mechanism, publicAttributes, publicCount,
                                                         privateAttributes, privateCount, publicKey, privateKey);
  Tell(result, "C_GenerateKeyPair public key", publicKey);
  return Tell(result, "C_GenerateKeyPair private key", privateKey);
}

CK_RV LyingModule::C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR attributes,
                                       CK_ULONG count) {
  const CK_RV result = ScriptedModule::C_GetAttributeValue(session, object, attributes, count);
  for (CK_ULONG i = 0; i < count && result == CKR_OK; ++i) {
    CK_ATTRIBUTE& item = attributes[i];
    const std::string place = "C_GetAttributeValue " + AttributeName(item.type);
    if (item.pValue != nullptr && IsNumberAttribute(item.type) && item.ulValueLen == sizeof(CK_ULONG)) {
      CK_ULONG number = 0;
      std::memcpy(&number, item.pValue, sizeof(number));
      Tell(result, (place + " value").c_str(), &number);
      std::memcpy(item.pValue, &number, sizeof(number));
    }
    TellLength(result, place.c_str(), item.pValue, &item.ulValueLen);
  }
  return result;
}

CK_RV LyingModule::C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE_PTR objects, CK_ULONG maxCount,
                                 CK_ULONG_PTR count) {
  const CK_RV result = ScriptedModule::C_FindObjects(session, objects, maxCount, count);
  if (result == CKR_OK && *count > 0) Tell(result, "C_FindObjects object", objects);
  return Tell(result, "C_FindObjects count", count);
}

CK_RV LyingModule::C_Digest(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR digest,
                            CK_ULONG_PTR digestLen) {
  const CK_RV result = ScriptedModule::C_Digest(session, data, dataLen, digest, digestLen);
  return TellLength(result, "C_Digest", digest, digestLen);
}

CK_RV LyingModule::C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                             CK_ULONG_PTR encryptedLen) {
  const CK_RV result = ScriptedModule::C_Encrypt(session, data, dataLen, encrypted, encryptedLen);
  return TellLength(result, "C_Encrypt", encrypted, encryptedLen);
}

CK_RV LyingModule::C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                             CK_ULONG_PTR dataLen) {
  const CK_RV result = ScriptedModule::C_Decrypt(session, encrypted, encryptedLen, data, dataLen);
  return TellLength(result, "C_Decrypt", data, dataLen);
}

CK_RV LyingModule::C_Sign(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR signature,
                          CK_ULONG_PTR signatureLen) {
  const CK_RV result = ScriptedModule::C_Sign(session, data, dataLen, signature, signatureLen);
  return TellLength(result, "C_Sign", signature, signatureLen);
}
