#include <gtest/gtest.h>
#include <string>

#include "ui/windows/ControlFonts.h"

namespace {

const DialogFont kStatusFont = {16, 700, "Arial"};

TEST(ControlFontsTest, AFontHasOnlyTheRequestedHeightWeightAndFace) {
  ControlFonts fonts;
  LOGFONTA font = {};
  ASSERT_NE(0, GetObjectA(fonts.Get(1092, kStatusFont), sizeof(font), &font));
  EXPECT_EQ(16, font.lfHeight);
  EXPECT_EQ(700, font.lfWeight);
  EXPECT_EQ("Arial", std::string(font.lfFaceName));
  EXPECT_EQ(0, font.lfWidth);
  EXPECT_EQ(0, font.lfItalic);
  EXPECT_EQ(0, font.lfCharSet);
}

TEST(ControlFontsTest, AControlKeepsItsFont) {
  ControlFonts fonts;
  const HFONT first = fonts.Get(1092, kStatusFont);
  EXPECT_NE(first, fonts.Get(1076, kStatusFont));
  EXPECT_EQ(first, fonts.Get(1092, kStatusFont));
}

TEST(ControlFontsTest, FontsAreFreedWithTheirOwner) {
  HFONT font = nullptr;
  {
    ControlFonts fonts;
    font = fonts.Get(1092, kStatusFont);
    EXPECT_EQ(DWORD{OBJ_FONT}, GetObjectType(font));
  }
  EXPECT_EQ(0u, GetObjectType(font));
}

}  // namespace
