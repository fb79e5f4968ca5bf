// PINChange: the dialog in which a user changes the PIN, as the login dialog opens it.
#pragma once

#include "common/Platform.h"

#include <boost/shared_array.hpp>
#include <boost/shared_ptr.hpp>
#include <string>

#include "cryptoki/Session.h"
#include "pin/CTELVOPINCache.h"

struct PINChangeRequest {
  Session* session = nullptr;  // not owned
  boost::shared_ptr<CTELVOPINCache> cache;
  std::string tokenLabel;
  // The PIN that has just logged in, null when the user is to type it. It is wiped with its last holder.
  boost::shared_array<BYTE> pin;
  DWORD pinLength = 0;
};

class PINChange {
 public:
  PINChange() = default;
  virtual ~PINChange() = default;
  PINChange(const PINChange&) = delete;
  PINChange& operator=(const PINChange&) = delete;

  // Runs the dialog; 1 when the PIN was changed.
  virtual INT_PTR Run(const PINChangeRequest& request) = 0;
};
