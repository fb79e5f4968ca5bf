// CPReleaseContext: the end of a context.
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

// Required: this function catches no exceptions. An unknown handle is reported to the caller by an exception.
BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  const EntryFrame frame("CPReleaseContext");
  frame.LogNumber("\tdwFlags:", dwFlags);
  const boost::shared_ptr<CCSPContext> context = g_contextList.FindContext(hProv);
  context->CloseSession();
  g_contextList.RemoveContext(*context);
  CCryptoWrapper::Release();
  return frame.Succeed();
}
