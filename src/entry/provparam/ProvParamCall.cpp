#include "entry/provparam/ProvParamCall.h"

namespace provparam {

BOOL RefuseSmallBuffer(const ProvParamCall& call, DWORD size) {
  const char* const given = "\nCPGetProvParam Error: pcbDataLen value is less than actual value, pcbDataLen is";
  const char* const needed = "\nCPGetProvParam Error: pcbDataLen value is less than actual value, dataLen is ";
  g_entryLog.WriteHex(given, *call.length, true);
  *call.length = size;
  return call.frame.RefuseNumber(needed, size, ERROR_MORE_DATA);
}

}  // namespace provparam
