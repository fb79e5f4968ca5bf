// Flows of contexts, containers, certificates and PINs.
#include <array>
#include <cstring>

#include "Flows.h"
#include "entry/ProviderInterface.h"
#include "module/SampleCertificates.h"

namespace {

// Asks for the size, then for the answer. Returns its length.
DWORD Ask(Application& app, HCRYPTPROV context, DWORD param, DWORD flags = 0) {
  std::array<BYTE, kRoom> answer = {};
  DWORD length = 0;
  app.Does("CPGetProvParam", [&] { return CPGetProvParam(context, param, nullptr, &length, flags); });
  app.Needs(length <= kRoom, "the size of an answer");
  length = kRoom;
  const Leaves leaves = param == PP_SMARTCARD_GUID ? Leaves::kModuleError : Leaves::kNothing;
  app.Does(
      "CPGetProvParam", [&] { return CPGetProvParam(context, param, answer.data(), &length, flags); }, leaves);
  return length;
}

// Counts the entries of a list.
int Count(Application& app, HCRYPTPROV context, DWORD param) {
  constexpr int kMost = 60;
  int count = 0;
  DWORD flags = CRYPT_FIRST;
  for (bool goesOn = true; goesOn && count < kMost; flags = CRYPT_NEXT) {
    std::array<BYTE, kRoom> answer = {};
    DWORD length = kRoom;
    BOOL result = FALSE;
    app.Fails("CPGetProvParam", [&] {
      result = CPGetProvParam(context, param, answer.data(), &length, flags);
      // Only the end of the list is a failure.
      if (result != FALSE) ++count;
      goesOn = result != FALSE;
      if (goesOn) SetLastError(ERROR_NO_MORE_ITEMS);
      return FALSE;
    });
    goesOn = goesOn && result != FALSE;
  }
  return count;
}

void SignSomething(Application& app, HCRYPTPROV context, bool succeeds) {
  const HCRYPTHASH hash = app.HashOf(context, "abc");
  std::array<BYTE, kRoom> signature = {};
  DWORD length = kRoom;
  const Application::Call sign = [&] {
    return CPSignHash(context, hash, AT_SIGNATURE, nullptr, 0, signature.data(), &length);
  };
  if (succeeds) {
    app.Does("CPSignHash", sign);
  } else {
    app.Fails("CPSignHash", sign);
  }
  app.DestroyHash(context, hash);
}

}  // namespace

void AcquireByName(Application& app) {
  const HCRYPTPROV context = app.Acquire("one");
  app.UserKey(context);
  app.Release(context);
  // Released twice.
  if (context != 0) {
    app.Fails(
        "CPReleaseContext", [&] { return CPReleaseContext(context, 0); }, Leaves::kContextError);
  }
}

void AcquireByReader(Application& app) {
  const HCRYPTPROV context = app.Acquire("\\\\.\\Reader B\\one");
  app.UserKey(context, AT_SIGNATURE);
  app.Release(context);
}

void AcquireByDefault(Application& app) {
  const HCRYPTPROV context = app.Acquire(nullptr, CRYPT_SILENT);
  app.UserKey(context);
  app.Release(context);
}

void AcquireForVerification(Application& app) {
  const HCRYPTPROV context = app.Acquire(nullptr, CRYPT_VERIFYCONTEXT);
  Ask(app, context, PP_NAME);
  app.Release(context);
}

void AcquireByDialog(Application& app) {
  const HCRYPTPROV context = app.Acquire(nullptr, 0, Leaves::kRuntimeError);
  app.UserKey(context);
  app.Release(context);
}

void MakeContainer(Application& app) {
  const HCRYPTPROV context = app.Acquire("\\\\.\\Reader A\\two", CRYPT_NEWKEYSET);
  app.GivePin(context);
  HCRYPTKEY key = 0;
  app.Does("CPGenKey", [&] { return CPGenKey(context, AT_SIGNATURE, 1024U << 16U, &key); });
  app.UserKey(context);
  app.Release(context);
  const HCRYPTPROV again = app.Acquire("\\\\.\\Reader A\\two");
  app.UserKey(again);
  app.Release(again);
}

