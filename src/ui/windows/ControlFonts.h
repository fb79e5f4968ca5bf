// ControlFonts: the fonts that a dialog draws its controls with, made once for each control and freed with this object.
#pragma once

#include "common/Platform.h"

#include <map>
#include <memory>
#include <type_traits>

#include "ui/DialogView.h"

class ControlFonts {
 public:
  // The font of a control, as `font` described it at the control's first request; null when the system makes none.
  // Not to be deleted or kept by the caller.
  HFONT Get(int control, const DialogFont& font);

 private:
  struct Delete {
    void operator()(HFONT font) const { DeleteObject(font); }
  };
  using Handle = std::unique_ptr<std::remove_pointer_t<HFONT>, Delete>;

  std::map<int, Handle> m_fonts;
};
