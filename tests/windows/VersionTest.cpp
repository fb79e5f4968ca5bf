// The version resource of the built library, read as an installer reads it.
#include <windows.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

class VersionTest : public testing::Test {
 protected:
  void SetUp() override {
    m_info.resize(GetFileVersionInfoSizeA(TELVO_LIBRARY, nullptr));
    ASSERT_FALSE(m_info.empty());
    ASSERT_TRUE(GetFileVersionInfoA(TELVO_LIBRARY, 0, static_cast<DWORD>(m_info.size()), m_info.data()));
  }

  std::string Text(const std::string& name) {
    void* value = nullptr;
    UINT length = 0;
    const std::string path = "\\StringFileInfo\\040904B0\\" + name;
    if (!VerQueryValueA(m_info.data(), path.c_str(), &value, &length)) return "(none)";
    return static_cast<const char*>(value);
  }

  std::vector<char> m_info;
};

TEST_F(VersionTest, TheLibraryHasVersion4Point5) {
  void* value = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueA(m_info.data(), "\\", &value, &length));
  ASSERT_EQ(sizeof(VS_FIXEDFILEINFO), length);
  const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(value);
  EXPECT_EQ(0x00040005u, version.dwFileVersionMS);
  EXPECT_EQ(0u, version.dwFileVersionLS);
  EXPECT_EQ(0x00040005u, version.dwProductVersionMS);
  EXPECT_EQ(0u, version.dwProductVersionLS);
  EXPECT_EQ(DWORD{VFT_DLL}, version.dwFileType);
}

TEST_F(VersionTest, TheLibraryNamesItsMakerAndItself) {
  EXPECT_EQ("Brenholt Devices Ltd.", Text("CompanyName"));
  EXPECT_EQ("Brenholt Devices CSP v4.5", Text("ProductName"));
  EXPECT_EQ("4.5", Text("FileVersion"));
  EXPECT_EQ("telvocsp.dll", Text("OriginalFilename"));
}

TEST(VersionOfOtherProgramsTest, ThisProgramHasNoVersionResource) {
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, sizeof(program));
  EXPECT_EQ(0u, GetFileVersionInfoSizeA(program, nullptr));
}

}  // namespace