void DeleteContainer(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  HCRYPTPROV untouched = 0;
  app.Does("CPAcquireContext", [&] { return CPAcquireContext(&untouched, kContainer, CRYPT_DELETEKEYSET, nullptr); });
  if (untouched != 0) app.Release(untouched);
  app.Release(context);
}

void Enumerate(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.Needs(Count(app, context, PP_ENUMALGS) > 5, "algorithms are listed");
  app.Needs(Count(app, context, PP_ENUMALGS_EX) > 5, "algorithms are listed in the long form");
  app.Needs(Count(app, context, PP_ENUMCONTAINERS) == 1, "the container is listed");
  app.Release(context);
}

void AskProvider(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  constexpr DWORD kParams[] = {PP_IMPTYPE,          PP_VERSION,          PP_NAME,           PP_CONTAINER,
                               PP_UNIQUE_CONTAINER, PP_SMARTCARD_READER, PP_SMARTCARD_GUID, PP_KEYSPEC};
  for (const DWORD param : kParams) Ask(app, context, param);
  Ask(app, context, PP_KEYSET_SEC_DESCR, DACL_SECURITY_INFORMATION);
  const auto* text = reinterpret_cast<const BYTE*>("Insert the card");
  app.Does("CPSetProvParam", [&] { return CPSetProvParam(context, PP_UI_PROMPT, text, 0); });
  app.Release(context);
}

void AskForRandom(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  std::array<BYTE, 32> bytes = {};
  app.Does("CPGenRandom", [&] { return CPGenRandom(context, static_cast<DWORD>(bytes.size()), bytes.data()); });
  app.Release(context);
}

void ReadCertificate(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  const HCRYPTKEY key = app.UserKey(context);
  Bytes der(kRoom);
  DWORD length = 0;
  app.Does("CPGetKeyParam", [&] { return CPGetKeyParam(context, key, KP_CERTIFICATE, nullptr, &length, 0); });
  length = kRoom;
  app.Does("CPGetKeyParam", [&] { return CPGetKeyParam(context, key, KP_CERTIFICATE, der.data(), &length, 0); });
  der.resize(length <= kRoom ? length : 0);
  app.Needs(der == kHolderCertificate, "the certificate is read");
  app.Release(context);
}

void WriteCertificate(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context);
  const HCRYPTKEY key = app.UserKey(context);
  app.Does("CPSetKeyParam", [&] { return CPSetKeyParam(context, key, KP_CERTIFICATE, kFirstCertificate.data(), 0); });
  app.Release(context);
}

void OpenStores(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  constexpr DWORD kStores[] = {PP_USER_CERTSTORE, PP_ROOT_CERTSTORE};
  for (const DWORD param : kStores) {
    HCERTSTORE store = nullptr;
    DWORD length = sizeof(store);
    app.Does("CPGetProvParam",
             [&] { return CPGetProvParam(context, param, reinterpret_cast<BYTE*>(&store), &length, 0); });
    if (store != nullptr) CertCloseStore(store, 0);
  }
  app.Release(context);
}

void GivePinByApplication(Application& app) {
  const HCRYPTPROV context = app.Acquire(kContainer);
  app.GivePin(context, kWrongPin, false);
  app.GivePin(context);
  SignSomething(app, context, true);
  app.Release(context);
}

void GivePinByDialog(Application& app) {
  app.TheStage().TheUser().pins = {kWrongPin, kPin};
  const HCRYPTPROV context = app.Acquire(kContainer);
  SignSomething(app, context, true);
  SignSomething(app, context, true);
  app.Release(context);
}

// The signature after a cancelled dialog fails without a dialog. The one after that opens the dialog again.
void CancelPinDialog(Application& app) {
  app.TheStage().TheUser().pins = {};
  const HCRYPTPROV context = app.Acquire(kContainer);
  SignSomething(app, context, false);
  SignSomething(app, context, false);
  app.TheStage().TheUser().pins = {kPin};
  SignSomething(app, context, true);
  app.Release(context);
}
