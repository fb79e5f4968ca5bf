// ProviderTest: the fixture of tests of the whole provider: telvocsp.dll, registered under its name in a registry of
// the test's own and called through the system's CryptoAPI, on two cards of the software token with real keys.
//
// The program's own parts of the client only prepare the cards. The environment names the library (TELVO_PROVIDER) and
// the folder in which files stand for cards that are in (TELVO_CARDS).
#pragma once

#include "common/Platform.h"

#include <gtest/gtest.h>
#include <string>

#include "SoftToken.h"
#include "TempFolder.h"
#include "TestRegistry.h"
#include "cryptoki/CryptokiFunctions.h"

extern const char kProviderName[];
constexpr char kReaderA[] = "TELVO Reader A";
constexpr char kReaderB[] = "TELVO Reader B";

class ProviderTest : public ::testing::Test {
 protected:
  enum class Cards { kEmptied, kAsTheyAre };
  enum class Logging { kOff, kOn };
  // Both cards are in; the library is loaded and stays so, as long as the test lasts.
  explicit ProviderTest(Cards cards = Cards::kEmptied, Logging logging = Logging::kOn);
  ~ProviderTest() override;

  // CryptAcquireContextA under the provider's name. The handle is released at the end of the test.
  bool Acquire(const char* container, DWORD flags);
  // The same, as "true" or as the last error in hexadecimal.
  std::string AcquireResult(const char* container, DWORD flags);
  // The handle of the last successful Acquire.
  HCRYPTPROV Handle() const { return m_handle; }
  void Release();

  // The answer of a function of the system, as "true" or as the last error in hexadecimal.
  static std::string Result(BOOL done);

  // What stands in the log behind the line that says when it started.
  std::string TakeLog();
  // A function of the library itself.
  template <typename Function>
  Function Export(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(m_library, name)));
  }

  TempFolder m_folder;
  TestRegistry m_registry;
  std::string m_logFile;
  Cryptoki m_cryptoki;
  SoftToken m_cardA;
  SoftToken m_cardB;

 private:
  HMODULE m_library = nullptr;
  HCRYPTPROV m_handle = 0;
  bool m_acquired = false;
  std::size_t m_taken = 0;
};

// A container name that names its reader.
std::string Named(const std::string& reader, const std::string& container);
