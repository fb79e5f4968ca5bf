// ChangePIN: lets the user of a token change its PIN, in a dialog.
#pragma once

#include "common/Platform.h"

#include <boost/shared_ptr.hpp>
#include <string>

#include "cryptoki/Session.h"
#include "pin/CTELVOPINCache.h"

// ChangePIN shows CChangePINDlg on the calling thread, without a parent window, and returns
//    1  the PIN was changed: `session` is logged in with the new one, and `cache` holds it
//    2  the user cancelled; PIN and login are as before, unless the token took the new PIN and then refused the login
//   -1  no window could be made: there is no screen
//
// `session` must be a read-write session and outlive the call. With a null one OK changes nothing and gives 1 as well.
// `cache` may be empty. `tokenLabel` is shown in the title; when it is empty the title is "Change PIN".
//
// What the token refuses is shown to the user and not raised. The thread must not hold a LoginLock.
INT_PTR ChangePIN(Session* session, const boost::shared_ptr<CTELVOPINCache>& cache, const std::string& tokenLabel);
