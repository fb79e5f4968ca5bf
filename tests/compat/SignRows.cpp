// CryptSignHash, CryptVerifySignature.
#include "Row.h"

namespace {

DWORD Length(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }

std::string Sign(HCRYPTHASH hash, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0, DWORD room = 128) {
  Bytes signature(1024);
  DWORD length = room;
  const BOOL done = CryptSignHashA(hash, keySpec, nullptr, flags, signature.data(), &length);
  if (done == FALSE && GetLastError() == ERROR_MORE_DATA) return "FALSE ERROR_MORE_DATA, length " + Number(length);
  return Answer(done, InBytes(length));
}
Bytes Signature(HCRYPTHASH hash, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0) {
  Bytes signature(128);
  DWORD length = Length(signature);
  Step(CryptSignHashA(hash, keySpec, nullptr, flags, signature.data(), &length), "CryptSignHash");
  signature.resize(length);
  return signature;
}
std::string Verify(HCRYPTHASH hash, const Bytes& signature, HCRYPTKEY key, DWORD flags = 0) {
  return Answer(CryptVerifySignatureA(hash, signature.data(), Length(signature), key, nullptr, flags));
}

Call SignOf(ALG_ID algorithm, DWORD keySpec = AT_KEYEXCHANGE, DWORD flags = 0, DWORD room = 128) {
  return [=](const Side& side) {
    const Prepared context(side);
    return Sign(HashOf(context, algorithm), keySpec, flags, room);
  };
}
Call SignSet(ALG_ID algorithm, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    Hash hash;
    Step(CryptCreateHash(context, algorithm, 0, 0, hash.Out()), "CryptCreateHash");
    Step(CryptSetHashParam(hash, HP_HASHVAL, Bytes(64, 0x5A).data(), 0), "CryptSetHashParam");
    return Sign(hash, AT_KEYEXCHANGE, flags);
  };
}
std::string SignSize(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  DWORD length = 0;
  const BOOL done = CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length);
  return Answer(done, InBytes(length));
}
std::string DataAfterTheSize(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  DWORD length = 0;
  Step(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &length), "CryptSignHash");
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
std::string DataAfterTheSignature(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  Signature(hash);
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}
std::string SignNothing(const Side& side) {
  const Prepared context(side);
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  return Sign(hash);
}
std::string SignWithDescription(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  Bytes signature(128);
  DWORD length = Length(signature);
  const BOOL done = CryptSignHashA(hash, AT_KEYEXCHANGE, "description", 0, signature.data(), &length);
  return Answer(done, InBytes(length));
}
std::string SignTwice(const Side& side) {
  const Prepared context(side);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Signature(hash) == Signature(hash) ? "TRUE, the same" : "TRUE, another";
}
std::string SignWithoutKeys(const Side& side) {
  const Fresh container(side);
  return Sign(HashOf(container, CALG_SHA1));
}
std::string SignForVerification(const Side& side) {
  const Verifying context(side);
  return Sign(HashOf(context, CALG_SHA1));
}
std::string SignSilently(const Side& side) {
  const Prepared context(side, CRYPT_SILENT);
  return Sign(HashOf(context, CALG_SHA1));
}
std::string SignNoHash(const Side& /*side*/) { return Sign(0); }

