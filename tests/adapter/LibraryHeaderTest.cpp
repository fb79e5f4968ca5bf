#include <gtest/gtest.h>

#include "adapter/LibraryHeader.h"

namespace adapter::testing {
namespace {

std::string Elf(char bits, char machine) {
  std::string bytes = std::string("\x7F\x45LF") + bits + std::string(13, '\0');
  bytes += machine;
  return bytes + std::string(45, '\0');
}

// The file's first part contains the offset of the library's header.
std::string Pe(const char* machine) {
  std::string bytes = "MZ" + std::string(58, '\0') + std::string("\x80\x01\0\0", 4);
  bytes.resize(0x180);
  return bytes + std::string("PE\0\0", 4) + machine + std::string(20, '\0');
}

constexpr char k32Bit[] = "is a library for 32-bit programs, and this program has 64 bits";

TEST(LibraryHeaderTest, ALibraryForThisProgramHasNoFault) {
  EXPECT_EQ("", WhyNotLoadable(Elf(2, 62), System::Linux));
  EXPECT_EQ("", WhyNotLoadable(Pe("\x64\x86"), System::Windows));
}

TEST(LibraryHeaderTest, ALibraryOf32BitsIsRecognised) {
  EXPECT_EQ(k32Bit, WhyNotLoadable(Elf(1, 3), System::Linux));
  EXPECT_EQ(k32Bit, WhyNotLoadable(Pe("\x4C\x01"), System::Windows));
  EXPECT_EQ(k32Bit, WhyNotLoadable(Pe("\xC4\x01"), System::Windows));
}

TEST(LibraryHeaderTest, ALibraryForAnotherProcessorIsRecognised) {
  EXPECT_EQ("is a library for another processor", WhyNotLoadable(Elf(2, '\xB7'), System::Linux));
  EXPECT_EQ("is a library for another processor", WhyNotLoadable(Pe("\x64\xAA"), System::Windows));
}

TEST(LibraryHeaderTest, ALibraryForTheOtherSystemIsRecognised) {
  EXPECT_EQ("is a library for Linux, and this is Windows", WhyNotLoadable(Elf(2, 62), System::Windows));
  EXPECT_EQ("is a library for Windows, and this is Linux", WhyNotLoadable(Pe("\x64\x86"), System::Linux));
}

TEST(LibraryHeaderTest, OtherFilesAreNotLibraries) {
  EXPECT_EQ("is empty", WhyNotLoadable("", System::Linux));
  EXPECT_EQ("is no library", WhyNotLoadable("text", System::Linux));
  EXPECT_EQ("is no library", WhyNotLoadable("MZ", System::Windows));
  EXPECT_EQ("is no library", WhyNotLoadable(Pe("\x64\x86").substr(0, 0x182), System::Windows));
  std::string far = Pe("\x64\x86");
  far[63] = '\xFF';
  EXPECT_EQ("is no library", WhyNotLoadable(far, System::Windows));
}

}  // namespace
}  // namespace adapter::testing
