#include "log/ProductKey.h"

namespace {

constexpr const char* kProductKeys[] = {
    "SOFTWARE\\Brenholt Devices Ltd.\\TELVO SDK",
    "SOFTWARE\\Brenholt Devices Ltd.\\TELVO-Quillkey Client Kit",
    "SOFTWARE\\Brenholt Devices Ltd.\\BHD Quillkey Cryptographic USB Token Client Kit",
};

}  // namespace

bool OpenProductKey(HKEY* key) {
  for (const char* name : kProductKeys) {
    if (RegOpenKeyA(HKEY_LOCAL_MACHINE, name, key) == ERROR_SUCCESS) return true;
  }
  return false;
}
