#include "dialogs/ChangePIN.h"

#include "dialogs/CChangePINDlg.h"

INT_PTR ChangePIN(Session* session, const boost::shared_ptr<CTELVOPINCache>& cache, const std::string& tokenLabel) {
  CChangePINDlg dialog;
  dialog.SetSession(session);
  dialog.AttachPINCache(cache);
  dialog.SetTokenLabel(tokenLabel);
  return dialog.DoModal();
}
