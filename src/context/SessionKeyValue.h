// The value of a session key, which only a session that is logged in can read.
#pragma once

#include "common/Platform.h"

#include "context/CCSPContext.h"
#include "objects/KeyValue.h"

// Logs the context in and reads the value of one of its session keys. Both happen under one LoginLock, so that no other
// thread logs the token out in between. Failures are those of Login, and CryptokiError.
KeyValue LoginAndReadValue(CCSPContext& context, CCSPSecretKey& key);
