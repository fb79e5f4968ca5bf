#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <thread>

#include "Bytes.h"
#include "adapter/Module.h"
#include "adapter/ResultNames.h"
#include "adapter/Trace.h"
#include "platform/TempFolder.h"

namespace adapter::testing {
namespace {

class TraceTest : public ::testing::Test {
 protected:
  TraceTest() {
    Settings settings;
    settings.module = TELVO_FAKE_MODULE;
    settings.trace = file;
    module = std::make_unique<Module>(settings);
  }
  ~TraceTest() override { module->Stop(); }

  std::vector<std::string> Lines() const {
    std::istringstream text(ReadFile(file));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }

  // The last line from the name of the entry on, without the duration.
  std::string LastCall() const {
    const std::string line = Lines().back();
    const std::size_t name = line.find(" C_") + 1, time = line.find(' ', name), result = line.find(" ms ") + 3;
    return line.substr(name, time - name) + line.substr(result);
  }

  const TempFolder folder;
  const std::string file = folder.File("trace.txt");
  std::unique_ptr<Module> module;
  CK_BYTE bytes[300] = {};
};

TEST_F(TraceTest, ALineHasTimeThreadNameDurationResultAndSizes) {
  CK_ULONG length = 300;
  module->Call<&CK_FUNCTION_LIST::C_Sign>(5u, bytes, 36u, bytes, &length);
  const std::regex form(
      "20[0-9]{2}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} thread [0-9]+ C_Sign "
      "[0-9]+\\.[0-9]{3} ms "
      "CKR_OK session=5 dataLen=36 signatureLen=256");
  EXPECT_TRUE(std::regex_match(Lines().back(), form)) << Lines().back();
}

TEST_F(TraceTest, TheModuleIsNamedFirst) {
  const std::string first = Lines().front(), name = std::string("the module is ") + TELVO_FAKE_MODULE;
  ASSERT_LE(name.size(), first.size());
  EXPECT_EQ(name, first.substr(first.size() - name.size()));
}

TEST_F(TraceTest, ALengthQueryIsTraced) {
  CK_ULONG length = 0;
  module->Call<&CK_FUNCTION_LIST::C_Sign>(5u, bytes, 36u, nullptr, &length);
  EXPECT_EQ("C_Sign CKR_OK session=5 dataLen=36 signature=null signatureLen=256", LastCall());
}

TEST_F(TraceTest, TheNeededLengthIsTraced) {
  CK_ULONG length = 1;
  module->Call<&CK_FUNCTION_LIST::C_Sign>(5u, bytes, 36u, bytes, &length);
  EXPECT_EQ("C_Sign CKR_BUFFER_TOO_SMALL session=5 dataLen=36 signatureLen=256", LastCall());
}

TEST_F(TraceTest, ALengthIsNotReadAfterAFailure) {
  module->Call<&CK_FUNCTION_LIST::C_SeedRandom>(5u, bytes, 12u);
  EXPECT_EQ("C_SeedRandom 0x80000007 session=5 seedLen=12", LastCall());
  TracedArguments failed("(session, data, dataLen)", CKR_DEVICE_ERROR);
  CK_ULONG number = 77;
  failed.Add(CK_SESSION_HANDLE{5});
  failed.Add(bytes);
  failed.Add(&number);
  EXPECT_EQ(" session=5", failed.Text());
}

TEST_F(TraceTest, AMechanismIsTracedWithTheLengthOfItsParameter) {
  CK_MECHANISM mechanism = {CKM_AES_CBC, bytes, 16};
  module->Call<&CK_FUNCTION_LIST::C_SignInit>(5u, &mechanism, 9u);
  EXPECT_EQ("C_SignInit CKR_OK session=5 mechanism=0x1082/16 key=9", LastCall());
}

TEST_F(TraceTest, ATemplateIsTracedWithTypesAndLengths) {
  CK_ATTRIBUTE attributes[] = {{CKA_CLASS, bytes, sizeof(CK_OBJECT_CLASS)},
                               {CKA_ID, nullptr, 0},
                               {CKA_MODULUS, nullptr, CK_UNAVAILABLE_INFORMATION}};
  module->Call<&CK_FUNCTION_LIST::C_FindObjectsInit>(5u, attributes, 3u);
  EXPECT_EQ("C_FindObjectsInit CKR_OK session=5 count=3:0x0/" + std::to_string(sizeof(CK_OBJECT_CLASS)) +
                ",0x102/0,0x120/none",
            LastCall());
  module->Call<&CK_FUNCTION_LIST::C_FindObjectsInit>(5u, nullptr, 0u);
  EXPECT_EQ("C_FindObjectsInit CKR_OK session=5 attributes=null count=0", LastCall());
}

TEST_F(TraceTest, OnlyTheCountsOfListsAreTraced) {
  CK_OBJECT_HANDLE objects[2] = {71, 72};
  CK_ULONG count = 2;
  module->Call<&CK_FUNCTION_LIST::C_FindObjects>(5u, objects, 2u, &count);
  EXPECT_EQ("C_FindObjects CKR_OK session=5 maxCount=2 count=2", LastCall());
}

TEST_F(TraceTest, NeitherAPinNorItsLengthIsTraced) {
  CK_UTF8CHAR pin[] = "123456";
  module->Call<&CK_FUNCTION_LIST::C_Login>(5u, CKU_USER, pin, 6u);
  EXPECT_EQ("C_Login CKR_OK session=5 user=1", LastCall());
  module->Call<&CK_FUNCTION_LIST::C_SetPIN>(5u, pin, 6u, pin, 6u);
  EXPECT_EQ("C_SetPIN CKR_OK session=5", LastCall());
}

// An argument for each type of parameter. Those that have bytes consist of a secret.
struct Secrets {
  std::string text = "do not write: s3cr3t";
  CK_ULONG number = 20;  // the number of attributes, too
  std::vector<CK_ATTRIBUTE> attributes{number, CK_ATTRIBUTE{CKA_VALUE, text.data(), 20}};
  CK_MECHANISM mechanism{CKM_AES_CBC, text.data(), 20};
  CK_INFO info{};
  CK_SLOT_INFO slot{};
  CK_TOKEN_INFO token{};
  CK_SESSION_INFO session{};
  CK_MECHANISM_INFO mechanismInfo{};
  CK_FUNCTION_LIST_PTR table{};

