// SignatureEntryTest: the fixture of tests of signing and verifying hashes. The scripted module's results are readable
// (tests/support/module/ScriptedCrypto.cpp).
#pragma once

#include "common/FormatNumber.h"
#include "entry/CCSPContextList.h"
#include "fixtures/EntryTest.h"
#include "fixtures/KeyLines.h"
#include "module/KeyBlobBytes.h"

class SignatureEntryTest : public EntryTest {
 protected:
  SignatureEntryTest() {
    AddKeyPair(m_module.InsertToken("Reader A"), Text("one"), 128);
    m_provider = AcquireHandle("\\\\.\\Reader A\\one");
    const BYTE pin[] = {'1', '2', '3', '4'};
    g_contextList.FindContext(m_provider)->LoginWithPIN(pin, sizeof(pin));
    m_module.ForgetCalls();
    TakeLog();
    SetLastError(4711);
  }

  // A hash that holds `data`. The log lines so far are dropped.
  HCRYPTHASH HashOf(const std::string& data, ALG_ID algorithm = CALG_SHA1) {
    HCRYPTHASH hash = 0;
    EXPECT_TRUE(CPCreateHash(m_provider, algorithm, 0, 0, &hash));
    EXPECT_TRUE(
        CPHashData(m_provider, hash, reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size()), 0));
    TakeLog();
    SetLastError(4711);
    return hash;
  }

  // The signature in the module's byte order; empty after a failure.
  Bytes Sign(HCRYPTHASH hash, DWORD flags = 0) {
    Bytes signature(128);
    DWORD length = 128;
    if (CPSignHash(m_provider, hash, AT_KEYEXCHANGE, nullptr, flags, signature.data(), &length) == FALSE) return {};
    EXPECT_EQ(128U, length);
    return Reversed(signature);
  }

  BOOL Verify(HCRYPTHASH hash, const Bytes& signature, DWORD flags = 0) {
    const Bytes reversed = Reversed(signature);
    return CPVerifySignature(m_provider, hash, reversed.data(), static_cast<DWORD>(reversed.size()), SignatureKey(),
                             nullptr, flags);
  }

  HCRYPTKEY SignatureKey() { return g_contextList.FindContext(m_provider)->GetSignatureKeyHandle(); }

  // The module's signature of these bytes with its key of 128 bytes.
  static Bytes Signed(const Bytes& data) {
    Bytes block(128 - data.size() - 1, 'S');
    block.push_back(0);
    block.insert(block.end(), data.begin(), data.end());
    return block;
  }

  // What computing the SHA-1 digest of "abc" logs.
  static std::string DigestLines() {
    return "Data to be hashed: 61 62 63 \nHash result: 00 00 00 03 61 62 63 00 00 00 00 00 00 00 00 00 00 00 00 00 \n";
  }
  static std::string LoginLines() { return LoginBeginning() + Line("Log-in success"); }

  HCRYPTPROV m_provider = 0;
  const HCRYPTPROV m_unknown = HCRYPTPROV{1} << 40U;
};

// The scripted SHA-1 digest of "abc": the length, the message, zeros.
inline const Bytes kDigest = {0, 0, 0, 3, 'a', 'b', 'c', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
inline const Bytes kPrefix = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e, 0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};

inline Bytes WithPrefix() {
  Bytes data = kPrefix;
  data.insert(data.end(), kDigest.begin(), kDigest.end());
  return data;
}
