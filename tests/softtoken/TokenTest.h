// Fixtures for tests of the module's own function table. Each test has its own state folder.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "SharedNames.h"
#include "Template.h"

namespace softtoken::testing {

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

void WriteFile(const std::string& path, const std::string& content);

// OtherProcess runs `body` in a child process, which first waits for Release. Create it before the module is started
// here: SoftHSM does not survive a fork.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<int()>& body);
  void Release() const;
  bool IsRunning();
  int Wait();  // the result of `body`

 private:
  int m_pid = 0;
  int m_start = 0;
  int m_status = 0;
  bool m_ended = false;
};

// StderrCapture collects what is written to stderr until Text is called.
class StderrCapture {
 public:
  StderrCapture();
  ~StderrCapture();
  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;

  std::string Text();

 private:
  int m_saved = -1;
  int m_file = -1;
};

constexpr char kPin[] = "123456";
constexpr char kSoPin[] = "654321";
constexpr CK_FLAGS kReadOnly = CKF_SERIAL_SESSION;
constexpr CK_FLAGS kReadWrite = CKF_SERIAL_SESSION | CKF_RW_SESSION;

// The settings of one card. Its slot block comes last, so a test may append to it.
extern const char kOneCard[];

struct KeyPair {
  CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
};

inline CK_UTF8CHAR* Text(const char* text) {
  return const_cast<CK_UTF8CHAR*>(reinterpret_cast<const unsigned char*>(text));
}
inline CK_BYTE* BytesOf(std::string& text) { return reinterpret_cast<CK_BYTE*>(text.data()); }
inline const CK_BYTE* BytesOf(const std::string& text) { return reinterpret_cast<const CK_BYTE*>(text.data()); }

// TokenTest sets up a folder and the environment. The test itself starts the module.
class TokenTest : public ::testing::Test {
 protected:
  TokenTest();
  ~TokenTest() override;

  void WriteSettings(const std::string& text);
  // Writes the settings and initialises the module.
  void Start(const std::string& text = kOneCard);
  void Restart();
  std::string Folder() const { return m_folder.Path(); }

  CK_SESSION_HANDLE Open(CK_FLAGS flags = kReadWrite, CK_SLOT_ID slot = 0);
  CK_RV Login(CK_SESSION_HANDLE session, const char* pin = kPin, CK_USER_TYPE user = CKU_USER);
  CK_RV LoginExtended(CK_SESSION_HANDLE session, const char* pin = kPin, CK_USER_TYPE user = CKU_USER);
  CK_SESSION_INFO SessionInfo(CK_SESSION_HANDLE session);
  CK_TOKEN_INFO TokenInfo(CK_SLOT_ID slot = 0);

  CK_OBJECT_HANDLE Create(CK_SESSION_HANDLE session, Template attributes);
  // A pair as the provider makes it. It is small unless its size matters, because so many are made.
  KeyPair GenerateKeyPair(CK_SESSION_HANDLE session, CK_ULONG bits = 1024, const std::string& name = "container");
  // A session pair, made without a login.
  KeyPair GenerateSessionKeyPair(CK_SESSION_HANDLE session);

  std::string Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
  CK_ULONG ReadNumber(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
  std::vector<CK_OBJECT_HANDLE> Find(CK_SESSION_HANDLE session, Template attributes);

  std::string Encrypt(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data);
  std::string Decrypt(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data);
  std::string Sign(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data);
  CK_RV Verify(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data,
               std::string signature);

  CK_FUNCTION_LIST& f = NativeTable().standard;

 private:
  const TemporaryFolder m_folder;
};

// RunningTokenTest starts the module with one card and opens a session.
class RunningTokenTest : public TokenTest {
 protected:
  void SetUp() override {
    Start();
    session = Open();
  }

  CK_SESSION_HANDLE session = 0;
};

// LoggedInTokenTest also logs in.
class LoggedInTokenTest : public RunningTokenTest {
 protected:
  void SetUp() override {
    RunningTokenTest::SetUp();
    ASSERT_EQ(CKR_OK, Login(session));
  }
};

}  // namespace softtoken::testing
