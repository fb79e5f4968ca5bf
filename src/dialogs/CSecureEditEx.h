// CSecureEditEx: an edit control that takes a PIN. In secure mode the window shows only asterisks. The characters are
// kept here, each masked and in its own heap block, so that the PIN is not in memory as one string.
//
// It follows the window: the dialog passes on the control's EN_UPDATE, and its key and mouse messages before and after
// their default handling. It could not follow the replacement of a selection, so nothing stays selected.
#pragma once

#include "common/Platform.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "common/WipeMemory.h"
#include "ui/DialogView.h"

class CSecureEditEx {
 public:
  explicit CSecureEditEx(int control);
  ~CSecureEditEx() = default;
  CSecureEditEx(const CSecureEditEx&) = delete;
  CSecureEditEx& operator=(const CSecureEditEx&) = delete;

  // Overwrites the text up to its terminator and frees it. Null is allowed.
  static void WipePlainText(char* text);
  struct PlainTextWiper {
    void operator()(char* text) const { WipePlainText(text); }
  };
  // A string with its terminator, wiped when it is released.
  using PlainText = std::unique_ptr<char[], PlainTextWiper>;

  // Secure mode is on from construction; 0 switches it off. Forgets the characters held; the window's text stays.
  void SetSecureMode(int mode);
  // The real text; null after an allocation failure.
  PlainText GetPlainText(const DialogView& view) const;
  // Makes `text` the real text; null clears it.
  void SetPlainText(DialogView& view, const char* text);

  int GetControl() const { return m_control; }

  // For a new and empty window: forgets what was entered into an earlier one.
  void OnOpen();
  // The window's text has changed. A change that the user did not make, such as text that another program sets, changes
  // the characters held here in the same way.
  void OnUpdate(DialogView& view);
  void BeforeInput(DialogView& view, UINT message, WPARAM key);
  void AfterInput(DialogView& view, UINT message);

 protected:
  struct ByteWiper {
    void operator()(BYTE* masked) const;
  };
  using MaskedByte = std::unique_ptr<BYTE[], ByteWiper>;

  WipedBuffer m_key;
  std::vector<MaskedByte> m_store;  // entry i is character i XOR key[i mod 32]

 private:
  // Masks the whole store, or unmasks it, by position.
  void ToggleMask();
  void InsertIntoStore(std::size_t position, const char* text, std::size_t length);
  void DeleteFromStore(std::size_t position, std::size_t length);
  void ShowAsterisks(DialogView& view);

  int m_control;
  int m_secureMode = 1;
  std::size_t m_length = 0;  // of the window's text, as last seen
};
