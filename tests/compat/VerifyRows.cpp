// CryptVerifySignature.
#include "Row.h"

namespace {

std::string Verify(HCRYPTHASH hash, const Bytes& signature, HCRYPTKEY key, DWORD flags = 0) {
  return Answer(CryptVerifySignatureA(hash, signature.data(), Length(signature), key, nullptr, flags));
}

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

// The platform's provider verifies the signature.
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

// The platform's provider makes the signature.
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
    {"verify.flags", "CryptVerifySignature with the undefined flag 0x80", "FALSE NTE_BAD_FLAGS",
     VerifyOwn(Flagged(0, 0x80))},
    {"verify.other_data", "CryptVerifySignature of other data", "FALSE NTE_BAD_SIGNATURE", VerifyOwn(OfOtherData())},
    {"verify.corrupted", "CryptVerifySignature, one bit changed", "FALSE NTE_BAD_SIGNATURE",
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
