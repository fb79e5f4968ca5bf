// One call of CPGetKeyParam.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>

#include "entry/ParamCall.h"
#include "objects/CCSPSecretKey.h"

namespace keyparam {

struct KeyParamCall : ParamCall {
  BYTE* data;  // null asks for the size
  DWORD* length;
  boost::shared_ptr<CCSPSecretKey> sessionKey;  // null: another key
  PublicKey* importedKey = nullptr;             // null as well: the key pair
  // How the row refuses a buffer that is too small.
  const char* smallBufferLine = nullptr;
  DWORD smallBufferCode = ERROR_MORE_DATA;
};

// Required: the caller's length stays as it was.
inline Outcome RefuseSmallBuffer(const KeyParamCall& call) {
  return call.frame.Refuse(call.smallBufferLine, call.smallBufferCode);
}

}  // namespace keyparam
