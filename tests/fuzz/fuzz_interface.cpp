// The whole interface: the input is read as calls of the CP... functions with their arguments, on cards that come and
// go, with a user who types right and wrong PINs, a module whose n-th call fails or lies, and a platform whose calls
// fail. Caller.h and InterfaceStage.h describe what must hold for each call. Whatever happened, the next card must
// sign.
#include <gtest/gtest.h>

#include "Caller.h"
#include "Must.h"

namespace {

// 'S' repeated, a zero byte, and the DigestInfo of the scripted module's digest of "abc", all in reverse.
Bytes ExpectedSignature() {
  Bytes info = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2B, 0x0E, 0x03, 0x02, 0x1A, 0x05, 0x00, 0x04, 0x14, 0, 0, 0, 3};
  info.insert(info.end(), {'a', 'b', 'c'});
  info.resize(info.size() + 13);
  Bytes block(InterfaceStage::kModulusBytes - info.size() - 1, 'S');
  block.push_back(0);
  block.insert(block.end(), info.begin(), info.end());
  return Bytes(block.rbegin(), block.rend());
}

void SignOnNewCard(InterfaceStage& stage) {
  stage.BeginAnew();
  stage.Give(InterfaceStage::kPIN);
  HCRYPTPROV context = 0;
  Must(CPAcquireContext(&context, "\\\\.\\Reader Z\\one", 0, nullptr) == TRUE);
  const auto* const pin = reinterpret_cast<const BYTE*>(InterfaceStage::kPIN);
  Must(CPSetProvParam(context, PP_SIGNATURE_PIN, pin, 0) == TRUE);
  HCRYPTHASH hash = 0;
  Must(CPCreateHash(context, CALG_SHA1, 0, 0, &hash) == TRUE);
  const BYTE message[] = {'a', 'b', 'c'};
  Must(CPHashData(context, hash, message, sizeof(message), 0) == TRUE);
  Bytes signature(InterfaceStage::kModulusBytes);
  auto length = static_cast<DWORD>(signature.size());
  Must(CPSignHash(context, hash, AT_SIGNATURE, nullptr, 0, signature.data(), &length) == TRUE);
  Must(length == signature.size() && signature == ExpectedSignature());
  HCRYPTKEY pair = 0;
  Must(CPGetUserKey(context, AT_SIGNATURE, &pair) == TRUE);
  Must(CPVerifySignature(context, hash, signature.data(), length, pair, nullptr, 0) == TRUE);
  Must(CPReleaseContext(context, 0) == TRUE);
}

}  // namespace

// The module's library stays loaded, because libFuzzer clears the counters of each library that it has seen.
extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  testing::FLAGS_gtest_break_on_failure = true;  // a failure in the stage's parts is a finding, too
  Must(LoadLibraryA("telvopkcs11.dll") != nullptr);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  InterfaceStage stage(data);
  Caller caller(data, stage);
  caller.Prepare();
  constexpr int kMostCalls = 200;
  for (int i = 0; i < kMostCalls && data.remaining_bytes() > 0; ++i) caller.CallOne();
  caller.ReleaseAll();
  SignOnNewCard(stage);
  return 0;
}
