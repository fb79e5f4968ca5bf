// OtherProvider: a context of one of the system's own providers, without a container.
#pragma once

#include "common/Platform.h"

#include <gtest/gtest.h>

class OtherProvider {
 public:
  OtherProvider(const char* name, DWORD type) {
    EXPECT_TRUE(CryptAcquireContextA(&m_handle, nullptr, name, type, CRYPT_VERIFYCONTEXT)) << GetLastError();
  }
  ~OtherProvider() { CryptReleaseContext(m_handle, 0); }
  OtherProvider(const OtherProvider&) = delete;
  OtherProvider& operator=(const OtherProvider&) = delete;
  HCRYPTPROV Handle() const { return m_handle; }

 private:
  HCRYPTPROV m_handle = 0;
};
