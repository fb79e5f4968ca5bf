// Attributes, and the messages that hashes keep: operations in any order, compared with models that own their bytes.
// The sanitizer detects accesses outside a value.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <optional>

#include "Must.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/ReadValues.h"
#include "module/ScriptedObjects.h"
#include "objects/PendingMessage.h"

namespace {

constexpr CK_ULONG kUnavailable = CK_UNAVAILABLE_INFORMATION;
constexpr CK_ULONG kLongest = 300;

struct Model {
  CK_ATTRIBUTE_TYPE type = 0;
  CK_ULONG length = 0;
  std::optional<Bytes> value;

  bool HasLength() const { return length != 0 && length != kUnavailable; }
  CK_ULONG Readable() const { return value ? std::min<CK_ULONG>(length, value->size()) : 0; }
  void Take(const CK_ATTRIBUTE& source) {
    type = source.type;
    length = source.ulValueLen;
    const auto* const bytes = static_cast<const unsigned char*>(source.pValue);
    if (bytes != nullptr && HasLength()) value = Bytes(bytes, bytes + length);
  }
  void Take(const Model& source) {
    type = source.type;
    length = source.length;
    if (!source.value || !HasLength()) return;
    Bytes bytes(source.value->begin(), source.value->begin() + static_cast<std::ptrdiff_t>(source.Readable()));
    bytes.resize(length);
    value = bytes;
  }
  void Set(const Bytes& bytes) {
    if (bytes.empty()) return;
    value = bytes;
    length = static_cast<CK_ULONG>(bytes.size());
  }
};

struct Pair {
  Attribute real;
  Model model;
};

void Compare(const Pair& pair) {
  const Attribute& real = pair.real;
  const Model& model = pair.model;
  Must(real.GetType() == model.type && real.GetLength() == model.length);
  Must((real.GetValue() != nullptr) == model.value.has_value() && real.GetReadableLength() == model.Readable());
  if (model.value) Must(std::equal(real.GetValue(), real.GetValue() + model.Readable(), model.value->begin()));
  const CK_ATTRIBUTE item = real.ToTemplate();
  Must(item.type == model.type && item.pValue == real.GetValue());
  Must(item.ulValueLen == (model.value ? model.Readable() : model.length));
}

// An item as a module returns it: with a value, without one, or with only a length.
struct Item {
  explicit Item(FuzzedDataProvider& data)
      : bytes(data.ConsumeBytes<unsigned char>(data.ConsumeIntegralInRange<std::size_t>(0, kLongest))) {
    attribute = {data.ConsumeIntegralInRange<CK_ULONG>(0, 3), bytes.data(), static_cast<CK_ULONG>(bytes.size())};
    switch (data.ConsumeIntegralInRange(0, 5)) {
      case 0:
        attribute.pValue = nullptr;
        attribute.ulValueLen = data.ConsumeIntegralInRange<CK_ULONG>(0, kLongest);
        break;
      case 1:
        attribute.ulValueLen = kUnavailable;
        break;
      default:
        break;
    }
  }
  Bytes bytes;
  CK_ATTRIBUTE attribute{};
};

void Step(FuzzedDataProvider& data, Pair& pair, Pair& other) {
  const Item item(data);
  const auto length = static_cast<CK_ULONG>(item.bytes.size());
  switch (data.ConsumeIntegralInRange(0, 8)) {
    case 0:
      pair.real.SetValue(item.bytes.data(), length);
      return pair.model.Set(item.bytes);
    case 1:
      pair.real.SetValue(item.bytes.data(), length, item.attribute.type);
      if (!item.bytes.empty()) pair.model.type = item.attribute.type;
      return pair.model.Set(item.bytes);
    case 2:
      return pair.real.SetValue(nullptr, length, item.attribute.type);
    case 3:
      pair.real.Clear();
      pair.model.value.reset();
      pair.model.length = 0;
      return;
    case 4:
      pair.real.SetType(item.attribute.type);
      pair.model.type = item.attribute.type;
      return;
    case 5:
      pair.real = other.real;  // may be itself
      if (&pair != &other) pair.model.Take(other.model);
      return;
    case 6:
      // Sets the attribute to its own bytes.
      pair.real.SetValue(pair.real.GetValue(), pair.real.GetReadableLength() / 2);
      if (pair.model.value && pair.model.Readable() >= 2) {
        const Bytes before = *pair.model.value;
        pair.model.Set(Bytes(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(pair.model.Readable() / 2)));
      }
      return;
    default:
      pair.real = item.attribute;
      return pair.model.Take(item.attribute);
  }
}

// A copy must equal what an assignment to a new attribute makes.
void CompareCopy(const Pair& pair) {
  Pair copy{Attribute(pair.real), Model()};
  copy.model.Take(pair.model);
  Compare(copy);
}

// The two calls of a module that returns lengths and then different ones. A value has the bytes that the module wrote,
// as many as there was space for.
void Read(FuzzedDataProvider& data) {
  CK_ULONG first[2] = {}, second[2] = {};
  for (CK_ULONG* lengths : {first, second}) {
    for (int i = 0; i < 2; ++i)
      lengths[i] = data.ConsumeBool() ? data.ConsumeIntegral<CK_ULONG>() : data.ConsumeIntegralInRange<CK_ULONG>(0, 40);
  }
  const bool isTooLong = std::any_of(first, first + 2, [](CK_ULONG n) { return n > 16777216 && n != kUnavailable; });
  int calls = 0;
  try {
    const std::list<Attribute> values =
        ReadValues({CKA_ID, CKA_LABEL}, [&](CK_ATTRIBUTE* items, CK_ULONG count) -> CK_RV {
          Must(count == 2 && calls < 2);
          for (int i = 0; i < 2; ++i) {
            Must((items[i].pValue != nullptr) == (calls == 1 && first[i] != kUnavailable));
            if (items[i].pValue != nullptr) std::memset(items[i].pValue, 'v', items[i].ulValueLen);
            items[i].ulValueLen = calls == 0 ? first[i] : second[i];
          }
          ++calls;
          return CKR_OK;
        });
    Must(calls == 2 && !isTooLong && values.size() == 2);
    int i = 0;
    for (const Attribute& value : values) {
      const bool has = first[i] != kUnavailable && second[i] != kUnavailable;
      Must(value.GetLength() == (has ? std::min(first[i], second[i]) : 0));
      Must(
          std::all_of(value.GetValue(), value.GetValue() + value.GetReadableLength(), [](BYTE b) { return b == 'v'; }));
      ++i;
    }
  } catch (const CryptokiError& error) {
    Must(isTooLong && calls == 1 && error.GetCode() == CKR_GENERAL_ERROR);
  }
}

// A message of a hash: short, or long and in its own memory.
void Append(FuzzedDataProvider& data) {
  PendingMessage message;
  Bytes expected;
  const int steps = data.ConsumeIntegralInRange(1, 8);
  for (int i = 0; i < steps; ++i) {
    const bool isLong = data.ConsumeIntegralInRange(0, 3) == 3;
    const Bytes bytes(data.ConsumeIntegralInRange<std::size_t>(0, isLong ? 100000 : 300), data.ConsumeIntegral<BYTE>());
    message.Append(bytes.data(), bytes.size());
    expected.insert(expected.end(), bytes.begin(), bytes.end());
    if (data.ConsumeIntegralInRange(0, 7) == 7) {
      message.Clear();
      expected.clear();
    }
    PendingMessage copy(message);
    copy = data.ConsumeBool() ? message : copy;
    for (PendingMessage* each : {&message, &copy}) {
      Must(each->Length() == expected.size() && (each->Whole() == nullptr) == expected.empty());
      Bytes out(expected.size());
      each->CopyTo(out.data());
      Must(out == expected);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  std::array<Pair, 3> pairs;
  if (data.ConsumeIntegralInRange(0, 7) == 7) Read(data);
  if (data.ConsumeIntegralInRange(0, 7) == 7) Append(data);
  while (data.remaining_bytes() > 0) {
    Pair& pair = pairs[data.ConsumeIntegralInRange<std::size_t>(0, 2)];
    Step(data, pair, pairs[data.ConsumeIntegralInRange<std::size_t>(0, 2)]);
    for (const Pair& each : pairs) Compare(each);
    CompareCopy(pair);
  }
  return 0;
}
