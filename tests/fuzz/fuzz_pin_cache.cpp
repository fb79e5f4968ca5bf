// PIN caches and their manager: operations in any order, compared with a model of which PIN is kept, its length, and
// which cache belongs to a reader and a card. The cache's memory has the PIN only under a mask.
#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <map>
#include <memory>
#include <string>

#include "Must.h"
#include "module/ScriptedObjects.h"
#include "pin/CTELVOPINCache.h"
#include "pin/PINCacheManager.h"
#include "platform/TestRegistry.h"

namespace {

class OpenCache : public CTELVOPINCache {
 public:
  using CTELVOPINCache::m_buffer;
  using CTELVOPINCache::m_key;
  using CTELVOPINCache::m_length;
  using CTELVOPINCache::TransformPIN;
};

// The administrator's switch.
void SwitchCaching(bool on) {
  static TestRegistry registry;
  static int is = -1;
  if (is == (on ? 1 : 0)) return;
  is = on ? 1 : 0;
  registry.SetText(kProductKey, "PINCACHE", on ? "1" : "0");
}

// `pin` is empty when there is none.
void Compare(CTELVOPINCache& cache, const Bytes& pin) {
  Must(cache.IsPINSet() == (pin.empty() ? 0 : 1));
  DWORD length = 0x1234;
  cache.GetPINCache(nullptr, &length);
  Must(length == (pin.empty() ? 0x1234 : pin.size()));
  cache.GetPINCache(nullptr, nullptr);
}

void Fetch(CTELVOPINCache& cache, const Bytes& pin, DWORD room) {
  const auto out = std::make_unique<BYTE[]>(room);
  std::fill_n(out.get(), room, BYTE{0xEE});
  DWORD length = room;
  cache.GetPINCache(out.get(), &length);
  const bool fetched = !pin.empty() && room >= pin.size();
  Must(length == (pin.empty() || fetched ? room : pin.size()));
  const std::size_t written = fetched ? pin.size() : 0;
  Must(std::equal(pin.begin(), pin.begin() + static_cast<std::ptrdiff_t>(written), out.get()));
  Must(std::all_of(out.get() + written, out.get() + room, [](BYTE byte) { return byte == 0xEE; }));
}

void Set(CTELVOPINCache& cache, Bytes& pin, const Bytes& fresh, bool isOn) {
  SwitchCaching(isOn);
  cache.SetPINCache(fresh.data(), static_cast<DWORD>(fresh.size()));
  if (isOn && !fresh.empty()) pin = fresh;
}

Bytes AnyPIN(FuzzedDataProvider& data) {
  return data.ConsumeBytes<unsigned char>(data.ConsumeIntegralInRange<std::size_t>(0, 40));
}

void CompareMemory(const OpenCache& cache, const Bytes& pin) {
  Must(cache.m_length == pin.size() && (cache.m_buffer != nullptr) == !pin.empty());
  const BYTE mask = cache.m_key.back();
  for (std::size_t i = 0; i < pin.size(); ++i) Must((cache.m_buffer[static_cast<std::ptrdiff_t>(i)] ^ mask) == pin[i]);
}

// Masking twice restores the PIN. For a buffer that is too small, only the length is returned.
void Transform(const OpenCache& cache, const Bytes& source, DWORD room) {
  const auto masked = std::make_unique<BYTE[]>(room);
  DWORD length = room;
  const auto size = static_cast<DWORD>(source.size());
  const DWORD result = cache.TransformPIN(source.data(), size, masked.get(), &length);
  if (size == 0) {
    Must(result == 0x80090027 && length == room);
  } else if (size > room) {
    Must(result == 0x80090028 && length == size);
  } else {
    Must(result == ERROR_SUCCESS && length == room);
    Must(cache.TransformPIN(masked.get(), size, masked.get(), &length) == ERROR_SUCCESS);
    Must(std::equal(source.begin(), source.end(), masked.get()));
  }
  Must(cache.TransformPIN(source.data(), size, nullptr, &length) == (size == 0 ? 0x80090027 : 0));
  Must(cache.TransformPIN(source.data(), size, masked.get(), nullptr) == 0x80090027);
}

void OneCache(FuzzedDataProvider& data) {
  OpenCache cache;
  Bytes pin;
  while (data.remaining_bytes() > 0) {
    switch (data.ConsumeIntegralInRange(0, 5)) {
      case 0:
        cache.ClearPINCache();
        pin.clear();
        break;
      case 1:
        Fetch(cache, pin, data.ConsumeIntegralInRange<DWORD>(0, 50));
        break;
      case 2:
        SwitchCaching(true);
        cache.SetPINCache(nullptr, data.ConsumeIntegral<DWORD>());
        break;
      case 3:
        Transform(cache, AnyPIN(data), data.ConsumeIntegralInRange<DWORD>(0, 50));
        break;
      default:
        Set(cache, pin, AnyPIN(data), data.ConsumeIntegralInRange(0, 7) != 7);
        break;
    }
    Compare(cache, pin);
    CompareMemory(cache, pin);
  }
}

struct Entry {
  std::string serial;
  boost::shared_ptr<CTELVOPINCache> cache;
  Bytes pin;
};

void ManyCaches(FuzzedDataProvider& data) {
  PINCacheManager manager;
  std::map<std::string, Entry> entries;
  const char* const readers[] = {"", "A", "B", "A "};
  const char* const serials[] = {"", "1", "2"};
  while (data.remaining_bytes() > 0) {
    const std::string reader = data.PickValueInArray(readers);
    const auto known = entries.find(reader);
    if (data.ConsumeBool()) {
      const auto cache = manager.GetPINCache(reader);
      Must(cache == (known == entries.end() ? nullptr : known->second.cache));
      continue;
    }
    const std::string serial = data.PickValueInArray(serials);
    const auto cache = manager.GetPINCache(reader, serial);
    Must(cache != nullptr);
    if (known == entries.end() || known->second.serial != serial) {
      Must(cache->IsPINSet() == 0);
      entries[reader] = {serial, cache, {}};
    }
    Entry& entry = entries[reader];
    Must(cache == entry.cache);
    Set(*cache, entry.pin, AnyPIN(data), true);
    for (const auto& each : entries) Compare(*each.second.cache, each.second.pin);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeBool()) {
    OneCache(data);
  } else {
    ManyCaches(data);
  }
  return 0;
}
