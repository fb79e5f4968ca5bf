// The key pair of a container, and random numbers.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "Flow.h"

namespace {

// OpenSSL checks the signature.
void SignBy(ALG_ID algorithm) {
  const OpenContainer context;
  WriteExchange("signature", Reversed(context.Sign(algorithm, ReadExchange("message"))));
}

Bytes Changed(Bytes bytes) {
  bytes[0] ^= 1U;
  return bytes;
}

}  // namespace

// The first signature does not count, because it includes the search for the key.
void TimeSignature() {
  constexpr int kTimes = 10;
  const OpenContainer context;
  const Bytes message = ReadExchange("message");
  context.Sign(CALG_SHA_256, message);
  std::vector<double> times;
  for (int i = 0; i < kTimes; ++i) {
    const auto start = std::chrono::steady_clock::now();
    context.Sign(CALG_SHA_256, message);
    times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  std::printf("%.1f ms (%.1f to %.1f)\n", (times[kTimes / 2 - 1] + times[kTimes / 2]) / 2, times.front(), times.back());
}

void SignSha1() { SignBy(CALG_SHA1); }
void SignSha256() { SignBy(CALG_SHA_256); }
void SignSha512() { SignBy(CALG_SHA_512); }

// The 36 bytes are MD5 and SHA-1, without a DigestInfo before them.
void SignSsl3() {
  const OpenContainer context;
  WriteExchange("signature", Reversed(context.SignValue(CALG_SSL3_SHAMD5, ReadExchange("md5sha1"))));
}

void VerifyOwn() {
  const OpenContainer context;
  const Bytes message = ReadExchange("message");
  const Bytes signature = context.Sign(CALG_SHA_256, message);
  const HCRYPTKEY key = context.UserKey();
  Require(context.Verify(CALG_SHA_256, message, signature, key), "a good signature is refused");
  Require(!context.Verify(CALG_SHA_256, Changed(message), signature, key), "a signature of something else is accepted");
}

void VerifyOfOthers() {
  const OpenContainer context;
  const HCRYPTKEY key = context.Import(ReadExchange("other.blob"));
  const Bytes message = ReadExchange("message");
  const Bytes signature = Reversed(ReadExchange("other.signature"));
  Require(context.Verify(CALG_SHA_256, message, signature, key), "a good signature is refused");
  Require(!context.Verify(CALG_SHA_256, Changed(message), signature, key), "a signature of something else is accepted");
  context.Destroy(key);
}

void DecryptOfOthers() {
  const OpenContainer context;
  Bytes data = Reversed(ReadExchange("encrypted"));
  data.resize(context.Decrypt(context.UserKey(), true, data, static_cast<DWORD>(data.size())));
  Require(data == ReadExchange("secret"), "something else comes out");
}

// The provider's results have the highest byte first, and its arguments the lowest.
void EncryptOwn() {
  const OpenContainer context;
  const Bytes secret = ReadExchange("secret");
  const HCRYPTKEY key = context.UserKey();
  Bytes data = secret;
  data.resize(256);
  const DWORD length = context.Encrypt(key, data, static_cast<DWORD>(secret.size()), 256);
  Require(length == 256, "the length is wrong");
  data = Reversed(data);
  data.resize(context.Decrypt(key, true, data, length));
  Require(data == secret, "something else comes out");
}

void MakeRandom() {
  const OpenContainer context;
  const Bytes first = context.Random(32);
  Require(first != Bytes(32), "only zero bytes");
  Require(first != context.Random(32), "the same bytes twice");
}
