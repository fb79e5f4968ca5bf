// The host build's registry, when its file is written by hand.
#include <windows.h>

#include <gtest/gtest.h>
#include <string>

#include "platform/TestRegistry.h"

namespace {

class RegistryTest : public ::testing::Test {
 protected:
  // The result of reading VALUE when the file contains `line`. The bytes are then in `m_bytes`.
  LSTATUS Read(const std::string& line) {
    WriteFile(std::getenv("TELVO_REGISTRY"), "[Key]\n" + line + "\n");
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyA(HKEY_LOCAL_MACHINE, "Key", &key));
    m_bytes.resize(16);
    auto length = static_cast<DWORD>(m_bytes.size());
    const LSTATUS result =
        RegQueryValueExA(key, "VALUE", nullptr, nullptr, reinterpret_cast<BYTE*>(m_bytes.data()), &length);
    if (result == ERROR_SUCCESS) m_bytes.resize(length);
    RegCloseKey(key);
    return result;
  }

  TestRegistry m_registry;
  std::string m_bytes;
};

TEST_F(RegistryTest, BytesAreWrittenAsPairsOfDigits) {
  EXPECT_EQ(ERROR_SUCCESS, Read("VALUE=hex:0102fF"));
  EXPECT_EQ("\x01\x02\xFF", m_bytes);
  EXPECT_EQ(ERROR_SUCCESS, Read("VALUE=hex:"));
  EXPECT_EQ("", m_bytes);
}

TEST_F(RegistryTest, AValueThatCannotBeParsedIsNotFound) {
  for (const char* line : {"VALUE=hex:zz", "VALUE=hex:0x", "VALUE=hex:010", "VALUE=text", "VALUE=other:01"}) {
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, Read(line)) << line;
  }
}

}  // namespace
