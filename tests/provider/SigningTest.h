// SigningTest: the fixture for tests on a card whose keys and certificates another program made: containers "k1024",
// "k2048", "k3072" and "k4096", named after the size of their keys. Files in TELVO_EXCHANGE are exchanged with OpenSSL,
// which uses the opposite byte order. The user's certificate stores are the test's own.
#pragma once

#include <string>
#include <vector>

#include "ProviderTest.h"
#include "platform/UserRegistry.h"

using Bytes = std::vector<unsigned char>;

// An algorithm and the name that its files have.
struct HashName {
  ALG_ID id;
  const char* name;
};

class SigningTest : public ProviderTest {
 protected:
  explicit SigningTest(Logging logging = Logging::kOn);
  ~SigningTest() override;

  // Opens a context on the container with keys of that size, and logs in with the PIN.
  void Open(int bits);
  // A hash of the message in our context, or in another one.
  HCRYPTHASH HashOf(const Bytes& message, ALG_ID algorithm) { return HashOf(Handle(), message, algorithm); }
  HCRYPTHASH HashOf(HCRYPTPROV provider, const Bytes& message, ALG_ID algorithm);
  // CryptSignHash, after a call that asks for the length. Destroys the hash. The result is in CryptoAPI's
  // byte order.
  Bytes Sign(HCRYPTHASH hash);

  static Bytes Message() { return Read("message"); }
  static Bytes Read(const std::string& name);
  static void Write(const std::string& name, const Bytes& bytes);

 private:
  UserRegistry m_user;
};

Bytes Reversed(const Bytes& bytes);
