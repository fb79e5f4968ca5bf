// Assertions for the two exceptions of the provider.
#pragma once

#include <gtest/gtest.h>

#include "common/CCSPContextError.h"
#include "cryptoki/CryptokiError.h"

// The statement raises a CryptokiError with that code.
#define EXPECT_CRYPTOKI_ERROR(code, statement)                                 \
  do {                                                                         \
    try {                                                                      \
      statement;                                                               \
      ADD_FAILURE() << "nothing was raised by " #statement;                    \
    } catch (const CryptokiError& error) {                                     \
      EXPECT_EQ(static_cast<DWORD>(code), error.GetCode()) << error.GetText(); \
    }                                                                          \
  } while (false)

// The statement raises a CCSPContextError with that code and message.
#define EXPECT_CONTEXT_ERROR(code, message, statement)      \
  do {                                                      \
    try {                                                   \
      statement;                                            \
      ADD_FAILURE() << "nothing was raised by " #statement; \
    } catch (const CCSPContextError& error) {               \
      EXPECT_EQ(static_cast<DWORD>(code), error.GetCode()); \
      EXPECT_EQ(message, error.GetMessage());               \
    }                                                       \
  } while (false)
