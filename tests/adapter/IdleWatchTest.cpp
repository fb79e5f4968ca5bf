// A kept login ends in time although the provider makes no more calls.
#include <gtest/gtest.h>
#include <thread>

#include "ScriptedModule.h"
#include "Variable.h"
#include "pkcs11/NativeTable.h"
#include "platform/TempFolder.h"

namespace adapter::testing {
namespace {

TEST(IdleWatchTest, EndsAnIdleLoginWithoutACall) {
  scripted::Script& module = scripted::TheScript();
  module = scripted::Script();
  const TempFolder folder;
  WriteFile(folder.File("adapter.conf"),
            std::string("module = ") + TELVO_SCRIPTED_MODULE + "\nlogin_life = 1\ntrace = trace\n");
  const Variable conf("TELVO_ADAPTER_CONF", folder.File("adapter.conf"));
  ExtendedFunctionList& table = pkcs11::NativeTable();
  CK_FUNCTION_LIST& f = table.standard;
  CK_SESSION_HANDLE session = 0;
  std::string pin = "123456";
  ASSERT_EQ(CKR_OK, f.C_Initialize(nullptr));
  ASSERT_EQ(CKR_OK, f.C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session));
  ASSERT_EQ(CKR_OK, table.C_LoginExtended(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR*>(pin.data()), 6));
  ASSERT_EQ(CKR_OK, f.C_Logout(session));
  // The thread of the watch uses the module while it ends the login. The trace shows when that is done.
  const auto isKept = [&] { return ReadFile(folder.File("trace")).find(" C_Logout") == std::string::npos; };
  EXPECT_TRUE(isKept());
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (isKept() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_FALSE(isKept());
  EXPECT_EQ(CKR_OK, f.C_Finalize(nullptr));
  EXPECT_FALSE(module.loggedIn);
}

}  // namespace
}  // namespace adapter::testing
