#include "Steps.h"

Key Pair(HCRYPTPROV context, DWORD keySpec) {
  HCRYPTKEY key = 0;
  Step(CryptGetUserKey(context, keySpec, &key), "CryptGetUserKey");
  return Key(key);
}

Key Generated(HCRYPTPROV context, ALG_ID algorithm, DWORD flags) {
  HCRYPTKEY key = 0;
  Step(CryptGenKey(context, algorithm, flags, &key), "CryptGenKey");
  return Key(key);
}

Hash HashOf(HCRYPTPROV context, ALG_ID algorithm, const std::string& data) {
  HCRYPTHASH hash = 0;
  Step(CryptCreateHash(context, algorithm, 0, 0, &hash), "CryptCreateHash");
  Step(CryptHashData(hash, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), 0),
       "CryptHashData");
  return Hash(hash);
}

std::string HashValue(HCRYPTHASH hash) {
  Bytes value(64);
  DWORD length = Length(value);
  const BOOL done = CryptGetHashParam(hash, HP_HASHVAL, value.data(), &length, 0);
  return Answer(done, Hex(value));
}

Bytes Exported(HCRYPTKEY key, DWORD type, HCRYPTKEY exchangeKey) {
  DWORD length = 0;
  Step(CryptExportKey(key, exchangeKey, type, 0, nullptr, &length), "CryptExportKey");
  Bytes blob(length);
  Step(CryptExportKey(key, exchangeKey, type, 0, blob.data(), &length), "CryptExportKey");
  return blob;
}

Bytes SimpleBlobFor(HCRYPTPROV context, ALG_ID algorithm, DWORD length) {
  const Verifying other(Side::Platform());
  const Key pair = Pair(context);
  const Key publicKey = Imported(other, Exported(pair, PUBLICKEYBLOB));
  Bytes plain = {PLAINTEXTKEYBLOB,
                 CUR_BLOB_VERSION,
                 0,
                 0,
                 static_cast<BYTE>(algorithm),
                 static_cast<BYTE>(algorithm >> 8U),
                 0,
                 0,
                 static_cast<BYTE>(length),
                 0,
                 0,
                 0};
  for (DWORD i = 0; i < length; ++i) plain.push_back(static_cast<BYTE>(i + 1));
  const Key session = Imported(other, plain);
  return Exported(session, SIMPLEBLOB, publicKey);
}

Key Imported(HCRYPTPROV context, const Bytes& blob, HCRYPTKEY pair, DWORD flags) {
  HCRYPTKEY key = 0;
  Step(CryptImportKey(context, blob.data(), Length(blob), pair, flags, &key), "CryptImportKey");
  return Key(key);
}

Key Session(HCRYPTPROV context, ALG_ID algorithm, DWORD length) {
  const Key pair = Pair(context);
  return Imported(context, SimpleBlobFor(context, algorithm, length), pair);
}

DWORD NumberOf(HCRYPTKEY key, DWORD parameter) {
  DWORD number = 0;
  DWORD length = sizeof number;
  Step(CryptGetKeyParam(key, parameter, reinterpret_cast<BYTE*>(&number), &length, 0), "CryptGetKeyParam");
  return number;
}

Bytes Signature(HCRYPTHASH hash, DWORD keySpec, DWORD flags) {
  Bytes signature(128);
  DWORD length = Length(signature);
  Step(CryptSignHashA(hash, keySpec, nullptr, flags, signature.data(), &length), "CryptSignHash");
  signature.resize(length);
  return signature;
}
