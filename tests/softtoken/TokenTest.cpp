#include "TokenTest.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "ProviderTemplates.h"

namespace softtoken::testing {

const char kOneCard[] =
    "state = state\n"
    "[slot]\n"
    "reader = Reader A 00 00\n"
    "label = Card A\n"
    "serial = A000000000000001\n"
    "pin = 123456\n"
    "so_pin = 654321\n"
    "tries = 3\n";

TemporaryFolder::TemporaryFolder() : m_path((std::filesystem::temp_directory_path() / "softtoken.XXXXXX").string()) {
  if (::mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("no temporary folder");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

OtherProcess::OtherProcess(const std::function<int()>& body) {
  int ends[2] = {};
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  m_pid = ::fork();
  if (m_pid < 0) throw std::runtime_error("no process");
  if (m_pid == 0) {
    ::close(ends[1]);
    char go = 0;
    ::_exit(::read(ends[0], &go, 1) == 1 ? body() : 99);
  }
  ::close(ends[0]);
  m_start = ends[1];
}

void OtherProcess::Release() const {
  const char go = 1;
  if (::write(m_start, &go, 1) != 1) throw std::runtime_error("the other process has ended");
  ::close(m_start);
}

bool OtherProcess::IsRunning() {
  if (!m_ended) m_ended = ::waitpid(m_pid, &m_status, WNOHANG) == m_pid;
  return !m_ended;
}

int OtherProcess::Wait() {
  if (!m_ended) m_ended = ::waitpid(m_pid, &m_status, 0) == m_pid;
  return m_ended && WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
}

StderrCapture::StderrCapture() {
  std::string path = (std::filesystem::temp_directory_path() / "softtoken.stderr.XXXXXX").string();
  m_file = ::mkstemp(path.data());
  ::unlink(path.c_str());
  static_cast<void>(std::fflush(stderr));
  m_saved = ::dup(STDERR_FILENO);
  ::dup2(m_file, STDERR_FILENO);
}

StderrCapture::~StderrCapture() { Text(); }

std::string StderrCapture::Text() {
  if (m_file < 0) return {};
  static_cast<void>(std::fflush(stderr));
  ::dup2(m_saved, STDERR_FILENO);
  ::close(m_saved);
  std::string text(static_cast<std::size_t>(::lseek(m_file, 0, SEEK_END)), '\0');
  const ssize_t got = ::pread(m_file, text.data(), text.size(), 0);
  text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  ::close(m_file);
  m_file = -1;
  return text;
}

TokenTest::TokenTest() {
  ::setenv("TELVO_SOFTTOKEN_CONF", (Folder() + "/settings.conf").c_str(), 1);
  ::setenv("HOME", Folder().c_str(), 1);
}

TokenTest::~TokenTest() { f.C_Finalize(nullptr); }

void TokenTest::WriteSettings(const std::string& text) { WriteFile(Folder() + "/settings.conf", text); }

void TokenTest::Start(const std::string& text) {
  WriteSettings(text);
  ASSERT_EQ(CKR_OK, f.C_Initialize(nullptr));
}

void TokenTest::Restart() {
  ASSERT_EQ(CKR_OK, f.C_Finalize(nullptr));
  ASSERT_EQ(CKR_OK, f.C_Initialize(nullptr));
}

CK_SESSION_HANDLE TokenTest::Open(CK_FLAGS flags, CK_SLOT_ID slot) {
  CK_SESSION_HANDLE session = 0;
  EXPECT_EQ(CKR_OK, f.C_OpenSession(slot, flags, nullptr, nullptr, &session));
  return session;
}

CK_RV TokenTest::Login(CK_SESSION_HANDLE session, const char* pin, CK_USER_TYPE user) {
  return f.C_Login(session, user, Text(pin), std::strlen(pin));
}

CK_RV TokenTest::LoginExtended(CK_SESSION_HANDLE session, const char* pin, CK_USER_TYPE user) {
  return NativeTable().C_LoginExtended(session, user, Text(pin), std::strlen(pin));
}

CK_SESSION_INFO TokenTest::SessionInfo(CK_SESSION_HANDLE session) {
  CK_SESSION_INFO info = {};
  EXPECT_EQ(CKR_OK, f.C_GetSessionInfo(session, &info));
  return info;
}

CK_TOKEN_INFO TokenTest::TokenInfo(CK_SLOT_ID slot) {
  CK_TOKEN_INFO info = {};
  EXPECT_EQ(CKR_OK, f.C_GetTokenInfo(slot, &info));
  return info;
}

CK_OBJECT_HANDLE TokenTest::Create(CK_SESSION_HANDLE session, Template attributes) {
  CK_OBJECT_HANDLE object = 0;
  EXPECT_EQ(CKR_OK, f.C_CreateObject(session, attributes.Data(), attributes.Count(), &object));
  return object;
}

KeyPair TokenTest::GenerateKeyPair(CK_SESSION_HANDLE session, CK_ULONG bits, const std::string& name) {
  Template publicKey = ProviderPublicKey(bits, name), privateKey = ProviderPrivateKey(bits, name);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
  KeyPair pair;
  EXPECT_EQ(CKR_OK, f.C_GenerateKeyPair(session, &mechanism, publicKey.Data(), publicKey.Count(), privateKey.Data(),
                                        privateKey.Count(), &pair.publicKey, &pair.privateKey));
  return pair;
}

KeyPair TokenTest::GenerateSessionKeyPair(CK_SESSION_HANDLE session) {
  Template publicKey, privateKey;
  publicKey.Number(CKA_MODULUS_BITS, 1024).Bytes(CKA_PUBLIC_EXPONENT, FromHex("010001")).Flag(CKA_VERIFY, true);
  privateKey.Flag(CKA_PRIVATE, true).Flag(CKA_SIGN, true).Flag(CKA_TOKEN, false);
  CK_MECHANISM mechanism = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
  KeyPair pair;
  EXPECT_EQ(CKR_OK, f.C_GenerateKeyPair(session, &mechanism, publicKey.Data(), publicKey.Count(), privateKey.Data(),
                                        privateKey.Count(), &pair.publicKey, &pair.privateKey));
  return pair;
}

std::string TokenTest::Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  CK_ATTRIBUTE attribute = {type, nullptr, 0};
  EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, &attribute, 1)) << "length of " << std::hex << type;
  if (attribute.ulValueLen == CK_UNAVAILABLE_INFORMATION) return {};
  std::string value(attribute.ulValueLen, '\0');
  attribute.pValue = value.data();
  EXPECT_EQ(CKR_OK, f.C_GetAttributeValue(session, object, &attribute, 1)) << "value of " << std::hex << type;
  return value;
}

