// The entries of SoftToken that begin to encrypt and decrypt, and OAEP. SoftHSM does all other ciphers.
#include <algorithm>
#include <utility>

#include "SoftToken.h"

namespace softtoken {

template <auto Entry>
CK_RV SoftToken::BeginCipher(CK_SESSION_HANDLE session, Work work, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  if (mechanism == nullptr || mechanism->mechanism != CKM_RSA_PKCS_OAEP) {
    return Begin<Entry>(session, work, mechanism, key);
  }
  Session& entered = Enter(session);
  const std::optional<KeyTraits> traits = RequireLoginToUse(entered, key);
  CheckMechanism(mechanism);
  const auto& parameters = *static_cast<const CK_RSA_PKCS_OAEP_PARAMS*>(mechanism->pParameter);
  auto oaep = std::make_unique<OaepOperation>(
      OaepOperation{OaepPadding(parameters, traits ? traits->modulusSize : 0), std::nullopt});
  CK_MECHANISM bare = {CKM_RSA_X_509, nullptr, 0};
  Check(Begin<Entry>(session, work, &bare, key));
  entered.operation->oaep = std::move(oaep);
  entered.operation->bareBlock = 0;  // the padding checks the length
  return CKR_OK;
}

CK_RV SoftToken::C_EncryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginCipher<&CK_FUNCTION_LIST::C_EncryptInit>(session, Work::Encrypt, mechanism, key);
}

CK_RV SoftToken::C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginCipher<&CK_FUNCTION_LIST::C_DecryptInit>(session, Work::Decrypt, mechanism, key);
}

CK_RV SoftToken::WorkOaep(Operation& operation, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                          CK_ULONG_PTR outLen) const {
  return operation.work == Work::Encrypt ? EncryptOaep(operation, in, inLen, out, outLen)
                                         : DecryptOaep(operation, in, inLen, out, outLen);
}

CK_RV SoftToken::EncryptOaep(const Operation& operation, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                             CK_ULONG_PTR encryptedLen) const {
  const OaepPadding& padding = operation.oaep->padding;
  const CK_ULONG room = std::exchange(*encryptedLen, padding.ModulusSize());
  if (encrypted == nullptr) return CKR_OK;
  if (room < padding.ModulusSize()) return CKR_BUFFER_TOO_SMALL;
  Secret block = padding.Pad(data, dataLen);
  return Functions().C_Encrypt(operation.lower, block.data(), block.size(), encrypted, encryptedLen);
}

CK_RV SoftToken::DecryptOaep(const Operation& operation, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                             CK_ULONG_PTR dataLen) const {
  OaepOperation& oaep = *operation.oaep;
  if (data == nullptr) {
    *dataLen = oaep.message ? oaep.message->size() : oaep.padding.MaxMessage();
    return CKR_OK;
  }
  if (!oaep.message) {
    Secret block(oaep.padding.ModulusSize());
    CK_ULONG blockLen = block.size();
    Check(Functions().C_Decrypt(operation.lower, encrypted, encryptedLen, block.data(), &blockLen));
    oaep.message = oaep.padding.Unpad(block);
    Require(oaep.message.has_value(), CKR_ENCRYPTED_DATA_INVALID);
  }
  const Secret& message = *oaep.message;
  const CK_ULONG room = std::exchange(*dataLen, message.size());
  if (room < message.size()) return CKR_BUFFER_TOO_SMALL;
  std::copy(message.begin(), message.end(), data);
  return CKR_OK;
}

}  // namespace softtoken
