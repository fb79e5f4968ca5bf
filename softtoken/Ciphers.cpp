// The entries of SoftToken that encrypt and decrypt. All but OAEP is SoftHSM's.
#include <algorithm>
#include <utility>

#include "SoftToken.h"

namespace softtoken {

// SoftHSM ends the whole process over data that is longer than the modulus. Whoever finds that here lets SoftHSM end
// the operation over a block that it can take, and forgets the result.
bool SoftToken::IsTooLong(const Session& session, CK_ULONG dataLen) {
  return session.bareBlock != 0 && dataLen > session.bareBlock;
}

template <auto Entry>
CK_RV SoftToken::BeginCipher(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key,
                             bool encrypts) {
  if (mechanism == nullptr || mechanism->mechanism != CKM_RSA_PKCS_OAEP) {
    return Begin<Entry>(session, mechanism, key);
  }
  Session& entered = Enter(session);
  const std::optional<KeyTraits> traits = RequireLoginToUse(entered, key);
  CheckMechanism(mechanism);
  const auto& parameters = *static_cast<const CK_RSA_PKCS_OAEP_PARAMS*>(mechanism->pParameter);
  const OaepPadding padding(parameters, traits ? traits->modulusSize : 0);
  CK_MECHANISM bare = {CKM_RSA_X_509, nullptr, 0};
  Check(Begin<Entry>(session, &bare, key));
  entered.oaep = std::make_unique<OaepOperation>(OaepOperation{encrypts, padding, std::nullopt});
  return CKR_OK;
}

CK_RV SoftToken::C_EncryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginCipher<&CK_FUNCTION_LIST::C_EncryptInit>(session, mechanism, key, true);
}

CK_RV SoftToken::C_DecryptInit(CK_SESSION_HANDLE session, CK_MECHANISM_PTR mechanism, CK_OBJECT_HANDLE key) {
  return BeginCipher<&CK_FUNCTION_LIST::C_DecryptInit>(session, mechanism, key, false);
}

CK_RV SoftToken::C_Encrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                           CK_ULONG_PTR encryptedLen) {
  Session& entered = Enter(session);
  const auto answer = [&](CK_RV result) { return Answer(entered, Question::Encrypt, encrypted, result); };
  if (entered.oaep && entered.oaep->encrypts) {
    return answer(EncryptOaep(entered, data, dataLen, encrypted, encryptedLen));
  }
  if (!IsTooLong(entered, dataLen)) {
    return answer(Functions().C_Encrypt(entered.lower, data, dataLen, encrypted, encryptedLen));
  }
  Secret block(entered.bareBlock);
  CK_ULONG blockLen = block.size();
  Functions().C_Encrypt(entered.lower, block.data(), block.size(), block.data(), &blockLen);
  return CKR_DATA_LEN_RANGE;
}

CK_RV SoftToken::C_Decrypt(CK_SESSION_HANDLE session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                           CK_ULONG_PTR dataLen) {
  Session& entered = Enter(session);
  const auto answer = [&](CK_RV result) { return Answer(entered, Question::Decrypt, data, result); };
  if (entered.oaep && !entered.oaep->encrypts) {
    return answer(DecryptOaep(entered, encrypted, encryptedLen, data, dataLen));
  }
  return answer(Functions().C_Decrypt(entered.lower, encrypted, encryptedLen, data, dataLen));
}

CK_RV SoftToken::Answer(Session& session, Question question, const CK_BYTE* out, CK_RV result) {
  const bool isLength = result == CKR_BUFFER_TOO_SMALL || (result == CKR_OK && out == nullptr);
  session.asked = isLength ? question : Question::None;
  return result;
}

// SoftHSM has no entry that ends an operation. It ends one over a byte that is no data for it, or over its result.
void SoftToken::EndQuestion(Session& session) const {
  constexpr std::size_t kAnyResult = 4096;
  CK_BYTE byte = 0;
  Secret result(kAnyResult);
  CK_ULONG length = result.size();
  switch (std::exchange(session.asked, Question::None)) {
    case Question::None:
      return;
    case Question::Sign:
      if (Functions().C_SignUpdate(session.lower, &byte, 1) == CKR_OK) {
        Functions().C_SignFinal(session.lower, result.data(), &length);
      }
      return;
    case Question::Encrypt:
      Functions().C_Encrypt(session.lower, &byte, 1, result.data(), &length);
      return;
    case Question::Decrypt:
      Functions().C_Decrypt(session.lower, &byte, 1, result.data(), &length);
      return;
  }
}

CK_RV SoftToken::EncryptOaep(Session& session, CK_BYTE_PTR data, CK_ULONG dataLen, CK_BYTE_PTR encrypted,
                             CK_ULONG_PTR encryptedLen) const {
  Require(encryptedLen != nullptr && (data != nullptr || dataLen == 0), CKR_ARGUMENTS_BAD);
  const OaepPadding& padding = session.oaep->padding;
  const CK_ULONG room = std::exchange(*encryptedLen, padding.ModulusSize());
  if (encrypted == nullptr) return CKR_OK;
  if (room < padding.ModulusSize()) return CKR_BUFFER_TOO_SMALL;
  const std::unique_ptr<OaepOperation> operation = std::move(session.oaep);
  const bool fits = dataLen <= padding.MaxMessage();
  Secret block = fits ? padding.Pad(data, dataLen) : Secret(padding.ModulusSize());
  const CK_RV result = Functions().C_Encrypt(session.lower, block.data(), block.size(), encrypted, encryptedLen);
  return fits ? result : CKR_DATA_LEN_RANGE;
}

CK_RV SoftToken::DecryptOaep(Session& session, CK_BYTE_PTR encrypted, CK_ULONG encryptedLen, CK_BYTE_PTR data,
                             CK_ULONG_PTR dataLen) const {
  Require(dataLen != nullptr, CKR_ARGUMENTS_BAD);
  OaepOperation& operation = *session.oaep;
  if (data == nullptr) {
    *dataLen = operation.message ? operation.message->size() : operation.padding.MaxMessage();
    return CKR_OK;
  }
  if (!operation.message) {
    Secret block(operation.padding.ModulusSize());
    CK_ULONG blockLen = block.size();
    const CK_RV result = Functions().C_Decrypt(session.lower, encrypted, encryptedLen, block.data(), &blockLen);
    if (result == CKR_OK) operation.message = operation.padding.Unpad(block);
    if (!operation.message) {
      session.oaep.reset();
      return result == CKR_OK ? CKR_ENCRYPTED_DATA_INVALID : result;
    }
  }
  const Secret& message = *operation.message;
  const CK_ULONG room = std::exchange(*dataLen, message.size());
  if (room < message.size()) return CKR_BUFFER_TOO_SMALL;
  std::copy(message.begin(), message.end(), data);
  session.oaep.reset();
  return CKR_OK;
}

}  // namespace softtoken
