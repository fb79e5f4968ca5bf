// The dialogs of the system the library is built for: real windows (pin/windows), or none.
#pragma once

#include "pin/DialogHost.h"

DialogHost& GetSystemDialogHost();
