// The dialogs of the system that the library is built for: real windows (ui/windows), or none.
#pragma once

#include "ui/DialogHost.h"

DialogHost& GetSystemDialogHost();