// What is changed between the signature and its verification.
struct Change {
  DWORD signFlags = 0;
  DWORD verifyFlags = 0;
  const char* data = "abc";
  BYTE corruption = 0;
  DWORD length = 128;
};
Call VerifyOwn(Change change, DWORD keySpec = AT_KEYEXCHANGE, ALG_ID algorithm = CALG_SHA1) {
  return [=](const Side& side) {
    const Prepared context(side);
    Bytes signature = Signature(HashOf(context, algorithm), keySpec, change.signFlags);
    signature[7] ^= change.corruption;
    signature.resize(change.length);
    const Key pair = Pair(context, keySpec);
    return Verify(HashOf(context, algorithm, change.data), signature, pair, change.verifyFlags);
  };
}
Change Flagged(DWORD sign, DWORD verify) {
  Change change;
  change.signFlags = sign;
  change.verifyFlags = verify;
  return change;
}
Change Corrupted(BYTE corruption, DWORD length) {
  Change change;
  change.corruption = corruption;
  change.length = length;
  return change;
}
Change OfOtherData() {
  Change change;
  change.data = "abd";
  return change;
}
std::string VerifyWithOtherHash(const Side& side) {
  const Prepared context(side);
  const Bytes signature = Signature(HashOf(context, CALG_SHA1));
  const Key pair = Pair(context);
  return Verify(HashOf(context, CALG_SHA_256), signature, pair);
}
std::string VerifyWithImported(const Side& side) {
  const Prepared context(side);
  const Bytes signature = Signature(HashOf(context, CALG_SHA1));
  const Key pair = Pair(context);
  const Key imported = Imported(context, Exported(pair, PUBLICKEYBLOB));
  return Verify(HashOf(context, CALG_SHA1), signature, imported);
}
// The signature goes to the platform's provider.
Call VerifyElsewhere(ALG_ID algorithm, DWORD flags = 0) {
  return [=](const Side& side) {
    const Prepared context(side);
    const Bytes signature = Signature(HashOf(context, algorithm), AT_KEYEXCHANGE, flags);
    const Key pair = Pair(context);
    const Verifying other(Side::Platform());
    const Key imported = Imported(other, Exported(pair, PUBLICKEYBLOB));
    return Verify(HashOf(other, algorithm), signature, imported, flags);
  };
}
// The signature comes from the platform's provider.
Call VerifyFromElsewhere(ALG_ID algorithm) {
  return [=](const Side& side) {
    const Prepared other(Side::Platform());
    const Bytes signature = Signature(HashOf(other, algorithm));
    const Key pair = Pair(other);
    const Prepared context(side);
    const Key imported = Imported(context, Exported(pair, PUBLICKEYBLOB));
    return Verify(HashOf(context, algorithm), signature, imported);
  };
}
std::string VerifyForVerification(const Side& side) {
  const Prepared other(Side::Platform());
  const Bytes signature = Signature(HashOf(other, CALG_SHA1));
  const Key pair = Pair(other);
  const Verifying context(side);
  const Key imported = Imported(context, Exported(pair, PUBLICKEYBLOB));
  return Verify(HashOf(context, CALG_SHA1), signature, imported);
}
std::string VerifyWithDescription(const Side& side) {
  const Prepared context(side);
  const Bytes signature = Signature(HashOf(context, CALG_SHA1));
  const Key pair = Pair(context);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Answer(CryptVerifySignatureA(hash, signature.data(), Length(signature), pair, "description", 0));
}
std::string VerifyNull(const Side& side) {
  const Prepared context(side);
  const Key pair = Pair(context);
  const Hash hash = HashOf(context, CALG_SHA1);
  return Answer(CryptVerifySignatureA(hash, nullptr, 128, pair, nullptr, 0));
}
std::string VerifyWithoutKey(const Side& side) {
  const Prepared context(side);
  return Verify(HashOf(context, CALG_SHA1), Bytes(128), 0);
}
std::string VerifyWithSessionKey(const Side& side) {
  const Prepared context(side);
  const Key key = Generated(context, CALG_3DES, CRYPT_EXPORTABLE);
  return Verify(HashOf(context, CALG_SHA1), Bytes(128), key);
}
std::string VerifyASetValue(const Side& side) {
  const Prepared context(side);
  const Hash signedHash = HashOf(context, CALG_SHA1);
  const Bytes signature = Signature(signedHash);
  Bytes value(20);
  DWORD length = Length(value);
  Step(CryptGetHashParam(signedHash, HP_HASHVAL, value.data(), &length, 0), "CryptGetHashParam");
  Hash hash;
  Step(CryptCreateHash(context, CALG_SHA1, 0, 0, hash.Out()), "CryptCreateHash");
  Step(CryptSetHashParam(hash, HP_HASHVAL, value.data(), 0), "CryptSetHashParam");
  const Key pair = Pair(context);
  return Verify(hash, signature, pair);
}
std::string DataAfterVerification(const Side& side) {
  const Prepared context(side);
  const Bytes signature = Signature(HashOf(context, CALG_SHA1));
  const Key pair = Pair(context);
  const Hash hash = HashOf(context, CALG_SHA1);
  Verify(hash, signature, pair);
  return Answer(CryptHashData(hash, reinterpret_cast<const BYTE*>("d"), 1, 0));
}

}  // namespace

