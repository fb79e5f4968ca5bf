// CPSetProvParam: what an application sets on a context, above all the PIN.
#include <cstring>

#include "context/TELVOCSPContext.h"
#include "entry/EntryFrame.h"
#include "entry/ProviderInterface.h"

namespace {

// The log shows these in lower case.
void LogArgument(const char* label, DWORD value) { g_entryLog.WriteFormatted(label, value, "%08x", true); }

BOOL SetParameter(const EntryFrame& frame, CCSPContext& context, DWORD param, const BYTE* data) {
  switch (param) {
    case PP_KEYSET_SEC_DESCR:
    case PP_PIN_PROMPT_STRING:
      return frame.Succeed();  // accepted without effect
    case PP_UI_PROMPT:
      // No other class derives from CCSPContext.
      static_cast<TELVOCSPContext&>(context).SetNoCardPrompt(reinterpret_cast<const char*>(data));
      return frame.Succeed();
    case PP_KEYEXCHANGE_PIN:
    case PP_SIGNATURE_PIN:
      g_entryLog.WriteLine("Set PIN");
      // ContextLogin has the last errors for a PIN that the card refuses.
      context.LoginWithPIN(data, static_cast<DWORD>(std::strlen(reinterpret_cast<const char*>(data))));
      return frame.Succeed();
    case PP_USE_HARDWARE_RNG:
      return frame.SucceedWith("\nCPSetProvParam Success. PP_USE_HARDWARE_RNG supported");
    default:
      return frame.Refuse("\nCPSetProvParam Error: Invalid dwParam", NTE_BAD_TYPE);
  }
}

}  // namespace

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  const EntryFrame frame("CPSetProvParam");
  LogArgument("\tdwParam: \t", dwParam);
  LogArgument("\tdwFlags: \t", dwFlags);
  LogArgument("\tpbData: \t\t ", EntryFrame::Low32(pbData));
  if (pbData == nullptr && dwParam != PP_USE_HARDWARE_RNG) {
    return frame.Refuse("\nData should not be null", ERROR_INVALID_PARAMETER);
  }
  // Required: a failure of the module leaves the function.
  return frame.WithContext(
      hProv, [&](CCSPContext& context) { return SetParameter(frame, context, dwParam, pbData); },
      ModuleFailure::kLeaves);
}
