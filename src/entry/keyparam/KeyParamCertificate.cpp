#include "entry/keyparam/KeyParamCertificate.h"

#include <cstring>

namespace keyparam {

namespace {

constexpr char kPairsWithCertificateOnly[] =
    "KP_CERTIFICATE is only for RSA Public/private Key pairs that has certificate in them";

Attribute ValueOfCertificate(const KeyParamCall& call) {
  return call.context.GetDefaultCertificate()->GetAttribute(CKA_VALUE);
}

}  // namespace

Outcome AskCertificate(const KeyParamCall& call) {
  if (call.context.HasCertificate() == 0) return call.frame.Refuse(kPairsWithCertificateOnly, NTE_BAD_TYPE);
  *call.length = static_cast<DWORD>(ValueOfCertificate(call).GetReadableLength());
  return kGoOn;
}

// Required: the buffer is cleared even for a key that has no certificate.
Outcome ReadCertificate(const KeyParamCall& call) {
  std::memset(call.data, 0, *call.length);
  if (call.sessionKey) return call.frame.Refuse(kPairsOnly, NTE_BAD_TYPE);
  // Required: a different code than without a buffer.
  if (call.context.HasCertificate() == 0) return call.frame.Refuse(kPairsWithCertificateOnly, NTE_BAD_KEY);
  if (call.context.HasPrivateKey() == 0) return call.frame.Refuse("Private Key does not exist", NTE_BAD_TYPE);
  const Attribute value = ValueOfCertificate(call);
  const DWORD length = static_cast<DWORD>(value.GetReadableLength());
  if (*call.length < length) return RefuseSmallBuffer(call);
  if (length != 0) std::memcpy(call.data, value.GetValue(), length);
  *call.length = length;
  g_entryLog.WriteLine("Certificate: ");
  g_entryLog.WriteHexDump(call.data, length);
  return kGoOn;
}

}  // namespace keyparam
