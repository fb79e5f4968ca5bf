#include "Application.h"

#include <cstdio>
#include <new>
#include <stdexcept>

#include "Heap.h"
#include "Platform.h"
#include "Report.h"
#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"
#include "entry/ProviderInterface.h"

namespace {

constexpr DWORD kMarker = 0x2BADC0DE;

void FindIn(const char* function, const char* what) { g_report->Find(std::string(function) + ": " + what); }

void JudgeEscape(const char* function, Leaves leaves, Leaves allowed, const char* name) {
  if (leaves != allowed) FindIn(function, (std::string(name) + " is thrown").c_str());
}

}  // namespace

bool Application::Make(const char* function, const Call& call, Leaves leaves) {
  BOOL result = FALSE;
  m_lackedMemory = false;
  SetLastError(kMarker);
  try {
    const ProviderAtWork inside;
    result = call();
  } catch (const CCSPContextError&) {
    JudgeEscape(function, Leaves::kContextError, leaves, "a CCSPContextError");
    return false;
  } catch (const CryptokiError&) {
    JudgeEscape(function, Leaves::kModuleError, leaves, "a CryptokiError");
    return false;
  } catch (const std::bad_alloc&) {
    m_lackedMemory = true;
    if (!TheHeap().HasFailed() && !Platform::LackedPages())
      FindIn(function, "std::bad_alloc is thrown although no allocation failed");
    return false;
  } catch (const std::runtime_error&) {
    JudgeEscape(function, Leaves::kRuntimeError, leaves, "a std::runtime_error");
    return false;
  } catch (...) {
    FindIn(function, "an unexpected exception is thrown");
    return false;
  }
  Judge(function, result, GetLastError());
  return result != FALSE;
}

void Application::Judge(const char* function, BOOL result, DWORD code) {
  if (result == FALSE && code == 0) FindIn(function, "FALSE with the last error 0");
  if (result == FALSE && code == kMarker) FindIn(function, "FALSE without a last error");
  if (result == TRUE && code != 0) FindIn(function, "TRUE with a last error");
}

bool Application::Does(const char* function, const Call& call, Leaves leaves) {
  const bool done = Make(function, call, leaves);
  if (!done) {
    char code[20];
    std::snprintf(code, sizeof(code), "%08X", static_cast<unsigned>(GetLastError()));
    Complain(std::string(function) + " fails with " + code);
  }
  return done;
}

bool Application::Fails(const char* function, const Call& call, Leaves leaves) {
  const bool done = Make(function, call, leaves);
  if (done) Complain(std::string(function) + " succeeds");
  return done;
}

void Application::Needs(bool isSo, const char* what) {
  if (!isSo) Complain(std::string("not true: ") + what);
}

void Application::Complain(const std::string& what) {
  if (m_complaint.empty()) m_complaint = what;
}

HCRYPTPROV Application::Acquire(const char* container, DWORD flags, Leaves leaves) {
  HCRYPTPROV context = 0;
  Does(
      "CPAcquireContext", [&] { return CPAcquireContext(&context, container, flags, nullptr); }, leaves);
  return context;
}

// A context that was not acquired is released all the same, as an unknown handle. A release that failed for lack of
// memory is repeated.
void Application::Release(HCRYPTPROV context) {
  const Call call = [&] { return CPReleaseContext(context, 0); };
  const bool isKnown = context != 0;
  Does("CPReleaseContext", call, isKnown ? Leaves::kNothing : Leaves::kContextError);
  if (m_lackedMemory) Does("CPReleaseContext", call, Leaves::kContextError);
}

void Application::GivePin(HCRYPTPROV context, const std::string& pin, bool isRight) {
  ++m_stage.TheUser().given[pin];
  const Call call = [&] {
    return CPSetProvParam(context, PP_KEYEXCHANGE_PIN, reinterpret_cast<const BYTE*>(pin.c_str()), 0);
  };
  if (isRight) {
    Does("CPSetProvParam", call, Leaves::kModuleError);
  } else {
    Fails("CPSetProvParam", call, Leaves::kModuleError);
  }
}

HCRYPTKEY Application::UserKey(HCRYPTPROV context, DWORD spec) {
  HCRYPTKEY key = 0;
  Does("CPGetUserKey", [&] { return CPGetUserKey(context, spec, &key); });
  return key;
}

HCRYPTHASH Application::HashOf(HCRYPTPROV context, const std::string& message, ALG_ID algorithm) {
  HCRYPTHASH hash = 0;
  Does("CPCreateHash", [&] { return CPCreateHash(context, algorithm, 0, 0, &hash); });
  const auto* bytes = reinterpret_cast<const BYTE*>(message.data());
  Does("CPHashData", [&] { return CPHashData(context, hash, bytes, static_cast<DWORD>(message.size()), 0); });
  return hash;
}

void Application::DestroyHash(HCRYPTPROV context, HCRYPTHASH hash) {
  Does("CPDestroyHash", [&] { return CPDestroyHash(context, hash); });
}

void Application::DestroyKey(HCRYPTPROV context, HCRYPTKEY key) {
  Does("CPDestroyKey", [&] { return CPDestroyKey(context, key); });
}
