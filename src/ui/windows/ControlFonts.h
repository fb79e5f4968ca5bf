// ControlFonts: the fonts of a dialog's controls, made once for each control and freed with this object.
#pragma once

#include "common/Platform.h"

#include <map>
#include <memory>
#include <type_traits>

#include "ui/DialogView.h"

class ControlFonts {
 public:
  // The font of a control, as `font` described it at the control's first request; null when the system cannot make it.
  // This object owns it.
  HFONT Get(int control, const DialogFont& font);

 private:
  struct Delete {
    void operator()(HFONT font) const { DeleteObject(font); }
  };
  using Handle = std::unique_ptr<std::remove_pointer_t<HFONT>, Delete>;

  std::map<int, Handle> m_fonts;
};
