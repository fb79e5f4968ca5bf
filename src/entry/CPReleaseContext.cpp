// CPReleaseContext: the end of a context.
#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

// Required: alone of all the functions it has no handler. An unknown handle is an exception that leaves the function.
BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  const EntryFrame frame("CPReleaseContext");
  frame.LogNumber("\tdwFlags:", dwFlags);
  const boost::shared_ptr<CCSPContext> context = g_contextList.FindContext(hProv);
  context->CloseSession();
  g_contextList.RemoveContext(*context);
  CCryptoWrapper::Release();
  return frame.Succeed();
}
