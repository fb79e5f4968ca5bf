// The log objects, one for each source module that logs. Defined in entry/ProcessObjects.cpp.
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
