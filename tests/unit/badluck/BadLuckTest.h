// BadLuckTest: the fixture for tests of failures around the provider: a full disk, a locked registry, a dead service,
// an exchanged card. They call the CP... functions as an application does. docs/troubles.md lists the failures.
#pragma once

#include <string>

#include "common/FormatNumber.h"
#include "fixtures/EntryTest.h"
#include "pin/PINCacheManager.h"

class BadLuckTest : public EntryTest {
 protected:
  // A card with the container "one" and the PIN "1234", in that reader. The reference stays valid.
  ScriptedToken& InsertCard(const std::string& reader, const std::string& serial = "0123456789ABCDEF") {
    ScriptedToken& card = m_module.InsertToken(reader);
    card.serial = serial;
    AddContainer(card, Text("one"));
    return card;
  }

  // The result of a call: "done", or the last error in hexadecimal.

  std::string Acquire(const std::string& container, DWORD flags, HCRYPTPROV& provider) {
    return Answer(CPAcquireContext(&provider, container.c_str(), flags, nullptr));
  }
  std::string GivePIN(HCRYPTPROV provider, const char* pin) {
    return Answer(CPSetProvParam(provider, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0));
  }
  // Signs "abc", which the token digests first. The signature stays in m_signature.
  std::string Sign(HCRYPTPROV provider) {
    const Bytes data = Text("abc");
    return Sign(provider, [&](HCRYPTHASH hash) {
      return CPHashData(provider, hash, data.data(), static_cast<DWORD>(data.size()), 0);
    });
  }
  // Signs a digest that the application has computed. The login is then the first call to the module.
  std::string SignDigest(HCRYPTPROV provider) {
    const Bytes digest = Counting(20, 1);
    return Sign(provider,
                [&](HCRYPTHASH hash) { return CPSetHashParam(provider, hash, HP_HASHVAL, digest.data(), 0); });
  }

  static std::string Answer(BOOL done) { return done != FALSE ? "done" : FormatNumber("%08X", GetLastError()); }

  // Whether the process keeps a PIN for that reader.
  static bool KeepsPIN(const std::string& reader) {
    const auto cache = g_pinCacheManager.GetPINCache(reader);
    return cache && cache->IsPINSet() != 0;
  }

  Bytes m_signature;

 private:
  template <typename Fill>
  std::string Sign(HCRYPTPROV provider, Fill fill) {
    HCRYPTHASH hash = 0;
    DWORD length = 128;
    m_signature.assign(length, 0);
    if (CPCreateHash(provider, CALG_SHA1, 0, 0, &hash) == FALSE || fill(hash) == FALSE) return Answer(FALSE);
    return Answer(CPSignHash(provider, hash, AT_SIGNATURE, nullptr, 0, m_signature.data(), &length));
  }
};
