#include "ui/windows/ControlFonts.h"

namespace {

HFONT MakeFont(const DialogFont& font) {
  LOGFONTA description = {};
  description.lfHeight = font.height;
  description.lfWeight = font.weight;
  lstrcpynA(description.lfFaceName, font.face, sizeof(description.lfFaceName));
  return CreateFontIndirectA(&description);
}

}  // namespace

HFONT ControlFonts::Get(int control, const DialogFont& font) {
  Handle& handle = m_fonts[control];
  if (!handle) handle.reset(MakeFont(font));
  return handle.get();
}
