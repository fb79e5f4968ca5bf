#include "cryptoki/Cryptoki.h"

#include <mutex>
#include <utility>
#include <vector>

#include "cryptoki/CryptokiError.h"
#include "cryptoki/DecodeText.h"
#include "cryptoki/ReadList.h"
#include "log/Logs.h"

namespace {

// Guards the lists and the last result: all contexts share one object.
std::mutex g_moduleMutex;

}  // namespace

Cryptoki::Cryptoki(boost::shared_ptr<CryptokiInterface> cryptoki) {
  ICryptokiSettable::SetCryptoki(std::move(cryptoki));
}

Cryptoki::~Cryptoki() { g_cryptokiLog.WriteLine("\n~Cryptoki"); }

void Cryptoki::Keep(CK_RV result) {
  m_lastResult = result;
  Check(result);
}

void Cryptoki::Initialize() {
  const std::lock_guard<std::mutex> lock(g_moduleMutex);
  m_lastResult = Module().C_Initialize(nullptr);
  if (m_lastResult != CKR_CRYPTOKI_ALREADY_INITIALIZED) Check(m_lastResult);
}

CryptokiInfo Cryptoki::GetInfo() {
  const std::lock_guard<std::mutex> lock(g_moduleMutex);
  CK_INFO raw = {};
  Keep(Module().C_GetInfo(&raw));
  CryptokiInfo info;
  info.cryptokiVersion = Version(raw.cryptokiVersion);
  info.manufacturer = DecodeText(raw.manufacturerID, sizeof(raw.manufacturerID));
  info.flags = raw.flags;
  info.libraryDescription = DecodeText(raw.libraryDescription, sizeof(raw.libraryDescription));
  info.libraryVersion = Version(raw.libraryVersion);
  return info;
}

std::list<Slot> Cryptoki::GetActiveSlots() {
  return ListSlots(CK_TRUE, m_activeSlots,
                   [this](CK_SLOT_ID id, CK_SLOT_INFO* info) { Keep(Module().C_GetSlotInfo(id, info)); });
}

std::list<Slot> Cryptoki::GetAllSlots() {
  return ListSlots(CK_FALSE, m_allSlots, [](CK_SLOT_ID, CK_SLOT_INFO*) {});
}

template <typename ReadInfo>
std::list<Slot> Cryptoki::ListSlots(CK_BBOOL tokenPresent, std::list<Slot>& slots, ReadInfo readInfo) {
  const std::lock_guard<std::mutex> lock(g_moduleMutex);
  CryptokiInterface& module = Module();
  CK_ULONG count = 0;
  Keep(module.C_GetSlotList(tokenPresent, nullptr, &count));
  if (count == 0) {
    slots.clear();
    return slots;
  }
  const auto ids = ReadList<CK_SLOT_ID>(count, [&](CK_SLOT_ID* list, CK_ULONG* length) {
    m_lastResult = module.C_GetSlotList(tokenPresent, list, length);
    return m_lastResult;
  });
  slots.clear();
  for (const CK_SLOT_ID id : ids) {
    CK_SLOT_INFO info = {};
    readInfo(id, &info);
    Slot slot(SlotInfo(info, id));
    slot.SetCryptoki(m_cryptoki);
    slots.push_back(slot);
  }
  return slots;
}
