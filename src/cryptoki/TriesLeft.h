// TriesLeft: how many wrong PINs the card still takes.
#pragma once

#include "common/Platform.h"

#include "cryptoki/Session.h"

// The tries that the last wrong user PIN left: the module puts them into the low four bits of the session's device
// error. 0 when the PIN is locked, and when the last PIN was right. CryptokiError when the module does not report them.
inline DWORD TriesLeft(Session& session) { return static_cast<DWORD>(session.GetSessionInfo().ulDeviceError) & 0xFU; }
