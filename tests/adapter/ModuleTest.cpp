#include <gtest/gtest.h>

#include "Variable.h"
#include "adapter/Module.h"
#include "platform/TempFolder.h"

namespace adapter::testing {
namespace {

class ModuleTest : public ::testing::Test {
 protected:
  ModuleTest() {
    settings.module = TELVO_FAKE_MODULE;
    settings.trace = folder.File("trace.txt");
  }

  std::string TraceText() const { return ReadFile(settings.trace); }
  bool IsTraced(const std::string& text) const { return TraceText().find(text) != std::string::npos; }

  // The message of the module's refusal, without the path.
  std::string Refusal() const {
    try {
      Module module(settings);
      return "accepted";
    } catch (const ModuleError& error) {
      const std::string text = error.what(), start = settings.module + ": ";
      EXPECT_EQ(start, text.substr(0, start.size()));
      EXPECT_TRUE(IsTraced(text));
      return text.substr(start.size());
    }
  }

  std::string RefusalWhenIt(const char* fault) const {
    const Variable variable("TELVO_FAKE_MODULE", fault);
    return Refusal();
  }

  const TempFolder folder;
  Settings settings;
};

TEST_F(ModuleTest, ItIsInitialisedAndFinalizedOnce) {
  {
    Module module(settings);
    CK_ULONG length = 256;
    CK_BYTE signature[256] = {};
    EXPECT_EQ(CKR_OK, (module.Call<&CK_FUNCTION_LIST::C_Sign>(1u, nullptr, 0u, signature, &length)));
    module.Stop();
    module.Stop();
  }
  const std::string trace = TraceText();
  EXPECT_TRUE(IsTraced(" C_Initialize "));
  EXPECT_EQ(trace.find(" C_Finalize "), trace.rfind(" C_Finalize "));
  EXPECT_TRUE(IsTraced(" C_Finalize "));
}

TEST_F(ModuleTest, ACallReturnsTheModulesResultWithAndWithoutATrace) {
  for (const std::string& trace : {settings.trace, std::string()}) {
    settings.trace = trace;
    Module module(settings);
    CK_ULONG length = 10;
    CK_BYTE signature[10] = {};
    EXPECT_EQ(CKR_BUFFER_TOO_SMALL, (module.Call<&CK_FUNCTION_LIST::C_Sign>(1u, nullptr, 0u, signature, &length)));
    EXPECT_EQ(256u, length);
    EXPECT_EQ(CK_RV{0x80000007}, (module.Call<&CK_FUNCTION_LIST::C_SeedRandom>(1u, signature, 10u)));
    module.Stop();
  }
}

TEST_F(ModuleTest, WithoutATraceThereIsNoFile) {
  settings.trace.clear();
  Module(settings).Stop();
  EXPECT_EQ("", ReadFile(folder.File("trace.txt")));
}

TEST_F(ModuleTest, ATraceThatCannotBeOpenedIsIgnored) {
  settings.trace = folder.File("no/such/folder/trace.txt");
  Module module(settings);
  EXPECT_EQ(CKR_OK, (module.Call<&CK_FUNCTION_LIST::C_CloseSession>(1u)));
  module.Stop();
}

TEST_F(ModuleTest, AMissingFileIsReported) {
  settings.module = folder.File("missing.so");
  EXPECT_EQ(0u, Refusal().find("there is no such file, or it cannot be read ("));
}

TEST_F(ModuleTest, AFileThatIsNotALibraryIsReported) {
  settings.module = folder.File("text.so");
  WriteFile(settings.module, "no library");
  EXPECT_EQ("the file is no library", Refusal());
}

TEST_F(ModuleTest, ALibraryOf32BitsIsRecognised) {
  settings.module = folder.File("old.so");
#if defined(_WIN32)
  std::string bytes(200, '\0');
  bytes.replace(0, 2, "MZ");
  bytes[60] = 100;
  bytes.replace(100, 6, std::string("PE\0\0\x4C\x01", 6));
#else
  const std::string bytes = std::string("\x7F\x45LF\x01\x01\x01", 7) + std::string(45, '\0');
#endif
  WriteFile(settings.module, bytes);
  EXPECT_EQ("the file is a library for 32-bit programs, and this program has 64 bits", Refusal());
}

TEST_F(ModuleTest, ALibraryWithoutC_GetFunctionListIsRefused) {
  settings.module = TELVO_PLAIN_LIBRARY;
  EXPECT_EQ("the library has no C_GetFunctionList: it is no PKCS #11 module", Refusal());
}

TEST_F(ModuleTest, AModuleWithoutATableIsRefused) {
  EXPECT_EQ("C_GetFunctionList answered no table", RefusalWhenIt("has no table"));
  EXPECT_EQ("C_GetFunctionList answered CKR_HOST_MEMORY", RefusalWhenIt("refuses its table"));
}

TEST_F(ModuleTest, AnOldModuleIsRefused) {
  EXPECT_EQ("the module has version 1.7 of PKCS #11, and 2.0 is needed", RefusalWhenIt("is old"));
}

TEST_F(ModuleTest, AMissingEntryIsNamed) {
  EXPECT_EQ("the module's table lacks C_Decrypt", RefusalWhenIt("lacks C_Decrypt"));
}

TEST_F(ModuleTest, TheCodeOfAFailedInitialisationIsReported) {
  EXPECT_EQ("C_Initialize answered CKR_DEVICE_ERROR", RefusalWhenIt("has no device"));
}

TEST_F(ModuleTest, AModuleThatNeedsAnInitialisationStringIsRefusedWithoutOne) {
  EXPECT_EQ(
      "C_Initialize answered CKR_ARGUMENTS_BAD; it may need an initialisation string ('initialisation' in the "
      "settings)",
      RefusalWhenIt("wants 'abc'"));
}

TEST_F(ModuleTest, TheInitialisationStringReachesTheModule) {
  settings.initialisation = "abc";
  EXPECT_EQ("accepted", RefusalWhenIt("wants 'abc'"));
  EXPECT_FALSE(IsTraced("abc"));
}

TEST_F(ModuleTest, AModuleThatTakesNoInitialisationStringIsRefusedWithOne) {
  settings.initialisation = "abc";
  EXPECT_EQ(
      "C_Initialize answered CKR_ARGUMENTS_BAD; it may not take the initialisation string of the settings, or not this "
      "one",
      RefusalWhenIt("wants nothing"));
}

TEST_F(ModuleTest, AModuleThatCannotLockIsUsedWithoutLocks) {
  EXPECT_EQ("accepted", RefusalWhenIt("cannot lock"));
  EXPECT_TRUE(IsTraced("CKR_CANT_LOCK"));
}

TEST_F(ModuleTest, AModuleThatIsInUseElsewhereIsNotStopped) {
  const Variable variable("TELVO_FAKE_MODULE", "is initialised");
  Module(settings).Stop();
  EXPECT_TRUE(IsTraced("CKR_CRYPTOKI_ALREADY_INITIALIZED"));
  EXPECT_FALSE(IsTraced("C_Finalize"));
}

}  // namespace
}  // namespace adapter::testing