  void Get(CK_ULONG& argument) const { argument = number; }
  void Get(CK_ULONG_PTR& argument) { argument = &number; }
  void Get(CK_BBOOL& argument) const { argument = CK_TRUE; }
  void Get(CK_BYTE_PTR& argument) { argument = reinterpret_cast<CK_BYTE_PTR>(text.data()); }
  void Get(CK_VOID_PTR& argument) { argument = text.data(); }
  void Get(CK_ATTRIBUTE_PTR& argument) { argument = attributes.data(); }
  void Get(CK_MECHANISM_PTR& argument) { argument = &mechanism; }
  void Get(CK_INFO_PTR& argument) { argument = &info; }
  void Get(CK_SLOT_INFO_PTR& argument) { argument = &slot; }
  void Get(CK_TOKEN_INFO_PTR& argument) { argument = &token; }
  void Get(CK_SESSION_INFO_PTR& argument) { argument = &session; }
  void Get(CK_MECHANISM_INFO_PTR& argument) { argument = &mechanismInfo; }
  void Get(CK_FUNCTION_LIST_PTR_PTR& argument) { argument = &table; }
  void Get(CK_NOTIFY& argument) const { argument = nullptr; }

  template <typename T>
  T As() {
    T argument{};
    Get(argument);
    return argument;
  }
};

template <auto Entry, typename... P>
void CallWithSecrets(Module& module, CK_RV (* /*entry*/)(P...)) {
  Secrets secrets;
  module.Call<Entry>(secrets.As<P>()...);
}

std::string HexOf(std::string_view text, const char* digits) {
  std::string hex;
  for (const char c : text) {
    hex += digits[static_cast<unsigned char>(c) >> 4U];
    hex += digits[static_cast<unsigned char>(c) & 15U];
  }
  return hex;
}

TEST_F(TraceTest, NoBytesOfAnyEntryAreTraced) {
#define ENTRY(name, parameters, arguments) \
  CallWithSecrets<&CK_FUNCTION_LIST::name>(*module, decltype(CK_FUNCTION_LIST::name){});
#include "cryptoki/CryptokiEntries.inc"
  const std::string trace = ReadFile(file);
#define ENTRY(name, parameters, arguments) EXPECT_NE(std::string::npos, trace.find(" " #name " "));
#include "cryptoki/CryptokiEntries.inc"
  const std::string secret = "s3cr3t";
  EXPECT_EQ(std::string::npos, trace.find(secret));
  EXPECT_EQ(std::string::npos, trace.find(HexOf(secret, "0123456789abcdef")));
  EXPECT_EQ(std::string::npos, trace.find(HexOf(secret, "0123456789ABCDEF")));
  EXPECT_EQ(std::string::npos, trace.find(HexOf("3", "0123456789abcdef") + ' ' + HexOf("c", "0123456789abcdef")));
}

TEST_F(TraceTest, LinesOfThreadsDoNotMix) {
  std::vector<std::thread> threads;
  for (CK_SESSION_HANDLE session = 1; session <= 4; ++session) {
    threads.emplace_back([this, session] {
      for (int i = 0; i < 50; ++i) module->Call<&CK_FUNCTION_LIST::C_CloseSession>(session);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> lines = Lines();
  const auto isCall = [](const std::string& line) {
    return std::regex_match(line, std::regex(".{23} thread [0-9]+ C_CloseSession [0-9.]+ ms CKR_OK session=[1-4]"));
  };
  EXPECT_EQ(200, std::count_if(lines.begin(), lines.end(), isCall));
  EXPECT_EQ(202u, lines.size());  // with the first two: the module, C_Initialize
}

TEST_F(TraceTest, AnExistingFileIsContinued) {
  const std::size_t before = Lines().size();
  Trace(file).Note("another process");
  ASSERT_EQ(before + 1, Lines().size());
  EXPECT_TRUE(std::regex_match(Lines().back(), std::regex(".{23} thread [0-9]+ another process")));
}

TEST(ResultNameTest, KnownResultsHaveTheirPkcs11Names) {
  EXPECT_EQ("CKR_OK", ResultName(0));
  EXPECT_EQ("CKR_ARGUMENTS_BAD", ResultName(7));
  EXPECT_EQ("CKR_PIN_INCORRECT", ResultName(0xA0));
  EXPECT_EQ("CKR_PIN_LOCKED", ResultName(0xA4));
  EXPECT_EQ("CKR_CRYPTOKI_ALREADY_INITIALIZED", ResultName(0x191));
  EXPECT_EQ("CKR_FUNCTION_REJECTED", ResultName(0x200));
  EXPECT_EQ("0x00000004", ResultName(4));
  EXPECT_EQ("0x80000001", ResultName(0x80000001));
}

}  // namespace
}  // namespace adapter::testing
