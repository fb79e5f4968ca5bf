// The log objects. Each source file writes through the object of its module; docs/architecture.md has the table, and
// tests/system/log_objects.sh checks it. The provider writes nothing through g_secretKeyLog and g_unusedLog. Defined in
// entry/ProcessObjects.cpp.
#pragma once

#include "log/CCSPLog.h"

extern CCSPLog g_pinCacheLog;
extern CCSPLog g_entryLog;
extern CCSPLog g_changePwdLog;
extern CCSPLog g_contextLog;
extern CCSPLog g_hashLog;
extern CCSPLog g_loginLog;
extern CCSPLog g_secretKeyLog;
extern CCSPLog g_cryptokiLog;
extern CCSPLog g_unusedLog;
extern CCSPLog g_objectLog;
extern CCSPLog g_sessionLog;
extern CCSPLog g_certificateLog;
