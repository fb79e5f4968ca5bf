#include "entry/provparam/ProvParamNames.h"

#include <algorithm>
#include <cstring>

namespace provparam {

namespace {

// The name is the answer, up to its first zero byte.
void MeasureString(ProvParamCall& call, const std::string& name) {
  call.name = name.substr(0, name.find('\0'));
  call.size = static_cast<DWORD>(call.name.size() + 1);
}

void CopyString(ProvParamCall& call) { std::memcpy(call.data, call.name.c_str(), call.name.size() + 1); }

}  // namespace

Outcome MeasureName(ProvParamCall& call) {
  MeasureString(call, call.context.GetProviderName());
  return kGoOn;
}

Outcome WriteName(ProvParamCall& call) {
  CopyString(call);
  *call.length = call.size;
  g_entryLog.WriteLine("");
  g_entryLog.WriteLine(call.name.c_str());
  return kGoOn;
}

Outcome MeasureContainer(ProvParamCall& call) {
  MeasureString(call, call.context.GetContainerName());
  g_entryLog.WriteHex("\nContainer Name Len: ", call.size, true);
  return kGoOn;
}

Outcome WriteContainer(ProvParamCall& call) {
  CopyString(call);
  *call.length = call.size;
  g_entryLog.WriteLine(("\n" + call.name).c_str());
  return kGoOn;
}

Outcome MeasureReader(ProvParamCall& call) {
  MeasureString(call, call.context.GetReaderName());
  return kGoOn;
}

// Required: without a reader this step fails, but not the size query before it. It never changes the caller's length.
Outcome WriteReader(ProvParamCall& call) {
  if (call.name.empty()) {
    return call.frame.Refuse("\nThe current context is currently NOT associated with any smart card reader",
                             NTE_BAD_TYPE);
  }
  CopyString(call);
  return kGoOn;
}

Outcome WriteCardSerial(ProvParamCall& call) {
  const std::string serial = call.context.GetTokenInfo().GetSerial();
  std::memcpy(call.data, serial.data(), std::min<std::size_t>(serial.size(), call.size));
  g_entryLog.WriteBytes("\nSerial Number Retrieved: ", call.data, call.size, true);
  return kGoOn;
}

}  // namespace provparam
