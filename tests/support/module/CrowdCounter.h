// CrowdCounter: a module that notices when two threads call it at once.
#pragma once

#include <atomic>
#include <thread>
#include <tuple>

#include "cryptoki/CryptokiInterface.h"

// Has no lock. A call lingers until another one comes in, but yields to other threads only kYields times.
class CrowdCounter : public CryptokiInterface {
 public:
  CrowdCounter() : CryptokiInterface("crowd") {}

  void Unload() override {}
  void Load() override {}
  void Reinitialize() override {}

  template <typename... Arguments>
  CK_RV Linger(const Arguments&...) {
    constexpr int kYields = 50;
    ++calls;
    ++m_inside;
    for (int i = 0; i < kYields && !met; ++i) {
      if (m_inside > 1) met = true;
      std::this_thread::yield();
    }
    --m_inside;
    return CKR_OK;
  }

#define ENTRY(name, params, args) \
  CK_RV name params override { return Linger(std::make_tuple args); }
#include "cryptoki/CryptokiEntries.inc"

  CK_RV C_LoginExtended(CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR_PTR, CK_ULONG) override { return Linger(); }

  std::atomic<int> calls{0};
  std::atomic<bool> met{false};  // whether two calls were inside at once

 private:
  std::atomic<int> m_inside{0};
};