CK_ULONG TokenTest::ReadNumber(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  const std::string value = Read(session, object, type);
  CK_ULONG number = 0;
  EXPECT_EQ(sizeof number, value.size());
  std::memcpy(&number, value.data(), std::min(sizeof number, value.size()));
  return number;
}

std::vector<CK_OBJECT_HANDLE> TokenTest::Find(CK_SESSION_HANDLE session, Template attributes) {
  EXPECT_EQ(CKR_OK, f.C_FindObjectsInit(session, attributes.Data(), attributes.Count()));
  std::vector<CK_OBJECT_HANDLE> found;
  CK_OBJECT_HANDLE object = 0;
  CK_ULONG count = 0;
  while (f.C_FindObjects(session, &object, 1, &count) == CKR_OK && count == 1) found.push_back(object);
  EXPECT_EQ(CKR_OK, f.C_FindObjectsFinal(session));
  return found;
}

std::string TokenTest::Encrypt(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key,
                               std::string data) {
  EXPECT_EQ(CKR_OK, f.C_EncryptInit(session, &mechanism, key));
  std::string result(1024, '\0');
  CK_ULONG length = result.size();
  EXPECT_EQ(CKR_OK, f.C_Encrypt(session, BytesOf(data), data.size(), BytesOf(result), &length));
  result.resize(length);
  return result;
}

std::string TokenTest::Decrypt(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key,
                               std::string data) {
  EXPECT_EQ(CKR_OK, f.C_DecryptInit(session, &mechanism, key));
  std::string result(1024, '\0');
  CK_ULONG length = result.size();
  EXPECT_EQ(CKR_OK, f.C_Decrypt(session, BytesOf(data), data.size(), BytesOf(result), &length));
  result.resize(length);
  return result;
}

std::string TokenTest::Sign(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data) {
  EXPECT_EQ(CKR_OK, f.C_SignInit(session, &mechanism, key));
  std::string result(1024, '\0');
  CK_ULONG length = result.size();
  EXPECT_EQ(CKR_OK, f.C_Sign(session, BytesOf(data), data.size(), BytesOf(result), &length));
  result.resize(length);
  return result;
}

CK_RV TokenTest::Verify(CK_SESSION_HANDLE session, CK_MECHANISM mechanism, CK_OBJECT_HANDLE key, std::string data,
                        std::string signature) {
  EXPECT_EQ(CKR_OK, f.C_VerifyInit(session, &mechanism, key));
  return f.C_Verify(session, BytesOf(data), data.size(), BytesOf(signature), signature.size());
}

}  // namespace softtoken::testing
