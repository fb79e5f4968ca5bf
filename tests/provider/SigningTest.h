// SigningTest: the fixture of tests on a card whose keys and certificates somebody else made: containers "k1024",
// "k2048", "k3072" and "k4096", named after the size of their keys. Files of TELVO_EXCHANGE go to and come from
// OpenSSL, whose byte order is the other one. Certificate stores of the user are the test's own.
#pragma once

#include <string>
#include <vector>

#include "ProviderTest.h"
#include "platform/UserRegistry.h"

using Bytes = std::vector<unsigned char>;

// An algorithm under the name that its files bear.
struct HashName {
  ALG_ID id;
  const char* name;
};

class SigningTest : public ProviderTest {
 protected:
  explicit SigningTest(Logging logging = Logging::kOn);
  ~SigningTest() override;

  // A context on the container of keys of that size, logged in with the PIN.
  void Open(int bits);
  // A hash of the message in our context, or in another one.
  HCRYPTHASH HashOf(const Bytes& message, ALG_ID algorithm) { return HashOf(Handle(), message, algorithm); }
  HCRYPTHASH HashOf(HCRYPTPROV provider, const Bytes& message, ALG_ID algorithm);
  // CryptSignHash with a question for the length first; the hash is gone then. In CryptoAPI's byte order.
  Bytes Sign(HCRYPTHASH hash);

  static Bytes Message() { return Read("message"); }
  static Bytes Read(const std::string& name);
  static void Write(const std::string& name, const Bytes& bytes);

 private:
  UserRegistry m_user;
};

Bytes Reversed(const Bytes& bytes);
