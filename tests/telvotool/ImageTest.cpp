#include <gtest/gtest.h>

#include "platform/TempFolder.h"
#include "telvotool/Image.h"

namespace {

using tool::ReadImage;

// The start of a program file: a DOS header that points to byte 64, and the beginning of the PE header there.
std::string Head(unsigned short machine, unsigned short characteristics) {
  std::string head(64, '\0');
  head[0] = 'M';
  head[1] = 'Z';
  head[60] = 64;
  head += std::string("PE\0\0", 4);
  std::string file(20, '\0');
  file[0] = static_cast<char>(machine & 0xFFU);
  file[1] = static_cast<char>(machine >> 8U);
  file[18] = static_cast<char>(characteristics & 0xFFU);
  file[19] = static_cast<char>(characteristics >> 8U);
  return head + file;
}

class ImageTest : public ::testing::Test {
 protected:
  std::optional<tool::Image> Read(const std::string& content) {
    WriteFile(m_folder.File("image"), content);
    return ReadImage(m_folder.File("image"));
  }

  TempFolder m_folder;
};

TEST_F(ImageTest, A64BitLibraryIsRecognised) {
  const auto image = Read(Head(0x8664, 0x2022));
  ASSERT_TRUE(image);
  EXPECT_TRUE(image->is64Bit);
  EXPECT_TRUE(image->isLibrary);
  EXPECT_EQ("x86-64", image->machine);
}

TEST_F(ImageTest, A32BitLibraryIsNot64Bit) {
  const auto image = Read(Head(0x014C, 0x2102));
  ASSERT_TRUE(image);
  EXPECT_FALSE(image->is64Bit);
  EXPECT_EQ("x86", image->machine);
}

TEST_F(ImageTest, AMachineWithoutANameIsShownAsANumber) { EXPECT_EQ("0xAA64", Read(Head(0xAA64, 0x2022))->machine); }

TEST_F(ImageTest, AProgramIsNotALibrary) { EXPECT_FALSE(Read(Head(0x8664, 0x0022))->isLibrary); }

TEST_F(ImageTest, ATruncatedHeaderIsNotAProgramFile) {
  const std::string head = Head(0x8664, 0x2022);
  for (std::size_t length = 0; length < head.size(); ++length) EXPECT_FALSE(Read(head.substr(0, length))) << length;
}

TEST_F(ImageTest, AHeaderThatPointsOutsideTheFileIsNotAProgramFile) {
  std::string head = Head(0x8664, 0x2022);
  head[63] = '\x7F';
  EXPECT_FALSE(Read(head));
  head[63] = '\xFF';
  EXPECT_FALSE(Read(head));
}

TEST_F(ImageTest, AMissingFileIsNotAProgramFile) { EXPECT_FALSE(ReadImage(m_folder.File("nowhere"))); }

}  // namespace
