// CryptGetUserKey, CryptDestroyKey.
#include "Row.h"

namespace {

Call UserKey(DWORD keySpec) {
  return [keySpec](const Side& side) {
    const Prepared context(side);
    Key key;
    return Answer(CryptGetUserKey(context, keySpec, key.Out()));
  };
}
std::string UserKeyOfNewContainer(const Side& side) {
  const Fresh container(side);
  Key key;
  return Answer(CryptGetUserKey(container, AT_KEYEXCHANGE, key.Out()));
}

// In a container that has only the other pair.
std::string UserKeyOfTheOtherSpec(const Side& side) {
  const Fresh container(side);
  const Key pair = Generated(container, AT_KEYEXCHANGE, 1024U << 16U);
  Key key;
  return Answer(CryptGetUserKey(container, AT_SIGNATURE, key.Out()));
}
std::string UserKeyForVerification(const Side& side) {
  const Verifying context(side);
  Key key;
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, key.Out()));
}
std::string UserKeyLater(const Side& side) {
  const std::string name = side.Container(side.NewName());
  Bytes made;
  {
    const Context context(side, name.c_str(), CRYPT_NEWKEYSET);
    side.GivePin(context);
    made = Exported(Generated(context, AT_KEYEXCHANGE, 1024U << 16U), PUBLICKEYBLOB);
  }
  Context context(side, name.c_str(), 0);
  side.GivePin(context);
  const Bytes found = Exported(Pair(context), PUBLICKEYBLOB);
  HCRYPTPROV none = 0;
  CryptAcquireContextA(&none, name.c_str(), side.Provider(), side.Type(), CRYPT_DELETEKEYSET);
  return found == made ? "TRUE, the same key" : "TRUE, another key";
}
std::string UserKeyNowhere(const Side& side) {
  const Prepared context(side);
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, nullptr));
}
std::string DestroySession(const Side& side) {
  const Prepared context(side);
  HCRYPTKEY key = 0;
  Step(CryptGenKey(context, CALG_3DES, CRYPT_EXPORTABLE, &key), "CryptGenKey");
  return Answer(CryptDestroyKey(key));
}
std::string DestroyPair(const Side& side) {
  const Prepared context(side);
  HCRYPTKEY key = 0;
  Step(CryptGetUserKey(context, AT_KEYEXCHANGE, &key), "CryptGetUserKey");
  Step(CryptDestroyKey(key), "CryptDestroyKey");
  Key again;
  return Answer(CryptGetUserKey(context, AT_KEYEXCHANGE, again.Out())) + " (the pair stays)";
}
std::string DestroyImported(const Side& side) {
  const Prepared context(side);
  const Bytes blob = Exported(Pair(context), PUBLICKEYBLOB);
  HCRYPTKEY key = 0;
  Step(CryptImportKey(context, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key), "CryptImportKey");
  return Answer(CryptDestroyKey(key));
}
std::string DestroyNoKey(const Side& /*side*/) { return Answer(CryptDestroyKey(0)); }

}  // namespace

const Rows kUserKeyRows = {
    {"key.user.exchange", "CryptGetUserKey AT_KEYEXCHANGE", "TRUE", UserKey(AT_KEYEXCHANGE)},
    {"key.user.signature", "CryptGetUserKey AT_SIGNATURE", "TRUE", UserKey(AT_SIGNATURE)},
    {"key.user.0", "CryptGetUserKey of key spec 0", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(0)},
    {"key.user.3", "CryptGetUserKey of key spec 3", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(3)},
    {"key.user.4", "CryptGetUserKey of key spec 4", "FALSE NTE_NO_KEY or FALSE NTE_BAD_KEY", UserKey(4)},
    {"key.user.new", "CryptGetUserKey in a container without keys", "FALSE NTE_NO_KEY", UserKeyOfNewContainer},
    {"key.user.other", "CryptGetUserKey AT_SIGNATURE in a container with only the pair of AT_KEYEXCHANGE",
     "FALSE NTE_NO_KEY", UserKeyOfTheOtherSpec},
    {"key.user.verification", "CryptGetUserKey in a verification context", "FALSE NTE_NO_KEY", UserKeyForVerification},
    {"key.user.later", "CryptGetUserKey of a pair that an earlier context made", "TRUE, the same key", UserKeyLater},
    {"key.user.nowhere", "CryptGetUserKey, a null pointer for the handle", "FALSE ERROR_INVALID_PARAMETER",
     UserKeyNowhere},
    {"key.destroy.session", "CryptDestroyKey of a session key", "TRUE", DestroySession},
    {"key.destroy.pair", "CryptDestroyKey of a pair, then CryptGetUserKey", "TRUE (the pair stays)", DestroyPair},
    {"key.destroy.imported", "CryptDestroyKey of an imported public key", "TRUE", DestroyImported},
    {"key.destroy.null", "CryptDestroyKey of 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     DestroyNoKey},
};
