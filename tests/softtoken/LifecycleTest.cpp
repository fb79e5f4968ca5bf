// Starting, stopping and sharing the module.
#include <dlfcn.h>
#include <filesystem>
#include <thread>

#include "ProviderTemplates.h"
#include "TokenTest.h"

namespace softtoken::testing {
namespace {

using LifecycleTest = TokenTest;

TEST_F(LifecycleTest, TheModuleStartsAgainAfterFinalize) {
  Start();
  const CK_SESSION_HANDLE before = Open();
  ASSERT_EQ(CKR_OK, Login(before));
  GenerateKeyPair(before);
  for (int i = 0; i < 3; ++i) {
    Restart();
    CK_SESSION_INFO info = {};
    EXPECT_EQ(CKR_SESSION_HANDLE_INVALID, f.C_GetSessionInfo(before, &info));
    const CK_SESSION_HANDLE session = Open();
    EXPECT_NE(before, session) << "an old handle is never a new session";
    EXPECT_EQ(CKR_OK, Login(session));
    EXPECT_EQ(2u, Find(session, {}).size());
  }
}

// Creates certificates in another process. Returns 0 on success.
int CreateInOtherProcess(CK_FUNCTION_LIST& f, int count) {
  CK_SESSION_HANDLE session = 0;
  if (f.C_Initialize(nullptr) != CKR_OK) return 1;
  if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 2;
  if (f.C_Login(session, CKU_USER, Text(kPin), 6) != CKR_OK) return 3;
  for (int i = 0; i < count; ++i) {
    Template certificate = ProviderCertificate("from elsewhere", std::to_string(i), std::string(1000, 'x'));
    CK_OBJECT_HANDLE object = 0;
    if (f.C_CreateObject(session, certificate.Data(), certificate.Count(), &object) != CKR_OK) return 4;
  }
  return 0;
}

TEST_F(LifecycleTest, TwoProcessesThatStartAtTheSameTimeMakeOneCard) {
  WriteSettings(kOneCard);
  for (int round = 0; round < 10; ++round) {
    std::filesystem::remove_all(Folder() + "/state");
    OtherProcess first([this] { return CreateInOtherProcess(f, 1); });
    OtherProcess second([this] { return CreateInOtherProcess(f, 1); });
    first.Release();
    second.Release();
    EXPECT_EQ(0, first.Wait());
    EXPECT_EQ(0, second.Wait());
    OtherProcess third([this] {
      CK_SESSION_HANDLE session = 0;
      if (f.C_Initialize(nullptr) != CKR_OK) return 91;
      if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 92;
      return static_cast<int>(Find(session, {}).size());
    });
    third.Release();
    ASSERT_EQ(2, third.Wait());
  }
}

TEST_F(LifecycleTest, AnObjectIsSeenWholeOrNotAtAll) {
  constexpr int kObjects = 100;
  OtherProcess other([this] { return CreateInOtherProcess(f, kObjects); });
  Start();
  const CK_SESSION_HANDLE session = Open();
  other.Release();
  std::size_t before = 0;
  while (before < kObjects && other.IsRunning()) {
    const auto found = Find(session, {});
    ASSERT_GE(found.size(), before);
    before = found.size();
    for (const CK_OBJECT_HANDLE object : found) ASSERT_EQ("from elsewhere", Read(session, object, CKA_LABEL));
  }
  EXPECT_EQ(0, other.Wait());
  EXPECT_EQ(std::size_t{kObjects}, Find(session, {}).size());
}

TEST_F(LifecycleTest, ObjectsOfAnotherProcessAreSeen) {
  OtherProcess other([this] { return CreateInOtherProcess(f, 1); });
  Start();
  const CK_SESSION_HANDLE session = Open();
  EXPECT_EQ(0u, Find(session, {}).size());
  other.Release();
  ASSERT_EQ(0, other.Wait());
  const auto found = Find(session, {});
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ("from elsewhere", Read(session, found[0], CKA_LABEL));
}

TEST_F(LifecycleTest, ThreadsUseTheirOwnSessionsAtTheSameTime) {
  Start();
  const CK_SESSION_HANDLE first = Open();
  ASSERT_EQ(CKR_OK, Login(first));
  const KeyPair pair = GenerateKeyPair(first);
  int failures[3] = {};
  const auto work = [&](int& failed) {
    const CK_SESSION_HANDLE session = Open();
    CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
    for (int i = 0; i < 30; ++i) {
      CK_BYTE message[16] = {}, signature[128] = {};
      CK_ULONG length = sizeof signature;
      if (f.C_GenerateRandom(session, message, sizeof message) != CKR_OK) ++failed;
      if (f.C_SignInit(session, &rsa, pair.privateKey) != CKR_OK) ++failed;
      if (f.C_Sign(session, message, sizeof message, signature, &length) != CKR_OK) ++failed;
      if (f.C_VerifyInit(session, &rsa, pair.publicKey) != CKR_OK) ++failed;
      if (f.C_Verify(session, message, sizeof message, signature, length) != CKR_OK) ++failed;
    }
    if (f.C_CloseSession(session) != CKR_OK) ++failed;
  };
  const auto watch = [&](int& failed) {
    for (int i = 0; i < 100; ++i) {
      CK_ULONG count = 0;
      CK_SLOT_INFO info = {};
      if (f.C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK || count != 1) ++failed;
      if (f.C_GetSlotInfo(0, &info) != CKR_OK) ++failed;
    }
  };
  std::thread one(work, std::ref(failures[0])), two(work, std::ref(failures[1])), three(watch, std::ref(failures[2]));
  one.join();
  two.join();
  three.join();
  EXPECT_EQ(0, failures[0]);
  EXPECT_EQ(0, failures[1]);
  EXPECT_EQ(0, failures[2]);
}

TEST_F(LifecycleTest, OneThreadMayStopTheModuleWhileAnotherCallsIt) {
  Start();
  const CK_SESSION_HANDLE session = Open();
  std::vector<CK_RV> unexpected;
  std::thread caller([&] {
    for (int i = 0; i < 200; ++i) {
      CK_BYTE byte = 0;
      const CK_RV result = f.C_GenerateRandom(session, &byte, 1);
      if (result != CKR_OK && result != CKR_CRYPTOKI_NOT_INITIALIZED && result != CKR_SESSION_HANDLE_INVALID) {
        unexpected.push_back(result);
      }
    }
  });
  for (int i = 0; i < 3; ++i) Restart();
  caller.join();
  EXPECT_EQ(std::vector<CK_RV>{}, unexpected);
}

// The built module, loaded as an application loads it.
class LoadedModule {
 public:
  LoadedModule() : m_handle(::dlopen(TELVO_MODULE, RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) throw std::runtime_error(::dlerror());
    const auto get = reinterpret_cast<CK_C_GetFunctionList>(::dlsym(m_handle, "C_GetFunctionList"));
    if (get == nullptr || get(&m_functions) != CKR_OK) throw std::runtime_error("no function list");
  }
  ~LoadedModule() { ::dlclose(m_handle); }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  CK_FUNCTION_LIST* operator->() const { return m_functions; }