const Rows kSignRows = {
    {"sign.md5", "CryptSignHash of MD5", "TRUE, 128 bytes", SignOf(CALG_MD5)},
    {"sign.sha1", "CryptSignHash of SHA-1", "TRUE, 128 bytes", SignOf(CALG_SHA1)},
    {"sign.sha256", "CryptSignHash of SHA-256", "TRUE, 128 bytes", SignOf(CALG_SHA_256)},
    {"sign.sha384", "CryptSignHash of SHA-384", "TRUE, 128 bytes", SignOf(0x800D)},
    {"sign.sha512", "CryptSignHash of SHA-512", "TRUE, 128 bytes", SignOf(CALG_SHA_512)},
    {"sign.ssl3", "CryptSignHash of a set value of CALG_SSL3_SHAMD5", "TRUE, 128 bytes", SignSet(CALG_SSL3_SHAMD5)},
    {"sign.set", "CryptSignHash of a set value of SHA-1", "TRUE, 128 bytes", SignSet(CALG_SHA1)},
    {"sign.signature_key", "CryptSignHash with AT_SIGNATURE", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_SIGNATURE)},
    {"sign.keyspec_0", "CryptSignHash with key spec 0", "FALSE NTE_NO_KEY or FALSE NTE_BAD_ALGID",
     SignOf(CALG_SHA1, 0)},
    {"sign.keyspec_3", "CryptSignHash with key spec 3", "FALSE NTE_NO_KEY or FALSE NTE_BAD_ALGID",
     SignOf(CALG_SHA1, 3)},
    {"sign.size", "CryptSignHash, null buffer", "TRUE, 128 bytes", SignSize},
    {"sign.small", "CryptSignHash, 127 bytes", "FALSE ERROR_MORE_DATA, length 128",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0, 127)},
    {"sign.larger", "CryptSignHash, 1024 bytes", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0, 1024)},
    {"sign.no_oid", "CryptSignHash with CRYPT_NOHASHOID", "TRUE, 128 bytes",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, CRYPT_NOHASHOID)},
    {"sign.flag_2", "CryptSignHash with CRYPT_TYPE2_FORMAT", "FALSE NTE_BAD_FLAGS; it is no longer supported",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 2)},
    {"sign.x931", "CryptSignHash with CRYPT_X931_FORMAT", "TRUE, 128 bytes", SignOf(CALG_SHA1, AT_KEYEXCHANGE, 4)},
    {"sign.flag_80", "CryptSignHash with the flag 0x80, which is none", "FALSE NTE_BAD_FLAGS",
     SignOf(CALG_SHA1, AT_KEYEXCHANGE, 0x80)},
    {"sign.description", "CryptSignHash with a description",
     "TRUE or FALSE ERROR_INVALID_PARAMETER; it is no longer used and must be null", SignWithDescription},
    {"sign.nothing", "CryptSignHash without data", "TRUE, 128 bytes", SignNothing},
    {"sign.twice", "CryptSignHash twice", "TRUE, the same", SignTwice},
    {"sign.data_after", "CryptHashData after CryptSignHash", "FALSE NTE_BAD_HASH_STATE", DataAfterTheSignature},
    {"sign.data_after_size", "CryptHashData after the question for the size",
     "TRUE or FALSE NTE_BAD_HASH_STATE; it is not said", DataAfterTheSize},
    {"sign.without_keys", "CryptSignHash in a container without keys", "FALSE NTE_NO_KEY", SignWithoutKeys},
    {"sign.verification", "CryptSignHash in a verification context", "FALSE NTE_NO_KEY", SignForVerification},
    {"sign.silent", "CryptSignHash with CRYPT_SILENT, the PIN given", "TRUE, 128 bytes", SignSilently},
    {"sign.no_hash", "CryptSignHash of no hash", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     SignNoHash},
};

