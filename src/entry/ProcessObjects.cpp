// The process-wide objects of the provider whose order matters, in that order. Within one file they are constructed
// from top to bottom; across files no order is promised. docs/architecture.md names the others.
#include "common/LibraryInstance.h"
#include "context/KeyProviderInfo.h"
#include "context/UnplugThreadManager.h"
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "log/Logs.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"
#include "pin/PINCacheManager.h"

namespace {

constexpr DWORD kLineLimit = 200000;
constexpr DWORD kNoLineLimit = 2147483647;

// During its construction the factory logs through a log object of its own. The log object of its module is constructed
// further down and writes nothing yet, and any other log object would count the line. Later nothing is logged through
// this one.
CCSPSecretKeyFactory MakeSecretKeyFactory() {
  CCSPLog log(kLineLimit);
  return CCSPSecretKeyFactory(log);
}

}  // namespace

CCSPLog g_pinCacheLog(kLineLimit);
CCSPLog g_entryLog(kLineLimit);

HINSTANCE g_libraryInstance = nullptr;

CCSPSecretKeyFactory g_secretKeyFactory = MakeSecretKeyFactory();
CCSPHashFactory g_hashFactory;
CCryptoWrapper g_cryptoWrapper;
CCSPContextList g_contextList;

CCSPLog g_changePwdLog(kLineLimit);
CCSPLog g_contextLog(kLineLimit);

PINCacheManager g_pinCacheManager;
UnplugThreadManager g_unplugThreadManager;
KeyProviderInfo g_keyProviderInfo;

CCSPLog g_hashLog(kNoLineLimit);
CCSPLog g_loginLog(kLineLimit);
CCSPLog g_secretKeyLog(kLineLimit);
CCSPLog g_cryptokiLog(kLineLimit);
CCSPLog g_unusedLog(kLineLimit);
CCSPLog g_objectLog(kLineLimit);
CCSPLog g_sessionLog(kLineLimit);
CCSPLog g_certificateLog(kLineLimit);