 private:
  void* const m_handle;
  CK_FUNCTION_LIST* m_functions = nullptr;
};

bool IsLoaded(const char* library) {
  void* const handle = ::dlopen(library, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) ::dlclose(handle);
  return handle != nullptr;
}

TEST_F(LifecycleTest, TheLibraryCanBeReloadedAfterItWasUnloadedWhileRunning) {
  WriteSettings(kOneCard);
  for (int i = 0; i < 3; ++i) {
    const LoadedModule module;
    ASSERT_EQ(CKR_OK, module->C_Initialize(nullptr)) << "SoftHSM has been running since the first round";
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(CKR_OK, module->C_OpenSession(0, kReadWrite, nullptr, nullptr, &session));
    EXPECT_EQ(CKR_OK, module->C_Login(session, CKU_USER, Text(kPin), 6));
    CK_OBJECT_HANDLE object = 0;
    Template data;
    data.Number(CKA_CLASS, CKO_DATA).Flag(CKA_TOKEN, true).Bytes(CKA_LABEL, "data");
    EXPECT_EQ(CKR_OK, module->C_CreateObject(session, data.Data(), data.Count(), &object));
  }
  EXPECT_FALSE(IsLoaded(TELVO_MODULE)) << "otherwise the test proves nothing";
  const LoadedModule module;
  ASSERT_EQ(CKR_OK, module->C_Initialize(nullptr));
  CK_SESSION_HANDLE session = 0;
  ASSERT_EQ(CKR_OK, module->C_OpenSession(0, kReadWrite, nullptr, nullptr, &session));
  ASSERT_EQ(CKR_OK, module->C_FindObjectsInit(session, nullptr, 0));
  CK_OBJECT_HANDLE found[8] = {};
  CK_ULONG count = 0;
  EXPECT_EQ(CKR_OK, module->C_FindObjects(session, found, 8, &count));
  EXPECT_EQ(3u, count);
  EXPECT_EQ(CKR_OK, module->C_Finalize(nullptr));
}

TEST_F(LifecycleTest, TheLibraryExportsOneName) {
  const LoadedModule module;
  void* const handle = ::dlopen(TELVO_MODULE, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(nullptr, handle);
  // The handle limits the search to the library and its dependencies.
  for (const char* name :
       {"C_Initialize", "C_LoginExtended", "WindowsGetFunctionList", "_ZN9softtoken11NativeTableEv"}) {
    EXPECT_EQ(nullptr, ::dlsym(handle, name)) << name;
  }
  EXPECT_NE(nullptr, ::dlsym(handle, "C_GetFunctionList"));
  ::dlclose(handle);
}

TEST_F(LifecycleTest, AProcessMayEndWithoutFinalize) {
  WriteSettings(kOneCard);
  OtherProcess other([this] {
    CK_SESSION_HANDLE session = 0;
    if (f.C_Initialize(nullptr) != CKR_OK) return 1;
    if (f.C_OpenSession(0, kReadWrite, nullptr, nullptr, &session) != CKR_OK) return 2;
    if (Login(session) != CKR_OK) return 3;
    GenerateSessionKeyPair(session);
    std::exit(42);  // runs the destructors of every library, unlike the usual end of a child
  });
  other.Release();
  EXPECT_EQ(42, other.Wait());
}

}  // namespace
}  // namespace softtoken::testing