const Rows kVerifyRows = {
    {"verify.own", "CryptVerifySignature with the pair", "TRUE", VerifyOwn({})},
    {"verify.own_signature", "CryptVerifySignature with the pair of AT_SIGNATURE", "TRUE", VerifyOwn({}, AT_SIGNATURE)},
    {"verify.own_sha256", "CryptVerifySignature of SHA-256", "TRUE", VerifyOwn({}, AT_KEYEXCHANGE, CALG_SHA_256)},
    {"verify.own_sha512", "CryptVerifySignature of SHA-512", "TRUE", VerifyOwn({}, AT_KEYEXCHANGE, CALG_SHA_512)},
    {"verify.own_md5", "CryptVerifySignature of MD5", "TRUE", VerifyOwn({}, AT_KEYEXCHANGE, CALG_MD5)},
    {"verify.no_oid", "signed and verified with CRYPT_NOHASHOID", "TRUE",
     VerifyOwn(Flagged(CRYPT_NOHASHOID, CRYPT_NOHASHOID))},
    {"verify.no_oid_signed", "signed with CRYPT_NOHASHOID, verified without", "FALSE NTE_BAD_SIGNATURE",
     VerifyOwn(Flagged(CRYPT_NOHASHOID, 0))},
    {"verify.no_oid_verified", "signed without CRYPT_NOHASHOID, verified with it", "FALSE NTE_BAD_SIGNATURE",
     VerifyOwn(Flagged(0, CRYPT_NOHASHOID))},
    {"verify.flags", "CryptVerifySignature with the flag 0x80, which is none", "FALSE NTE_BAD_FLAGS",
     VerifyOwn(Flagged(0, 0x80))},
    {"verify.other_data", "CryptVerifySignature of other data", "FALSE NTE_BAD_SIGNATURE", VerifyOwn(OfOtherData())},
    {"verify.corrupted", "CryptVerifySignature, a bit is another one", "FALSE NTE_BAD_SIGNATURE",
     VerifyOwn(Corrupted(1, 128))},
    {"verify.short", "CryptVerifySignature, 127 of 128 bytes", "FALSE NTE_BAD_SIGNATURE", VerifyOwn(Corrupted(0, 127))},
    {"verify.long", "CryptVerifySignature, 129 bytes", "FALSE NTE_BAD_SIGNATURE", VerifyOwn(Corrupted(0, 129))},
    {"verify.empty", "CryptVerifySignature, no bytes", "FALSE NTE_BAD_SIGNATURE or FALSE ERROR_INVALID_PARAMETER",
     VerifyOwn(Corrupted(0, 0))},
    {"verify.other_hash", "CryptVerifySignature with another algorithm", "FALSE NTE_BAD_SIGNATURE",
     VerifyWithOtherHash},
    {"verify.imported", "CryptVerifySignature with the public key, exported and imported", "TRUE", VerifyWithImported},
    {"verify.elsewhere_md5", "signed here, MD5, verified by the platform's provider", "TRUE",
     VerifyElsewhere(CALG_MD5)},
    {"verify.elsewhere_sha1", "signed here, SHA-1, verified by the platform's provider", "TRUE",
     VerifyElsewhere(CALG_SHA1)},
    {"verify.elsewhere_sha256", "signed here, SHA-256, verified by the platform's provider", "TRUE",
     VerifyElsewhere(CALG_SHA_256)},
    {"verify.elsewhere_sha512", "signed here, SHA-512, verified by the platform's provider", "TRUE",
     VerifyElsewhere(CALG_SHA_512)},
    {"verify.elsewhere_no_oid", "signed here with CRYPT_NOHASHOID, verified by the platform's provider", "TRUE",
     VerifyElsewhere(CALG_SHA1, CRYPT_NOHASHOID)},
    {"verify.from_md5", "signed by the platform's provider, MD5, verified here", "TRUE", VerifyFromElsewhere(CALG_MD5)},
    {"verify.from_sha1", "signed by the platform's provider, SHA-1, verified here", "TRUE",
     VerifyFromElsewhere(CALG_SHA1)},
    {"verify.from_sha256", "signed by the platform's provider, SHA-256, verified here", "TRUE",
     VerifyFromElsewhere(CALG_SHA_256)},
    {"verify.from_sha384", "signed by the platform's provider, SHA-384, verified here", "TRUE",
     VerifyFromElsewhere(0x800D)},
    {"verify.from_sha512", "signed by the platform's provider, SHA-512, verified here", "TRUE",
     VerifyFromElsewhere(CALG_SHA_512)},
    {"verify.verification", "CryptVerifySignature in a verification context", "TRUE", VerifyForVerification},
    {"verify.description", "CryptVerifySignature with a description",
     "TRUE or FALSE ERROR_INVALID_PARAMETER; it is no longer used and must be null", VerifyWithDescription},
    {"verify.null", "CryptVerifySignature of a null pointer", "FALSE ERROR_INVALID_PARAMETER", VerifyNull},
    {"verify.no_key", "CryptVerifySignature with key 0", "FALSE ERROR_INVALID_HANDLE or FALSE ERROR_INVALID_PARAMETER",
     VerifyWithoutKey},
    {"verify.session_key", "CryptVerifySignature with a session key", "FALSE NTE_BAD_KEY", VerifyWithSessionKey},
    {"verify.set", "CryptVerifySignature of a value that was set", "TRUE", VerifyASetValue},
    {"verify.data_after", "CryptHashData after CryptVerifySignature", "FALSE NTE_BAD_HASH_STATE",
     DataAfterVerification},
};
