// ProviderTest: the fixture of tests of the whole provider: telvocsp.dll, called through the system's CryptoAPI, on two
// cards of the software token with real keys.
//
// The client code in this program only prepares the cards. The environment variable TELVO_CARDS names the folder whose
// files represent inserted cards.
#pragma once

#include "common/Platform.h"

#include <gtest/gtest.h>
#include <string>

#include "ProviderRegistration.h"
#include "SoftToken.h"
#include "cryptoki/CryptokiFunctions.h"
#include "platform/ExportOf.h"

constexpr char kReaderA[] = "TELVO Reader A";
constexpr char kReaderB[] = "TELVO Reader B";

class ProviderTest : public ::testing::Test {
 protected:
  using Logging = ProviderRegistration::Logging;
  enum class Cards { kEmptied, kAsTheyAre };
  // Both cards are in.
  explicit ProviderTest(Cards cards = Cards::kEmptied, Logging logging = Logging::kOn);
  ~ProviderTest() override;

  // CryptAcquireContextA under the provider's name. The handle is released at the end of the test.
  bool Acquire(const char* container, DWORD flags);
  // The same, as "true" or as the last error in hexadecimal.
  std::string AcquireResult(const char* container, DWORD flags);
  // The handle of the last successful Acquire.
  HCRYPTPROV Handle() const { return m_handle; }
  void Release();

  // The result of a system function, as "true" or as the last error in hexadecimal.
  static std::string Result(BOOL done);

  std::string TakeLog() { return m_provider.TakeLog(); }
  // A function that the library exports.
  template <typename Function>
  Function Export(const char* name) const {
    return ExportOf<Function>(m_provider.Library(), name);
  }

  Cryptoki m_cryptoki;
  SoftToken m_cardA;
  SoftToken m_cardB;
  ProviderRegistration m_provider;

 private:
  HCRYPTPROV m_handle = 0;
  bool m_acquired = false;
};

// A container name that includes its reader.
std::string Named(const std::string& reader, const std::string& container);
