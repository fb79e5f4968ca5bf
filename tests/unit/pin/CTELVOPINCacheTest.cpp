#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "fixtures/ErrorCodes.h"
#include "fixtures/LogFile.h"
#include "pin/CTELVOPINCache.h"
#include "platform/HeapWatch.h"
#include "platform/MemoryLocks.h"

namespace {

// Makes the protected members accessible.
class OpenCache : public CTELVOPINCache {
 public:
  using CTELVOPINCache::m_buffer;
  using CTELVOPINCache::m_key;
  using CTELVOPINCache::m_length;
  using CTELVOPINCache::m_set;
  using CTELVOPINCache::TransformPIN;
};

class CTELVOPINCacheTest : public LogTest {
 protected:
  void Store(const std::string& pin) {
    m_cache.SetPINCache(reinterpret_cast<const BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
  }

  // Reads the PIN as a caller does, its length first. "(none)" when no length is returned.
  std::string Fetch() {
    DWORD length = 0;
    m_cache.GetPINCache(nullptr, &length);
    if (length == 0) return "(none)";
    std::string pin(length, '\0');
    m_cache.GetPINCache(reinterpret_cast<BYTE*>(&pin[0]), &length);
    return pin;
  }

  OpenCache m_cache;
};

TEST_F(CTELVOPINCacheTest, StartsEmpty) {
  EXPECT_EQ(0, m_cache.IsPINSet());
  EXPECT_EQ("(none)", Fetch());
}

TEST_F(CTELVOPINCacheTest, HoldsAPinOnceItIsStored) {
  Store("1234");
  EXPECT_EQ(1, m_cache.IsPINSet());
  EXPECT_EQ(Line("SetPINCache - ENTER") + Line("Checking PINCACHE registry key") + Line("PINCACHE is enabled") +
                Line("Checking PIN buffers") + Line("PIN set") + Line("SetPINCache - EXIT"),
            TakeLog());
  EXPECT_EQ("1234", Fetch());
  EXPECT_EQ(Line("GetPINCache - ENTER") + Line("GetPINCache - ENTER") + Line("GetPINCache - EXIT"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, ACachedPinOfOneByteIsStoredAndReturned) {
  Store("7");
  EXPECT_EQ("7", Fetch());
}

TEST_F(CTELVOPINCacheTest, ThereIsNoLimitOnTheLength) {
  const std::string pin(300, 'x');
  Store(pin);
  EXPECT_EQ(pin, Fetch());
}

TEST_F(CTELVOPINCacheTest, APinMayContainZeroBytes) {
  const std::string pin("1\0\0002", 4);
  Store(pin);
  EXPECT_EQ(pin, Fetch());
}

TEST_F(CTELVOPINCacheTest, TheStoredBytesAreMaskedAndAsLongAsThePin) {
  Store("1234");
  ASSERT_EQ(4U, m_cache.m_length);
  for (int i = 0; i < 4; ++i) EXPECT_EQ("1234"[i] ^ m_cache.m_key[31], m_cache.m_buffer[i]);
}

TEST_F(CTELVOPINCacheTest, ALengthOfZeroStoresNothingAndKeepsTheOldPin) {
  Store("1234");
  TakeLog();
  Store("");
  m_cache.SetPINCache(nullptr, 4);
  const std::string refused = Line("SetPINCache - ENTER") + Line("Checking PINCACHE registry key") +
                              Line("PINCACHE is enabled") + Line("Checking PIN buffers") + Line("SetPINCache - EXIT");
  EXPECT_EQ(refused + refused, TakeLog());
  EXPECT_EQ(1, m_cache.IsPINSet());
  EXPECT_EQ("1234", Fetch());
}

TEST_F(CTELVOPINCacheTest, AnEmptyPinLeavesAnEmptyCacheEmpty) {
  Store("");
  EXPECT_EQ(0, m_cache.IsPINSet());
}

TEST_F(CTELVOPINCacheTest, ANewPinReplacesAndWipesTheOldOne) {
  Store("1234");
  TakeLog();
  const HeapWatch old(m_cache.m_buffer.get(), 4);
  Store("567890");
  EXPECT_EQ(Line("SetPINCache - ENTER") + Line("Checking PINCACHE registry key") + Line("PINCACHE is enabled") +
                Line("Checking PIN buffers") + Line("PIN Cache contains data. Clearing existing data.") +
                Line("PIN set") + Line("SetPINCache - EXIT"),
            TakeLog());
  EXPECT_EQ("567890", Fetch());
  EXPECT_TRUE(old.WasReleased());
  EXPECT_TRUE(old.WasWiped());
}

TEST_F(CTELVOPINCacheTest, AFetchWithATooSmallBufferReturnsTheLengthAndNoBytes) {
  Store("1234");
  TakeLog();
  BYTE out[3] = {'a', 'b', 'c'};
  DWORD length = 3;
  m_cache.GetPINCache(out, &length);
  EXPECT_EQ(4U, length);
  EXPECT_EQ("abc", std::string(out, out + 3));
  EXPECT_EQ(Line("GetPINCache - ENTER") + Line("Memory buffer is too small"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, AFetchLeavesTheLengthOfALargerBufferUnchanged) {
  Store("1234");
  BYTE out[8] = {'.', '.', '.', '.', '.', '.', '.', '.'};
  DWORD length = 8;
  m_cache.GetPINCache(out, &length);
  EXPECT_EQ(8U, length);
  EXPECT_EQ("1234....", std::string(out, out + 8));
}

TEST_F(CTELVOPINCacheTest, AFetchWithoutALengthReturnsNothing) {
  Store("1234");
  TakeLog();
  BYTE out[4] = {};
  m_cache.GetPINCache(out, nullptr);
  EXPECT_EQ(0, out[0]);
  EXPECT_EQ(Line("GetPINCache - ENTER"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, AClearedCacheLogsThatNoPinIsSetAndReturnsNoLength) {
  Store("1234");
  TakeLog();
  m_cache.ClearPINCache();
  EXPECT_EQ("", TakeLog());
  EXPECT_EQ(0, m_cache.IsPINSet());
  DWORD length = 77;
  m_cache.GetPINCache(nullptr, &length);
  EXPECT_EQ(77U, length);
  EXPECT_EQ(Line("GetPINCache - ENTER") + Line("PIN is not set"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, ClearingWipesTheMemoryAndKeepsTheKey) {
  Store("1234");
  const auto key = m_cache.m_key;
  const HeapWatch held(m_cache.m_buffer.get(), 4);
  m_cache.ClearPINCache();
  EXPECT_TRUE(held.WasReleased());
  EXPECT_TRUE(held.WasWiped());
  EXPECT_EQ(key, m_cache.m_key);
  m_cache.ClearPINCache();
  Store("5678");
  EXPECT_EQ("5678", Fetch());
}

TEST_F(CTELVOPINCacheTest, ACacheMarkedAsSetButWithoutMemoryHasNoPin) {
  m_cache.m_set = 1;
  DWORD length = 77;
  m_cache.GetPINCache(nullptr, &length);
  EXPECT_EQ(77U, length);
  EXPECT_EQ(Line("GetPINCache - ENTER") + Line("PIN cache is NULL"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, ACacheMarkedAsSetWithALengthOfZeroFailsToDecrypt) {
  Store("1234");
  TakeLog();
  m_cache.m_length = 0;
  BYTE out[4] = {};
  DWORD length = 4;
  m_cache.GetPINCache(out, &length);
  EXPECT_EQ(4U, length);
  EXPECT_EQ(0, out[0]);
  EXPECT_EQ(Line("GetPINCache - ENTER") + Value("Failed to decrypt pin: ", "80090027"), TakeLog());
}

TEST_F(CTELVOPINCacheTest, DestructionWipesThePinAndTheKey) {
  alignas(OpenCache) BYTE place[sizeof(OpenCache)] = {};
  BYTE* const end = place + sizeof(place);
  auto* cache = new (place) OpenCache;
  cache->m_key.fill(0xA5);
  cache->SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
  const HeapWatch held(cache->m_buffer.get(), 4);
  EXPECT_NE(end, std::search_n(place, end, 32, BYTE{0xA5}));
  cache->~OpenCache();
  EXPECT_TRUE(held.WasReleased());
  EXPECT_TRUE(held.WasWiped());
  EXPECT_EQ(end, std::search_n(place, end, 4, BYTE{0xA5}));
}

// --- The page file

class PinCacheLocksTest : public CTELVOPINCacheTest {
 protected:
  using Calls = MemoryLocks::Calls;

  const void* Buffer() const { return m_cache.m_buffer.get(); }

  MemoryLocks m_locks;
};

TEST_F(PinCacheLocksTest, AHeldPinIsKeptOutOfThePageFile) {
  Store("1234");
  EXPECT_EQ((Calls{{"lock", Buffer(), 4}}), m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, AskingForTheLengthLeavesThePinUnlockedUntilItIsFetched) {
  Store("1234");
  m_locks.TakeCalls();
  DWORD length = 0;
  m_cache.GetPINCache(nullptr, &length);
  EXPECT_EQ((Calls{{"unlock", Buffer(), 4}}), m_locks.TakeCalls());
  BYTE out[4] = {};
  m_cache.GetPINCache(out, &length);
  EXPECT_EQ((Calls{{"unlock", Buffer(), 4}, {"lock", Buffer(), 4}}), m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, AFetchWithATooSmallBufferLeavesThePinUnlocked) {
  Store("1234");
  m_locks.TakeCalls();
  BYTE out[3] = {};
  DWORD length = 3;
  m_cache.GetPINCache(out, &length);
  EXPECT_EQ((Calls{{"unlock", Buffer(), 4}}), m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, AnEmptyCacheUnlocksNothing) {
  DWORD length = 0;
  m_cache.GetPINCache(nullptr, &length);
  m_cache.ClearPINCache();
  { const CTELVOPINCache empty; }
  EXPECT_EQ(Calls{}, m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, APinThatIsReplacedIsUnlockedBeforeTheNewOneIsLocked) {
  Store("1234");
  const void* const old = Buffer();
  m_locks.TakeCalls();
  Store("567890");
  EXPECT_EQ((Calls{{"unlock", old, 4}, {"lock", Buffer(), 6}}), m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, AClearedPinIsUnlockedOnce) {
  Store("1234");
  const void* const old = Buffer();
  m_locks.TakeCalls();
  m_cache.ClearPINCache();
  m_cache.ClearPINCache();
  EXPECT_EQ((Calls{{"unlock", old, 4}}), m_locks.TakeCalls());
}

TEST_F(PinCacheLocksTest, DestroyingTheCacheUnlocksThePin) {
  const void* buffer = nullptr;
  {
    OpenCache cache;
    cache.SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
    buffer = cache.m_buffer.get();
    m_locks.TakeCalls();
  }
  EXPECT_EQ((Calls{{"unlock", buffer, 4}}), m_locks.TakeCalls());
}

TEST_F(CTELVOPINCacheTest, APinIsCachedEvenIfMemoryCannotBeLocked) {
  MemoryLocks none(FALSE);
  Store("1234");
  EXPECT_EQ(1, m_cache.IsPINSet());
  EXPECT_EQ("1234", Fetch());
}

// --- The switch in the registry

TEST_F(CTELVOPINCacheTest, PinCacheSetToZeroStoresNothingAndKeepsTheOldPin) {
  Store("1234");
  TakeLog();
  m_registry.SetText(kProductKey, "PINCACHE", "0");
  Store("5678");
  EXPECT_EQ(Line("SetPINCache - ENTER") + Line("Checking PINCACHE registry key") + Line("PINCACHE is disabled"),
            TakeLog());
  EXPECT_EQ(1, m_cache.IsPINSet());
  EXPECT_EQ("1234", Fetch());
}

TEST_F(CTELVOPINCacheTest, AnEmptyCacheStaysEmptyWithPinCacheSetToZero) {
  m_registry.SetText(kProductKey, "PINCACHE", "0");
  Store("1234");
  EXPECT_EQ(0, m_cache.IsPINSet());
}

struct SwitchCase {
  const char* name;
  DWORD type;
  std::string bytes;
  bool enabled;
};

class PinCacheSwitchTest : public CTELVOPINCacheTest, public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(PinCacheSwitchTest, IsParsedAsADecimalNumber) {
  m_registry.SetValue(kProductKey, "PINCACHE", GetParam().type, GetParam().bytes);
  Store("1234");
  EXPECT_EQ(GetParam().enabled ? 1 : 0, m_cache.IsPINSet());
}

const SwitchCase kSwitchCases[] = {
    {"Zero", REG_SZ, std::string("0\0", 2), false},
    {"Word", REG_SZ, std::string("abc\0", 4), false},
    {"Empty", REG_SZ, std::string("\0", 1), false},
    {"NumberAfterALetter", REG_SZ, std::string("a1\0", 3), false},
    {"One", REG_SZ, std::string("1\0", 2), true},
    {"Negative", REG_SZ, std::string("-1\0", 3), true},
    {"SpaceBeforeTheNumber", REG_SZ, std::string(" 2\0", 3), true},
    {"ZeroBeforeTheNumber", REG_SZ, std::string("01\0", 3), true},
    {"StringOfBinaryType", REG_BINARY, std::string("0\0", 2), false},
    {"DwordOne", REG_DWORD, std::string("\1\0\0\0", 4), false},
    {"DwordThatReadsAsADigit", REG_DWORD, std::string("1\0\0\0", 4), true},
    {"ThirtyTwoBytesWithoutATerminator", REG_BINARY, std::string(32, '0'), false},
    {"LongerThanThirtyTwoBytes", REG_BINARY, std::string(33, '0'), true},
};
INSTANTIATE_TEST_SUITE_P(Values, PinCacheSwitchTest, ::testing::ValuesIn(kSwitchCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PinCacheKeysTest, CachingIsOnWithoutAnyProductKey) {
  const TestRegistry empty;
  CTELVOPINCache cache;
  cache.SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
  EXPECT_EQ(1, cache.IsPINSet());
}

TEST(PinCacheKeysTest, TheOlderProductKeysAreReadWhenTheNewerAreMissing) {
  for (const char* key : {kOlderProductKey, kOldestProductKey}) {
    TestRegistry registry;
    registry.SetText(key, "PINCACHE", "0");
    CTELVOPINCache cache;
    cache.SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
    EXPECT_EQ(0, cache.IsPINSet()) << key;
  }
}

TEST(PinCacheKeysTest, TheFirstKeyThatOpensDecidesEvenWithoutTheValue) {
  TestRegistry registry;
  registry.AddKey(kOlderProductKey);
  registry.SetText(kOldestProductKey, "PINCACHE", "0");
  CTELVOPINCache cache;
  cache.SetPINCache(reinterpret_cast<const BYTE*>("1234"), 4);
  EXPECT_EQ(1, cache.IsPINSet());
}

// --- The transform

TEST_F(CTELVOPINCacheTest, TheTransformAppliedTwiceReturnsItsInput) {
  const BYTE pin[4] = {'1', '2', '3', '4'};
  BYTE masked[4] = {};
  BYTE plain[4] = {};
  DWORD length = 4;
  EXPECT_EQ(0U, m_cache.TransformPIN(pin, 4, masked, &length));
  EXPECT_EQ(0U, m_cache.TransformPIN(masked, 4, plain, &length));
  EXPECT_EQ("1234", std::string(plain, plain + 4));
}

TEST_F(CTELVOPINCacheTest, TheTransformUsesOnlyTheLastByteOfTheKey) {
  m_cache.m_key.fill(0xFF);
  m_cache.m_key[31] = 0x21;
  const BYTE source[2] = {0x00, 0x21};
  BYTE masked[2] = {};
  DWORD length = 2;
  m_cache.TransformPIN(source, 2, masked, &length);
  EXPECT_EQ(0x21, masked[0]);
  EXPECT_EQ(0x00, masked[1]);
}

TEST_F(CTELVOPINCacheTest, AMaskOfZeroLeavesThePINUnchanged) {
  m_cache.m_key[31] = 0;
  Store("1234");
  EXPECT_EQ("1234", std::string(m_cache.m_buffer.get(), m_cache.m_buffer.get() + 4));
}

TEST_F(CTELVOPINCacheTest, TheTransformWithoutSourceOrLengthIsAnInvalidParameter) {
  const BYTE source[1] = {1};
  BYTE out[1] = {};
  DWORD length = 1;
  EXPECT_EQ(Code(NTE_INVALID_PARAMETER), m_cache.TransformPIN(nullptr, 1, out, &length));
  EXPECT_EQ(Code(NTE_INVALID_PARAMETER), m_cache.TransformPIN(source, 0, out, &length));
  EXPECT_EQ(Code(NTE_INVALID_PARAMETER), m_cache.TransformPIN(source, 1, out, nullptr));
}

TEST_F(CTELVOPINCacheTest, TheTransformWithoutDestinationReturnsTheLength) {
  const BYTE source[3] = {1, 2, 3};
  DWORD length = 99;
  EXPECT_EQ(0U, m_cache.TransformPIN(source, 3, nullptr, &length));
  EXPECT_EQ(3U, length);
}

TEST_F(CTELVOPINCacheTest, TheTransformIntoATooSmallDestinationReturnsTheLength) {
  const BYTE source[3] = {1, 2, 3};
  BYTE out[2] = {7, 7};
  DWORD length = 2;
  EXPECT_EQ(Code(NTE_BUFFER_TOO_SMALL), m_cache.TransformPIN(source, 3, out, &length));
  EXPECT_EQ(3U, length);
  EXPECT_EQ(7, out[0]);
}

TEST_F(CTELVOPINCacheTest, TheTransformLeavesALargerLengthUnchanged) {
  const BYTE source[3] = {1, 2, 3};
  BYTE out[5] = {};
  DWORD length = 5;
  EXPECT_EQ(0U, m_cache.TransformPIN(source, 3, out, &length));
  EXPECT_EQ(5U, length);
}

// --- The key

TEST(PinCacheKeyTest, TheGeneratorIsSeededTwiceAndFillsTheThirtyTwoBytesOfTheKey) {
  for (;;) {
    const std::time_t before = std::time(nullptr);
    const OpenCache cache;
    const int next = std::rand();
    if (std::time(nullptr) != before) continue;  // the second changed in between: try again
    std::srand(static_cast<unsigned>(before));
    std::srand(static_cast<unsigned>(std::rand()) * static_cast<unsigned>(before));
    for (const BYTE byte : cache.m_key) EXPECT_EQ(static_cast<BYTE>(std::rand()), byte);
    EXPECT_EQ(std::rand(), next);
    return;
  }
}

// --- Threads

TEST(PinCacheThreadsTest, AFetchUnderTheLockReturnsOneWholePinWhileAWatcherClears) {
  const TestRegistry registry;
  CTELVOPINCache cache;
  constexpr int kRounds = 2000;
  std::thread watcher([&] {
    for (int i = 0; i < kRounds; ++i) cache.ClearPINCache();
  });
  std::thread login([&] {
    for (int i = 0; i < kRounds; ++i) {
      const std::string pin = i % 2 == 0 ? "1234" : "56789012";
      cache.SetPINCache(reinterpret_cast<const BYTE*>(pin.data()), static_cast<DWORD>(pin.size()));
    }
  });
  int wrong = 0;
  for (int i = 0; i < kRounds; ++i) {
    const auto lock = cache.Lock();
    if (cache.IsPINSet() == 0) continue;
    DWORD length = 0;
    cache.GetPINCache(nullptr, &length);
    std::string pin(length, '\0');
    cache.GetPINCache(reinterpret_cast<BYTE*>(&pin[0]), &length);
    if (pin != "1234" && pin != "56789012") ++wrong;
  }
  watcher.join();
  login.join();
  EXPECT_EQ(0, wrong);
}

}  // namespace
