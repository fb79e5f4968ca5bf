#include "ui/DialogHost.h"

#include "ui/SystemDialogHost.h"

namespace {

DialogHost* g_replacement = nullptr;

}  // namespace

DialogHost& GetDialogHost() { return g_replacement != nullptr ? *g_replacement : GetSystemDialogHost(); }

DialogHost* SetDialogHost(DialogHost* host) {
  DialogHost* const before = g_replacement;
  g_replacement = host;
  return before;
}
