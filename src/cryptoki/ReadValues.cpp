#include "cryptoki/ReadValues.h"

#include <algorithm>
#include <vector>

#include "common/WipeMemory.h"
#include "cryptoki/CryptokiError.h"
#include "cryptoki/ModuleLimits.h"

Attribute FilledAttribute(CK_ATTRIBUTE item, CK_ULONG allocated) {
  const bool hasValue = item.pValue != nullptr && item.ulValueLen != CK_UNAVAILABLE_INFORMATION;
  item.ulValueLen = hasValue ? std::min<CK_ULONG>(item.ulValueLen, allocated) : 0;
  return Attribute(item);
}

std::list<Attribute> ReadValues(std::initializer_list<CK_ATTRIBUTE_TYPE> types,
                                const std::function<CK_RV(CK_ATTRIBUTE* items, CK_ULONG count)>& read) {
  std::vector<CK_ATTRIBUTE> items;
  for (const CK_ATTRIBUTE_TYPE type : types) items.push_back(CK_ATTRIBUTE{type, nullptr, 0});
  const CK_ULONG count = static_cast<CK_ULONG>(items.size());
  Check(read(items.data(), count));

  std::vector<WipedBuffer> buffers;
  buffers.reserve(items.size());
  for (CK_ATTRIBUTE& item : items) {
    // An attribute that is not available is asked for its length again, so that the others can still be read.
    const bool available = item.ulValueLen != CK_UNAVAILABLE_INFORMATION;
    if (!available) item.ulValueLen = 0;
    if (item.ulValueLen > kMaxValueLength) throw CryptokiError(CKR_GENERAL_ERROR);
    // One byte more, so that a value of length 0 has a buffer, too.
    buffers.emplace_back(std::size_t{item.ulValueLen} + 1);
    if (available) item.pValue = buffers.back().Data();
  }
  Check(read(items.data(), count));

  std::list<Attribute> values;
  for (std::size_t i = 0; i < items.size(); ++i) {
    values.push_back(FilledAttribute(items[i], static_cast<CK_ULONG>(buffers[i].Length() - 1)));
  }
  return values;
}
