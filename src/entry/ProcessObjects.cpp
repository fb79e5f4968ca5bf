// The process-wide objects of the provider whose order matters, in that order. Within one file they are constructed
// from top to bottom; across files no order is guaranteed. docs/architecture.md names the others.
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

constexpr DWORD kItemLimit = 200000;
constexpr DWORD kNoItemLimit = 2147483647;

// During its construction the factory logs through its own log object. The log object of its module is constructed
// further down and writes nothing yet, and any other log object would count the line. This one is not used later.
CCSPSecretKeyFactory MakeSecretKeyFactory() {
  CCSPLog log(kItemLimit);
  return CCSPSecretKeyFactory(log);
}

}  // namespace

CCSPLog g_pinCacheLog(kItemLimit);
CCSPLog g_entryLog(kItemLimit);

HINSTANCE g_libraryInstance = nullptr;

CCSPSecretKeyFactory g_secretKeyFactory = MakeSecretKeyFactory();
CCSPHashFactory g_hashFactory;
CCryptoWrapper g_cryptoWrapper;
CCSPContextList g_contextList;

CCSPLog g_changePwdLog(kItemLimit);
CCSPLog g_contextLog(kItemLimit);

PINCacheManager g_pinCacheManager;
UnplugThreadManager g_unplugThreadManager;
KeyProviderInfo g_keyProviderInfo;

CCSPLog g_hashLog(kNoItemLimit);
CCSPLog g_loginLog(kItemLimit);
CCSPLog g_secretKeyLog(kItemLimit);
CCSPLog g_cryptokiLog(kItemLimit);
CCSPLog g_unusedLog(kItemLimit);
CCSPLog g_objectLog(kItemLimit);
CCSPLog g_sessionLog(kItemLimit);
CCSPLog g_certificateLog(kItemLimit);
