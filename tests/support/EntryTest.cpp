#include "EntryTest.h"

#include <array>
#include <new>

#include "cryptoki/CCryptoWrapper.h"
#include "entry/CCSPContextList.h"
#include "objects/CCSPHashFactory.h"
#include "objects/CCSPSecretKeyFactory.h"

namespace {

void RestartContextList() {
  g_contextList.~CCSPContextList();
  new (&g_contextList) CCSPContextList();
}

void RestartHashFactory() {
  g_hashFactory.~CCSPHashFactory();
  new (&g_hashFactory) CCSPHashFactory();
}

void RestartSecretKeyFactory(const CCSPSecretKeyFactory::Clock& clock) {
  g_secretKeyFactory.~CCSPSecretKeyFactory();
  new (&g_secretKeyFactory) CCSPSecretKeyFactory(g_secretKeyLog, clock);
}

}  // namespace

EntryTest::EntryTest() : m_loaded(m_module) {
  g_cryptoWrapper = CCryptoWrapper();
  RestartSecretKeyFactory(m_clock.Clock());
}

EntryTest::~EntryTest() {
  RestartContextList();
  RestartHashFactory();
  RestartSecretKeyFactory(CCSPSecretKeyFactory::SystemClock());
  g_cryptoWrapper = CCryptoWrapper();
}

std::string EntryTest::ProcessLines() {
  std::array<char, 1000> path = {};
  GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return Value("\tNOTE: Using module: ", std::string(path.data()).substr(0, 259)) +
         Value("\tNOTE: Process Id: ", std::to_string(GetCurrentProcessId()));
}

std::string EntryTest::FrameLines(const std::string& function) {
  return Line("\n================================================================================") +
         Line("\n" + function);
}

HCRYPTPROV EntryTest::AcquireHandle(const char* container, DWORD flags) {
  HCRYPTPROV handle = 0;
  EXPECT_TRUE(CPAcquireContext(&handle, container, flags, nullptr));
  m_module.ForgetCalls();
  TakeLog();
  return handle;
}
